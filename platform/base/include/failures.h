// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// What people are told of failures. UTF-8 texts without credentials. Any thread.
#pragma once

#include <string>
#include <string_view>

namespace hq {

// Why this thread's last failed call about `address` failed: "error 5 (denied), HTTP status 403,
// server: AccessDenied, ...".
std::string failureReason(std::string_view address);

// Where the error log stands; empty when there is no folder for it.
std::string errorLogPath();

// What this process logged last, without date and thread. Messages of Qt do not count.
std::string lastLogLine();

} // namespace hq
