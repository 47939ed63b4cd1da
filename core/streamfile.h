// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>

// The path of a stream file: the directory, "\" unless it ends in one, the name, ".stream". An
// empty directory gives a path that begins with "\". Relied on.
QString streamFilePath(const QString &directory, const QString &baseName);

// Writes a stream file that holds `address`, replacing what is at `path`. Plain, the file is the
// address in UTF-8; encrypted, it is ":x" and the encoded address (":x" alone when encoding
// failed). A file whose address holds credentials is for its owner only: it is made so, and one
// that others can read is replaced by a new one, or narrowed where the folder forbids that. Returns
// whether the file could be opened; false leaves everything as it was. Errors after that go
// unnoticed.
bool writeStreamFile(const QString &path, const QString &address, bool encrypt);
