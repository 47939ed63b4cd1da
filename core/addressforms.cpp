// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "addressforms.h"

#include "s3service.h"

#include <QRegularExpression>

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
    if (address.startsWith(s3Scheme, Qt::CaseInsensitive))
        return !address.midRef(s3Scheme.size()).startsWith(QLatin1String(":@"));
    // A user part, or a query that lets its bearer in.
    static const QRegularExpression webCredentials(
        QStringLiteral("^https?://([^/?#]*@|[^/?#]*:[^/?#]*[^/?#0-9].*@|"
                       ".*[?&]([^=&]*(token|signature|credential|secret|password|accesskeyid)|"
                       "sig|key)=)"),
        QRegularExpression::CaseInsensitiveOption | QRegularExpression::DotMatchesEverythingOption);
    return webCredentials.match(address).hasMatch();
}

QString withPart(const QString &address, const QString &part)
{
    if (address.endsWith(separator) || part.startsWith(separator))
        return address + part;
    return address + separator + part;
}
