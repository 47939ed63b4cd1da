// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// TAMS repository entries: one file HOST ".json" per repository, with the OAuth2 client values and
// the API endpoint. The files hold client secrets. Any thread.
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

struct TamsEntry
{
    QString endpoint; // left out of the file when empty
    QString clientId;
    QString clientSecret;
};

// The host of a server text such as "https://HOST/path". A text that begins with "/" stays whole.
// Relied on, as are the next two.
QString tamsHost(const QString &server);

// The section of the configuration store that holds the host's OAuth2 server. It drops the digits
// that a host begins with.
QString tamsSection(const QString &host);

// Whether a file name is that of a repository: those lie in the provider's service domain.
bool isTamsEntryName(const QString &name);

// The hosts of a directory's repositories in case-insensitive name order; no file is opened.
QStringList readTamsHosts(const QString &directory);

// Where the entry of a host stands; `directory` ends in a separator.
QString tamsEntryPath(const QString &directory, const QString &host);

// The content of an entry file. Relied on to the byte.
QByteArray tamsEntryJson(const TamsEntry &entry);

// Replaces the file at `path`, readable by its owner only. False leaves the old one as it was;
// hqOSGetLastError tells why.
bool writeTamsEntry(const QString &path, const TamsEntry &entry);
