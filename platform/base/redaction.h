// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace hq {

// Stands for what is hidden.
constexpr std::string_view kStars = "***";

// The text with "***" in place of what may be a credential: for texts that others have made, such
// as servers. Our own addresses go through harmlessAddress() instead. Where the end of a secret is
// not plain, more is hidden. Takes time in proportion to the length.
std::string redact(std::string_view text);

// Position of the "@" that ends the user part in what follows the "://" of an address, npos when
// there is none. A password that holds a "/" counts in.
std::size_t userInformationEnd(std::string_view address);

// Whether the host in what follows the "://" of an address has a ":" with something behind it that
// is no port.
bool hasPassword(std::string_view address);

} // namespace hq
