// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "addressforms.h"

#include "credentials.h"
#include "s3service.h"

namespace {

const QChar separator = QLatin1Char('\\');
const QString s3Scheme = QStringLiteral("s3://");

} // namespace

QString s3ServiceHost()
{
    return QLatin1String(hq::kS3ServiceHost);
}

QString s3ServiceDomain()
{
    return s3ServiceHost().section(QLatin1Char('.'), 1);
}

QString s3AddressStart(const QString &key, const QString &secret, const QString &site)
{
    return s3Scheme + key + QLatin1Char(':') + secret + QLatin1Char('@') + site + QLatin1Char('/');
}

bool holdsCredentials(const QString &address)
{
    return hq::holdsCredentials(address.toStdString());
}

QString usualAddress(const QString &address)
{
    return QString::fromStdString(hq::usualS3Address(address.toStdString()));
}

QString withName(const QString &directory, const QString &name)
{
    return directory.endsWith(separator) ? directory + name : directory + separator + name;
}

QString withPart(const QString &address, const QString &part)
{
    return part.startsWith(separator) ? address + part : withName(address, part);
}
