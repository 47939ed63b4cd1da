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

// Parses the lines of one entry: those that begin with "#" or "%" are skipped, a name counts
// anywhere in a line, a value ends at the second "=" of its line. Relied on. None when fewer than
// two lines hold an access key, a secret key or a site. `bucket` stays empty.
std::optional<S3Entry> parseS3Entry(QTextStream &lines);

// The entries of a directory in case-insensitive order of their file names. A file that does not
// open or holds no entry is left out.
QVector<S3Entry> readS3Entries(const QString &directory);

// Where the entry of a bucket stands; `directory` ends in a separator.
QString s3EntryPath(const QString &directory, const QString &bucket);

// Writes the entry file of `entry.bucket` with mode 0600, replacing an older one; `directory` ends
// in a separator. The site is not written. Returns 1 when the file is there; -1 when it cannot be
// made (hqOSGetLastError tells why) or its path takes more than 259 bytes (no error is set); 0 when
// it could not be completed (hqOSGetLastError). An older file stays as it was in both failures.
int writeS3Entry(const QByteArray &directory, const S3Entry &entry);

// Appends a line with `site` to the entry file at `path`; a file that has this site already is not
// written. False, and the file as it was, when it cannot be read or written, holds another access
// key, or would not be read back with this site and its other values unchanged.
bool keepS3Site(const QString &path, const QString &key, const QString &site);
