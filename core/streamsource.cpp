// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "streamsource.h"

#include "filename.h"

QString streamBaseName(const StreamSource &source)
{
    const QString name =
        source.isFlow ? source.name : source.name.section(QLatin1Char('.'), 0, 0);
    return fileNameOnDisk(name);
}
