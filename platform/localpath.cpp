// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "localpath.h"

#include "base/system.h"

QString hqLocalPath(const QString &path)
{
    QString result = path;
    if (hq::system::separator() == '/')
        result.replace(QLatin1Char('\\'), QLatin1Char('/'));
    return result;
}
