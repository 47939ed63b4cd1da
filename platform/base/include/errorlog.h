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

// Where the error log stands; empty when there is no folder for it. Any thread.
std::string errorLogPath();

// What this process logged last, without date and thread. Messages of Qt do not count. Any thread.
std::string lastLogLine();

} // namespace hq

// From now on Qt's own messages go to the error log instead of the terminal.
void sendQtMessagesToErrorLog();
