// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>

// The form of a local path under which Qt opens it: where paths are separated by "/", each "\"
// becomes one; unchanged on Windows. For touching a file only, never for texts that are shown or
// stored. Any thread.
QString hqLocalPath(const QString &path);
