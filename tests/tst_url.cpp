// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "addressforms.h"
#include "testmain.h"
#include "url.h"

class UrlTest : public QObject
{
    Q_OBJECT
private slots:
    void record_data();
    void record();
    void serviceDomainFollowsFromTheHost();
};

void UrlTest::record_data()
{
    QTest::addColumn<QStringList>("fields"); // key, secret, region, bucket, site
    QTest::addColumn<bool>("tams");
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("site");
    QTest::addColumn<QString>("displayName");

    const QString host = "s3.amazonaws.com";
    QTest::newRow("default site") << QStringList{"AK", "SK", "eu-west-1", "media", ""} << false
                                  << "s3://AK:SK@" + host + "/media" << host << host + " - media";
    QTest::newRow("own site") << QStringList{"AK", "SK", "", "media", "http://nas:9000"} << false
                              << "s3://AK:SK@http://nas:9000/media"
                              << "http://nas:9000"
                              << "http://nas:9000 - media";
    QTest::newRow("nothing escaped") << QStringList{"AK", "a/b+c:d@e f%", "", "ü", "h.org"} << false
                                     << "s3://AK:a/b+c:d@e f%@h.org/ü"
                                     << "h.org"
                                     << "h.org - ü";
    QTest::newRow("all empty") << QStringList{"", "", "", "", ""} << false << "s3://:@" + host + "/"
                               << host << host + " - ";
    QTest::newRow("TAMS") << QStringList{"", "", "", "", "tams.example.org"} << true
                          << "https://tams.example.org"
                          << "tams.example.org"
                          << "tams.example.org - ";
    QTest::newRow("TAMS without a site") << QStringList{"", "", "", "", ""} << true << "https://"
                                         << ""
                                         << " - ";
}

void UrlTest::record()
{
    QFETCH(QStringList, fields);
    QFETCH(bool, tams);
    const URL record(fields[0], fields[1], fields[2], fields[3], fields[4], tams);
    QTEST(record.getUrl(), "url");
    QTEST(record.getSite(), "site");
    QTEST(record.getDisplayName(), "displayName");
    QCOMPARE(
        (QStringList{record.getKey(), record.getSecret(), record.getRegion(), record.getBucket()}),
        fields.mid(0, 4));
    QCOMPARE(record.isTams, tams);
}

void UrlTest::serviceDomainFollowsFromTheHost()
{
    QCOMPARE(s3ServiceDomain(), QString("amazonaws.com"));
}

PELLORY_TEST_MAIN(UrlTest, QCoreApplication)
#include "tst_url.moc"
