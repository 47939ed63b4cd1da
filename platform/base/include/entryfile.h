// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <optional>
#include <string>

namespace hq {

// The whole of an entry file of the configuration directory. None when it does not open. One that
// cannot be read, or is larger than 4 MiB, is refused with a line in the error log. Any thread.
std::optional<QByteArray> readEntryFile(const QByteArray &path);

// The path of an entry file as it may be logged and shown: a repository's file has the name of its
// address, which may have been entered with a user and a password.
std::string shownEntryPath(const std::string &path);

} // namespace hq
