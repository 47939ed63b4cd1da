// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "outputfile.h"

#include "credentials.h"
#include "errorlog.h"
#include "nativefile.h"
#include "system.h"

#include <QFile>

bool hqOpenForWriting(QFile *file, const QString &path, bool ownerOnly)
{
    using hq::system::Exposure;
    if (path.contains(QChar(0))) // a name that ends early would be another file's
        return false;
    auto exposure = Exposure::None;
    auto opened =
        hq::system::NativeFile::openForOverwriting(path.toStdString(), ownerOnly, &exposure);
    if (!opened.isOpen() ||
        !file->open(opened.releaseDescriptor(), QIODevice::WriteOnly, QFileDevice::AutoCloseHandle))
        return false;
    if (exposure != Exposure::None)
        hq::writeErrorLog("ERROR: <" + hq::harmlessAddress(path.toStdString()) +
                          (exposure == Exposure::ToOthers
                               ? "> holds credentials that other users can read"
                               : "> holds credentials, could be narrowed but not replaced: "
                                 "who had it open can read them"));
    return true;
}

QString hqNativePath(const QString &path)
{
    const QLatin1Char separator(hq::system::separator());
    return QString(path).replace(QLatin1Char('/'), separator).replace(QLatin1Char('\\'), separator);
}
