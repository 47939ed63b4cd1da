// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace hq {

// The text with nothing in it that a terminal obeys or that cannot be seen: control and format
// characters, line ends and bytes that are no UTF-8 become "\x1b", "\u202e", "\U000e0001".
std::string printable(std::string_view text);

} // namespace hq
