// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace hq {

// The name, without ".log", under which lines are kept from now on; a name that is no plain file
// name is ignored.
void setErrorLogName(std::string_view name);

// Appends one line, redacted. Failures are ignored and the thread's last error stays as it is.
// Any thread; several processes may write at once.
void writeErrorLog(const std::string &text);

} // namespace hq
