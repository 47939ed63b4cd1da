// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// The entry file of a TAMS repository: HOST ".json" in the configuration directory, with the OAuth2
// client values and the API endpoint. It holds the client secret. Nothing here touches a file. Any
// thread.
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace hq {

struct TamsEntry
{
    QString endpoint; // of the API; left out of the file when empty
    QString clientId;
    QString clientSecret;
    QStringList scopes{QStringLiteral("tams-api/read"), QStringLiteral("tams-api/write"),
                       QStringLiteral("tams-api/delete")};
};

// Where the entry of a host stands; `directory` ends in a separator. Empty for an empty one.
QString tamsEntryPath(const QString &directory, const QString &host);

// What the file says; "/Prod/" where it names no endpoint. What is not JSON says nothing.
TamsEntry parseTamsEntry(const QByteArray &text);

// The content of an entry file. Relied on to the byte.
QByteArray tamsEntryText(const TamsEntry &entry);

// Section and key of the configuration store where the address of the host's OAuth2 server stands.
// The section drops the digits that a host begins with.
QString tamsSection(const QString &host);
constexpr const char *kTamsServerKey = "oauth2server";

} // namespace hq
