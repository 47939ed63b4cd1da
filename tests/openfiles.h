// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QDir>

// The files that this process has open in a folder, also those that have no name.
inline QStringList openFilesIn(const QString &folder)
{
    QStringList files;
    const QDir descriptors("/proc/self/fd");
    for (const QString &name : descriptors.entryList(QDir::AllEntries | QDir::System)) {
        const QString path = QFile::symLinkTarget(descriptors.filePath(name));
        if (path.startsWith(folder + '/'))
            files.append(path);
    }
    return files;
}
