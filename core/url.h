// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QObject>
#include <QString>

// One configured source: an S3 bucket with the credentials that reach it, or a TAMS repository. It
// never changes; an edited source is a new record. The names of its members are relied on. Records
// stand on the heap without a parent and belong to the list that holds them.
class URL : public QObject
{
    Q_OBJECT
public:
    // Stores the texts as they are and composes `url`. An S3 source without a site gets the S3
    // service endpoint host; a TAMS repository has only a site.
    URL(QString accessKey, QString secretKey, QString regionName, QString bucketName,
        QString siteHost, bool tams);

    QString getKey() const { return key; }
    QString getSecret() const { return secret; }
    QString getRegion() const { return region; }
    QString getBucket() const { return bucket; }
    QString getSite() const { return site; }

    // The source's address. That of an S3 source holds its credentials: never show or log it.
    QString getUrl() const { return url; }

    // The text under which an S3 source is listed: site " - " bucket.
    QString getDisplayName() const;

    // Writes the entry file of an S3 source into the configuration directory, replacing an older
    // one. Returns what writeS3Entry() returns, or -1 when there is no configuration directory.
    // Defined in store/, which owns the form of entry files.
    int writeCsv();

    const QString url;
    const QString key;
    const QString secret;
    const QString region;
    const QString bucket;
    const QString site;
    const bool isTams;
};
