// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// The line that a failed call of the utility library leaves in the error log: what, where, the
// thread's last error and its details, and what follows from them for the person. Calls that were
// cancelled leave none. The last error stays as it is; nothing is thrown.
#pragma once

#include <cstdint>
#include <string_view>

namespace hq {

void logFailedOpen(std::string_view address) noexcept;

// `reported` is the number of entries that were there before it broke off.
void logFailedWalk(std::string_view address, std::uint64_t reported) noexcept;

void logFailedCopy(std::string_view source, std::string_view destination) noexcept;

} // namespace hq
