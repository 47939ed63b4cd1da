// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "entryfile.h"

#include "credentials.h"
#include "errorlog.h"
#include "localfile.h"
#include "system.h"

namespace hq {

namespace {
constexpr std::int64_t kMaxBytes = 4 * 1024 * 1024;
}

std::optional<QByteArray> readEntryFile(const QByteArray &path)
{
    // Not through a handle: that an entry file is missing is no failure for the log.
    const auto file = local::openForReading(path.toStdString());
    if (!file)
        return std::nullopt;
    std::int64_t size = 0;
    bool isRead = file->size(&size);
    const auto logged = [&path](const std::string &before, const std::string &behind) {
        const LastErrorKeeper keeper;
        writeErrorLog("ERROR: " + before + " <" + shownEntryPath(path.toStdString()) + ">" +
                      behind);
        return std::nullopt;
    };
    if (isRead && size > kMaxBytes)
        return logged("Entry file", " is larger than 4 MiB and is not used");
    QByteArray text(static_cast<int>(size), Qt::Uninitialized);
    std::uint32_t read = 0;
    isRead = isRead && file->read(text.data(), static_cast<std::uint32_t>(size), &read);
    if (!isRead)
        return logged("Unable to read entry file", ", error " + std::to_string(lastError()));
    text.truncate(static_cast<int>(read));
    return text;
}

std::string shownEntryPath(const std::string &path)
{
    const std::string scheme = "https://";
    const std::size_t name = path.rfind(system::separator()) + 1;
    return path.substr(0, name) + harmlessAddress(scheme + path.substr(name)).substr(scheme.size());
}

} // namespace hq
