// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "tamsentries.h"

#include "addressforms.h"
#include "configdirectory.h"

QString tamsHost(const QString &server)
{
    QString host = server;
    const QLatin1String slashes("//");
    if (host.contains(QLatin1String("http")) && host.contains(slashes))
        host = host.section(slashes, 1, 1);
    const int slash = host.indexOf(QLatin1Char('/'));
    return slash > 0 ? host.left(slash) : host;
}

QStringList readTamsHosts(const QString &directory)
{
    const QString ending = QStringLiteral(".json");
    QStringList hosts;
    for (const QString &name : entryNames(directory, QLatin1Char('*') + ending)) {
        if (name.contains(QLatin1Char('.') + s3ServiceDomain() + ending))
            hosts.append(name.chopped(ending.size()));
    }
    return hosts;
}

bool writeTamsEntry(const QString &path, const hq::TamsEntry &entry)
{
    return writeEntryFile(path, hq::tamsEntryText(entry)) > 0;
}
