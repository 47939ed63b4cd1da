// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// The TAMS repositories of a configuration directory, one entry file for each host. Any thread.
#pragma once

#include "tamsentry.h"

#include <QString>
#include <QStringList>

// The host of a server text such as "https://HOST/path". A text that begins with "/" stays whole.
// Relied on, as are the names in readTamsHosts().
QString tamsHost(const QString &server);

// The hosts of a directory's repositories, which lie in the provider's service domain, in
// case-insensitive name order; no file is opened.
QStringList readTamsHosts(const QString &directory);

// Replaces the file at `path`, readable by its owner only. False leaves the old one as it was;
// hqOSGetLastError tells why.
bool writeTamsEntry(const QString &path, const hq::TamsEntry &entry);
