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
    const std::string shown = hq::harmlessAddress(path.toStdString());
    if (exposure == Exposure::ToOthers)
        hq::writeErrorLog("ERROR: <" + shown + "> holds credentials that other users can read");
    else if (exposure == Exposure::ToOpeners)
        hq::writeErrorLog("ERROR: <" + shown +
                          "> holds credentials, could be narrowed but not replaced: "
                          "who had it open can read them");
    return true;
}

QString hqNativePath(const QString &path)
{
    const QLatin1Char separator(hq::system::separator());
    return QString(path).replace(QLatin1Char('/'), separator).replace(QLatin1Char('\\'), separator);
}
