// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "url.h"

#include "addressforms.h"

#include <utility>

namespace {

QString siteOrDefault(QString site, bool tams)
{
    if (site.isEmpty() && !tams)
        site = s3ServiceHost();
    return site;
}

QString sourceAddress(const QString &key, const QString &secret, const QString &bucket,
                      const QString &site, bool tams)
{
    if (tams)
        return QStringLiteral("https://") + site;
    return s3AddressStart(key, secret, site) + bucket;
}

} // namespace

URL::URL(QString accessKey, QString secretKey, QString regionName, QString bucketName,
         QString siteHost, bool tams)
    : url(sourceAddress(accessKey, secretKey, bucketName, siteOrDefault(siteHost, tams), tams))
    , key(std::move(accessKey))
    , secret(std::move(secretKey))
    , region(std::move(regionName))
    , bucket(std::move(bucketName))
    , site(siteOrDefault(std::move(siteHost), tams))
    , isTams(tams)
{
}

QString URL::getDisplayName() const
{
    return site + QStringLiteral(" - ") + bucket;
}
