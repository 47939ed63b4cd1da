// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "entryfile.h"

#include "base/localfile.h"
#include "hqutil.h"

#include <algorithm>

namespace hq {

namespace {

constexpr std::int64_t kMostBytes = 4 * 1024 * 1024;

// A repository's address, which names its file, may hold a password.
QByteArray shown(const QByteArray &path)
{
    const int name = std::max(path.lastIndexOf('/'), path.lastIndexOf('\\')) + 1;
    const int at = path.lastIndexOf('@');
    return at < name ? path : path.left(name) + "***" + path.mid(at);
}

} // namespace

std::optional<QByteArray> readEntryFile(const QByteArray &path)
{
    // Not through a handle: that an entry file is missing is no failure for the log.
    const auto file = local::openForReading(path.toStdString());
    if (!file)
        return std::nullopt;
    std::int64_t size = 0;
    bool isRead = file->size(&size);
    if (isRead && size > kMostBytes) {
        ErrOut("ERROR: Entry file <%s> is larger than 4 MiB and is not used",
               shown(path).constData());
        return std::nullopt;
    }
    QByteArray text(static_cast<int>(size), Qt::Uninitialized);
    std::uint32_t read = 0;
    isRead = isRead && file->read(text.data(), static_cast<std::uint32_t>(size), &read);
    if (!isRead) {
        ErrOut("ERROR: Unable to read entry file <%s>, error %u", shown(path).constData(),
               lastError());
        return std::nullopt;
    }
    text.truncate(static_cast<int>(read));
    return text;
}

} // namespace hq
