// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// What people are told of failures: UTF-8 texts without credentials.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace hq {

// Why this thread's last failed call about `address` failed: "error 5 (denied), HTTP status 403,
// server: AccessDenied, ...", and what follows for the person.
std::string failureReason(std::string_view address);

// The line that a failed call of the utility library leaves in the error log: what, where, why.
// Calls that were cancelled leave none. The last error stays as it is; nothing is thrown.
void logFailedOpen(std::string_view address) noexcept;
// `reported` is the number of entries that were there before it broke off.
void logFailedWalk(std::string_view address, std::uint64_t reported) noexcept;
void logFailedCopy(std::string_view source, std::string_view destination) noexcept;

} // namespace hq
