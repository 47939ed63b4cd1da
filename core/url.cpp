// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "url.h"

#include "addressforms.h"

#include <utility>

namespace {

QString siteOrDefault(QString site, bool tams)
{
    return site.isEmpty() && !tams ? s3ServiceHost() : site;
}

} // namespace

URL::URL(QString accessKey, QString secretKey, QString regionName, QString bucketName,
         QString siteHost, bool tams)
    : url(tams ? QStringLiteral("https://") + siteHost
               : s3AddressStart(accessKey, secretKey, siteOrDefault(siteHost, false)) + bucketName)
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
