// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// Reads what was written, and writes what is to be read.
#pragma once

#include "hqutil.h"
#include "testmain.h"

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

// What hqXCEncode or hqXCDecode makes of a text.
template <typename Call>
inline QByteArray through(Call call, const QByteArray &key, const QByteArray &text)
{
    char old = '\0', *output = &old; // must not stay
    uint32_t size = 7;
    const bool isDone = call(key.data(), uint32_t(key.size()), text.data(), uint32_t(text.size()),
                             0, 0, &output, &size) != 0;
    const QByteArray failure = output || size != 0 ? "something" : "refused";
    const QByteArray result = isDone ? QByteArray(output, int(size)) : failure;
    hqXCFree(output);
    return result;
}

// What the playback side does with an encrypted file.
inline QString decoded(const QByteArray &content)
{
    const QByteArray key("0x9c4e17b2a05d38f6e1c7024b9da36f58\0", 35);
    return content.startsWith(":x") ? through(hqXCDecode, key, content.mid(2)) : "not decoded";
}
