// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "net/s3address.h"
#include "testmain.h"

class S3AddressTest : public QObject
{
    Q_OBJECT
private slots:
    void parts_data();
    void parts();
    void malformed_data();
    void malformed();
};

void S3AddressTest::parts_data()
{
    QTest::addColumn<QByteArray>("address");
    QTest::addColumn<QList<QByteArray>>("expected"); // access key, secret, site, bucket, raw key
    using Parts = QList<QByteArray>;

    QTest::newRow("plain") << QByteArray("s3://AK:SK@s3.amazonaws.com/bucket/a/b.mxf")
                           << Parts{"AK", "SK", "s3.amazonaws.com", "bucket", "a/b.mxf"};
    QTest::newRow("capital scheme")
        << QByteArray("S3://AK:SK@localhost/b") << Parts{"AK", "SK", "localhost", "b", ""};
    QTest::newRow("secret with every separator")
        << QByteArray("s3://AK:ab/c+d@e:f@127.0.0.1:8080/bucket/k")
        << Parts{"AK", "ab/c+d@e:f", "127.0.0.1:8080", "bucket", "k"};
    QTest::newRow("at sign in the object key") << QByteArray("s3://AK:SK@nas.local/b/x@y.org/z")
                                               << Parts{"AK", "SK", "nas.local", "b", "x@y.org/z"};
    QTest::newRow("name without a dot falls back to the first at sign")
        << QByteArray("s3://AK:SK@nas/b/k@l") << Parts{"AK", "SK", "nas", "b", "k@l"};
    QTest::newRow("site with a scheme") << QByteArray("s3://AK:SK@http://nas:9000/b/k")
                                        << Parts{"AK", "SK", "http://nas:9000", "b", "k"};
    QTest::newRow("ipv6") << QByteArray("s3://AK:S@K@[::1]:9000/b/k")
                          << Parts{"AK", "S@K", "[::1]:9000", "b", "k"};
    QTest::newRow("backslashes stay as written") << QByteArray("s3://AK:SK@a.b\\bucket\\d\\f.mxf")
                                                 << Parts{"AK", "SK", "a.b", "bucket", "d\\f.mxf"};
    QTest::newRow("unsigned, key begins with a slash")
        << QByteArray("s3://:@a.b/bucket//k?#%") << Parts{"", "", "a.b", "bucket", "/k?#%"};
    QTest::newRow("account") << QByteArray("s3://AK:SK@a.b/") << Parts{"AK", "SK", "a.b", "", ""};
    QTest::newRow("account without a slash")
        << QByteArray("s3://AK:SK@a.b") << Parts{"AK", "SK", "a.b", "", ""};
}

void S3AddressTest::parts()
{
    QFETCH(QByteArray, address);
    QFETCH(QList<QByteArray>, expected);
    const auto parsed = hq::S3Address::parse(address.toStdString());
    QVERIFY(parsed);
    const QList<QByteArray> parts{
        QByteArray::fromStdString(parsed->accessKey), QByteArray::fromStdString(parsed->secret),
        QByteArray::fromStdString(parsed->site), QByteArray::fromStdString(parsed->bucket),
        QByteArray::fromStdString(parsed->rawKey)};
    QCOMPARE(parts, expected);
}

void S3AddressTest::malformed_data()
{
    QTest::addColumn<QByteArray>("address");
    for (const char *address :
         {"", "s3://", "s3://bucket/key", "s3://AK@host.org/b", "s3://AK:SK", "s3://AK:SK@",
          "s3://AK:SK@ho st.org/b", "s3://AK:SK@host.org:99999999/b", "s3://AK:SK@[::1/b",
          "s3://A\nK:SK@host.org/b", "https://AK:SK@host.org/b"})
        QTest::newRow(address) << QByteArray(address);
}

void S3AddressTest::malformed()
{
    QFETCH(QByteArray, address);
    QVERIFY(!hq::S3Address::parse(address.toStdString()));
}

PELLORY_TEST_MAIN(S3AddressTest, QCoreApplication)
#include "tst_s3address.moc"
