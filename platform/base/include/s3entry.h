// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// The entry file of an S3 source: BUCKET ".csv" in the configuration directory, with lines NAME "="
// VALUE. It holds the secret key. Nothing here touches a file. Any thread.
#pragma once

#include <QByteArray>
#include <QString>

namespace hq {

struct S3Entry
{
    QString key;
    QString secret;
    QString region; // as written, blanks included
    QString bucket; // not in the text
    QString site;
    QString path{};        // of the file that it was read from
    bool isSource = false; // two lines or more of it count
};

// Where the entry of a bucket stands; `directory` ends in a separator. Empty for an empty one.
QString s3EntryPath(const QString &directory, const QString &bucket);

// Reads the lines of an entry: those that begin with "#" or "%" are skipped, a name counts anywhere
// in a line, a value ends at the second "=" of its line. Relied on. `bucket` and `path` stay empty.
S3Entry parseS3Entry(const QByteArray &text);

// The content of an entry file: key, secret and region, not the site. Relied on to the byte.
QByteArray s3EntryText(const S3Entry &entry);

} // namespace hq
