// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "configdirectory.h"

#include "hqutil.h"

#include <QDir>

QString configDirectory()
{
    char buffer[HQ_CONFIG_DIR_SIZE] = {};
    hqOSGetConfigDir(buffer, 0);
    return QString::fromUtf8(buffer);
}

QStringList entryNames(const QString &directory, const QString &pattern)
{
    // An empty path would stand for the working directory.
    return directory.isEmpty() ? QStringList() : QDir(directory).entryList({pattern});
}

int writeEntryFile(const QString &path, const QByteArray &text)
{
    const HQHANDLE file = hqOSCreateFile(path.toUtf8().constData(), HQ_ACCESS_WRITE, HQ_SHARE_READ,
                                         nullptr, HQ_CREATE_ALWAYS, 0, nullptr);
    if (file == HQ_INVALID_HANDLE)
        return -1;
    hqOSfprintf(file, "%s", text.constData());
    return hqOSCloseFile(file);
}
