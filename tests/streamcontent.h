// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// Reads what was written, and writes what is to be read.
#pragma once

#include "hqutil.h"

#include <QFile>

inline QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("not readable");
}

inline bool fill(const QString &path, const QByteArray &content)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

// The library's error after a call; 0 for success.
inline std::uint32_t errorOf(bool done)
{
    return done ? 0 : hqOSGetLastError();
}

// What the playback side does with an encrypted file.
inline QString decoded(const QByteArray &content)
{
    const char key[] = "0x9c4e17b2a05d38f6e1c7024b9da36f58";
    char *output = nullptr;
    std::uint32_t length = 0;
    if (!content.startsWith(":x") || hqXCDecode(key, 35, content.constData() + 2,
                                                content.size() - 2, 0, 0, &output, &length) == 0)
        return "not decoded";
    const QString address = QString::fromUtf8(output, length);
    hqXCFree(output);
    return address;
}
