// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "url.h"

#include "addressforms.h"

#include <utility>

URL::URL(QString accessKey, QString secretKey, QString regionName, QString bucketName,
         QString siteHost, bool tams)
    : url(tams ? QStringLiteral("https://") + siteHost
               : s3AddressStart(accessKey, secretKey,
                                siteHost.isEmpty() ? s3ServiceHost() : siteHost) +
                     bucketName)
    , key(std::move(accessKey))
    , secret(std::move(secretKey))
    , region(std::move(regionName))
    , bucket(std::move(bucketName))
    , site(siteHost.isEmpty() && !tams ? s3ServiceHost() : std::move(siteHost))
    , isTams(tams)
{
}

QString URL::getDisplayName() const
{
    return site + QStringLiteral(" - ") + bucket;
}
