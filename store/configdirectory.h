// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>
#include <QStringList>

// The folder of the entry files, ending in a separator; empty when there is none.
QString configDirectory();

// The visible names in `directory` that match `pattern`, in case-insensitive name order; none for
// an empty or missing directory.
QStringList entryNames(const QString &directory, const QString &pattern);

// Replaces the file at `path`, readable by its owner only. Returns what hqOSCloseFile gives, -1
// when the file cannot be made, which leaves the old one as it was, as 0 does.
int writeEntryFile(const QString &path, const QByteArray &text);
