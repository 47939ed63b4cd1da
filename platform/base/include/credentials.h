// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// Which parts of an address are credentials: one answer for the log, for what is shown and for
// the mode of files. Any text will do, also a malformed address or a local path. Any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace hq {

// The address as it may be logged and shown, printable and with "***" for what may be a credential:
// the secret of an S3 address, the user part of others, the values of queries ("limit=300", which
// the program adds, stays), fragments. The address is taken apart as it is when it is opened; of a
// text that would not be opened less is shown. Local paths stay as they are.
std::string harmlessAddress(std::string_view address);

// "s3://" site "/" bucket "/" object key of an S3 address: all but its key and secret, unchanged.
// None for any other text, and where the secret cannot be told from what follows it.
std::optional<std::string> s3AddressWithoutCredentials(std::string_view address);

// Another address with "://" without user part, query and fragment. Empty where it is not plain
// what the user part is.
std::string webAddressWithoutCredentials(std::string_view address);

// `text`, which a server sent about `address`, with "***" for what harmlessAddress() hides of that
// address and for what looks like another credential. Printable.
std::string harmlessReport(std::string_view text, std::string_view address);

// Whether the address lets its bearer in: an S3 key or secret, a user part, a value named like a
// credential. Such addresses are not left where others can read them.
bool holdsCredentials(std::string_view address);

} // namespace hq
