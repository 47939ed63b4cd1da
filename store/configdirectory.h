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
