// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "tamsentry.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <algorithm>

namespace hq {

QString tamsEntryPath(const QString &directory, const QString &host)
{
    return directory.isEmpty() ? QString() : directory + host + QStringLiteral(".json");
}

TamsEntry parseTamsEntry(const QByteArray &text)
{
    const QJsonObject object = QJsonDocument::fromJson(text).object();
    QStringList scopes;
    for (const auto scope : object["scope"].toArray())
        scopes << scope.toString();
    const QJsonValue endpoint = object["endpoint"];
    return {endpoint.isUndefined() ? QStringLiteral("/Prod/") : endpoint.toString(),
            object["client_id"].toString(), object["client_secret"].toString(), scopes};
}

QByteArray tamsEntryText(const TamsEntry &entry)
{
    QJsonObject object{
        {"client_id", entry.clientId},
        {"client_secret", entry.clientSecret},
        {"grant_type", "client_credentials"},
        {"scope", QJsonArray::fromStringList(entry.scopes)},
    };
    if (!entry.endpoint.isEmpty())
        object.insert("endpoint", entry.endpoint);
    return QJsonDocument(object).toJson(QJsonDocument::Indented);
}

QString tamsSection(const QString &host)
{
    const auto begin = std::find_if(host.begin(), host.end(),
                                    [](QChar character) { return !character.isDigit(); });
    return QStringLiteral("Tidewell\\OAuth2\\") +
           host.mid(static_cast<int>(std::distance(host.begin(), begin)));
}

} // namespace hq
