// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "tamsentries.h"

#include "addressforms.h"
#include "configdirectory.h"
#include "hqutil.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <algorithm>

namespace {
const QLatin1String suffix(".json");
}

QString tamsHost(const QString &server)
{
    QString host = server;
    const QLatin1String slashes("//");
    if (host.contains(QLatin1String("http")) && host.contains(slashes))
        host = host.section(slashes, 1, 1);
    const int slash = host.indexOf(QLatin1Char('/'));
    return slash > 0 ? host.left(slash) : host;
}

QString tamsSection(const QString &host)
{
    const auto begin = std::find_if(host.begin(), host.end(),
                                    [](QChar character) { return !character.isDigit(); });
    return QStringLiteral("Tidewell\\OAuth2\\") +
           host.mid(static_cast<int>(std::distance(host.begin(), begin)));
}

bool isTamsEntryName(const QString &name)
{
    return name.contains(QLatin1Char('.') + s3ServiceDomain() + suffix);
}

QStringList readTamsHosts(const QString &directory)
{
    QStringList hosts;
    for (const QString &name : entryNames(directory, QStringLiteral("*.json"))) {
        if (isTamsEntryName(name))
            hosts.append(name.chopped(suffix.size()));
    }
    return hosts;
}

QString tamsEntryPath(const QString &directory, const QString &host)
{
    return directory.isEmpty() ? QString() : directory + host + suffix;
}

QByteArray tamsEntryJson(const TamsEntry &entry)
{
    QJsonObject object{
        {QStringLiteral("client_id"), entry.clientId},
        {QStringLiteral("client_secret"), entry.clientSecret},
        {QStringLiteral("grant_type"), QStringLiteral("client_credentials")},
        {QStringLiteral("scope"),
         QJsonArray{QStringLiteral("tams-api/read"), QStringLiteral("tams-api/write"),
                    QStringLiteral("tams-api/delete")}},
    };
    if (!entry.endpoint.isEmpty())
        object.insert(QStringLiteral("endpoint"), entry.endpoint);
    return QJsonDocument(object).toJson(QJsonDocument::Indented);
}

bool writeTamsEntry(const QString &path, const TamsEntry &entry)
{
    const HQHANDLE file = hqOSCreateFile(path.toUtf8().constData(), HQ_ACCESS_WRITE, HQ_SHARE_READ,
                                         nullptr, HQ_CREATE_ALWAYS, 0, nullptr);
    if (file == HQ_INVALID_HANDLE)
        return false;
    hqOSfprintf(file, "%s", tamsEntryJson(entry).constData());
    return hqOSCloseFile(file) != 0;
}
