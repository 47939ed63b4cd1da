// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>

class QFile;

// Opens `file` for writing at a local path, emptied; a missing one is made. A pipe that nobody
// reads does not open. With `ownerOnly` nobody but the owner can read what is written: a new file
// is made that way, an existing one that others can read is replaced, links followed. Where the
// folder or the file system forbids that, the file is written all the same and the error log says
// so. False when it cannot be opened. Any thread.
bool hqOpenForWriting(QFile *file, const QString &path, bool ownerOnly);

// A local path as the system writes it, with its own separators: the file that a path composed with
// "\" stands for.
QString hqNativePath(const QString &path);
