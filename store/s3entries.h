// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// S3 source entries: one file BUCKET ".csv" per bucket, with lines NAME "=" VALUE. The files hold
// secret keys. Any thread.
#pragma once

#include <QString>
#include <QVector>
#include <optional>

class QTextStream;

struct S3Entry
{
    QString key;
    QString secret;
    QString region;
    QString bucket;
    QString site;
    QString path{}; // of the file that it was read from
};

// Reads the lines of one entry; nothing when fewer than two of them count. Leaves `bucket` empty.
std::optional<S3Entry> parseS3Entry(QTextStream &lines);

// The entries of a directory in case-insensitive order of their file names. A file that does not
// open or holds no entry is left out.
QVector<S3Entry> readS3Entries(const QString &directory);

// Where the entry of a bucket stands; `directory` ends in a separator.
QString s3EntryPath(const QString &directory, const QString &bucket);

// Writes the entry file of `entry.bucket`, replacing an older one; `directory` ends in a
// separator. Returns what hqOSCloseFile gives, -1 when the file cannot be made or its path takes
// more than 259 bytes.
int writeS3Entry(const QByteArray &directory, const S3Entry &entry);

// Adds `site` to the entry file at `path` as a line behind all others, which stay as they are; none
// where the file names that site already. False leaves the file alone: it does not hold an entry
// with this key, or is one that would be read otherwise with such a line.
bool keepS3Site(const QString &path, const QString &key, const QString &site);
