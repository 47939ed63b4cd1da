// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace hq {

// The name, without ".log", under which lines are kept from now on; a name that is no plain file
// name is ignored.
void setErrorLogName(std::string_view name);

// Appends one line: printable, "***" for what looks like a credential. Failures are ignored and the
// thread's last error stays as it is. Any thread; several processes may write at once.
void writeErrorLog(const std::string &text) noexcept;

// The same for a text whose addresses and reports are harmless already (credentials.h), which is
// not looked through again.
void writeHarmlessLine(const std::string &text) noexcept;

// Takes the folders of log and configuration, and the log itself, from everybody but their owner.
// What is missing is not made.
void narrowFolders() noexcept;

} // namespace hq
