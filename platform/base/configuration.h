// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>
#include <optional>
#include <string>

namespace hq {

// The configuration directory is shorter, in bytes.
constexpr std::size_t kConfigDirectorySize = 260;

// The program's folder below one of the user's, which ends in a separator as well.
std::string folderBelow(const std::string &root);

// The configuration directory, made when it is missing, ending in a separator. Empty, with the
// thread's last error, when it cannot be had or would be too long.
std::string configDirectory();

// A text of the configuration store, also one that was set and is not saved yet; none when it is
// not there. "\" in `section` separates levels. Any thread.
std::optional<QString> configurationValue(const QString &section, const QString &key);

// Sets a text in memory. Any thread.
void setConfigurationValue(const QString &section, const QString &key, const QString &value);

// Writes what was set; on false the texts stay in memory and the thread's last error is set.
bool saveConfiguration();

} // namespace hq
