// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// The S3 sources of a configuration directory, one entry file for each bucket. Any thread.
#pragma once

#include "s3entry.h"

#include <QString>
#include <QVector>

// The sources of a directory in case-insensitive order of their files' names. A file that does not
// open or is no source is left out.
QVector<hq::S3Entry> readS3Entries(const QString &directory);

// Writes the entry file of `entry.bucket` with mode 0600, replacing an older one; `directory` ends
// in a separator. Returns 1 when the file is there; -1 when it cannot be made (hqOSGetLastError
// tells why) or its path takes more than 259 bytes (no error is set); 0 when it could not be
// completed (hqOSGetLastError). An older file stays as it was in both failures.
int writeS3Entry(const QString &directory, const hq::S3Entry &entry);

// Appends a line with `site` to the entry file at `path`; a file that has this site already is not
// written. False, and the file as it was, when it cannot be read or written, holds another access
// key, or would not be read back with this site and its other values unchanged.
bool keepS3Site(const QString &path, const QString &key, const QString &site);
