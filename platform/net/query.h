// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// Queries, encoded as Signature Version 4 prescribes and every server understands.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace hq {

using NameValues = std::vector<std::pair<std::string, std::string>>;

// Every byte but the unreserved characters (and "/" if `keepSlash`) becomes %XX.
std::string percentEncoded(std::string_view text, bool keepSlash);

// "name=value" joined by "&", both encoded, in byte order of the encoded names.
std::string canonicalQuery(const NameValues &query);

} // namespace hq
