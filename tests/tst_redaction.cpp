// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "base/redaction.h"
#include "testmain.h"

class RedactionTest : public QObject
{
    Q_OBJECT
private slots:
    void lines_data();
    void lines();
    void isLinear_data();
    void isLinear();
};

void RedactionTest::lines_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("expected");
    const auto row = [](const char *text, const char *expected) {
        QTest::newRow(text) << QByteArray(text) << QByteArray(expected);
    };
    row("Unable to open <s3://AK:SECRET@s3.amazonaws.com/b/k>, error 5",
        "Unable to open <s3://AK:***@s3.amazonaws.com/b/k>, error 5");
    row("S3://AK:ab/c+d@e:f@127.0.0.1:8080\\b", "S3://AK:***@127.0.0.1:8080\\b");
    row("s3://A:SECRET@a.b/k, s3://B:SE CRET@c.d/k s3://C:SECRET", //
        "s3://A:***@a.b/k, s3://B:***@c.d/k s3://C:***");
    row("s3://A:SECRET@SECRET@nas/b", "s3://A:***@nas/b");
    row("s3://A:a.b/SECRET@h.org/x@y", "s3://A:***@h.org/x@y");
    row("s3://:@a.b/b/x@y.org", "s3://:***@a.b/b/x@y.org");
    row("s3://A:s3://SECRET@a.b/b", "s3://A:***");
    row("s3://A:SE\nCRET@h.org/b\nmore", "s3://A:***@h.org/b\nmore");
    row("s3://A:SE CRET\nmore", "s3://A:***\nmore");
    row("https://user:pa/SECRET@h.org:1/x", "https://***@h.org:1/x");
    row("https://h.org:8080/x@y client_secret='SE CRET'",
        "https://h.org:8080/x@y client_secret='***'");
    row("s3:// s3://bucket/key s3://h.org:", "s3:// s3://bucket/key s3://h.org:***");
    row("https://user:SECRET@SE@h.org/x@y?a=b", "https://***@h.org/x@y?a=b");
    row("https://h.org/k?X-Amz-Date=1&X-Amz-Credential=SE%2FC&X-Amz-Signature=SEC&a=b #c",
        "https://h.org/k?X-Amz-Date=1&X-Amz-Credential=***&X-Amz-Signature=***&a=b #c");
    row("?AWSAccessKeyId=SE&Signature=SE%3D&Expires=1&sig=SE&x-amz-security-token=SE&token=SE",
        "?AWSAccessKeyId=***&Signature=***&Expires=1&sig=***&x-amz-security-token=***&token=***");
    row("authorization: AWS4-HMAC-SHA256 Credential=SE, Signature=SE\r\nhost: a",
        "authorization: ***\r\nhost: a");
    row("sent Bearer SE.CR-ET_ and went on", "sent Bearer *** and went on");
    row("{\"access_token\": \"SE\\\"CRET\", \"expires_in\":3600,\"id_token\":\"SE\"}",
        "{\"access_token\": \"***\", \"expires_in\":3600,\"id_token\":\"***\"}");
    row("{\\\"refresh_token\\\":\\\"SECRET\\\",\\\"a\\\":1}",
        "{\\\"refresh_token\\\":\\\"***\\\",\\\"a\\\":1}");
    row("grant_type=client_credentials&client_secret=SECRET&scope=a",
        "grant_type=client_credentials&client_secret=***&scope=a");
    row("AWSAccessKeyId=AK\r\nAWSSecretKey=SE CR&ET\r\nAWSRegion=eu",
        "AWSAccessKeyId=***\r\nAWSSecretKey=***\r\nAWSRegion=eu");
    row("<SecretAccessKey>SECRET</SecretAccessKey>", "<SecretAccessKey>***</SecretAccessKey>");
    row("continuation: 3 tokens, the token came twice; key=a signed=b",
        "continuation: 3 tokens, the token came twice; key=a signed=b");
    row("\"token\":\"SECRET", "\"token\":\"***");
    row("token=", "token=***");
    row("\xff\xc3://\xff@\xff token:\"\\", "\xff\xc3://\xff@\xff token:\"***");
    row("", "");
}

void RedactionTest::lines()
{
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, expected);
    QCOMPARE(QByteArray::fromStdString(hq::redact(text.toStdString())), expected);
}

void RedactionTest::isLinear_data()
{
    QTest::addColumn<QByteArray>("part");
    for (const char *part : {"s3://", "s3://a:b@", "s3://a:b@c.d@", "@", "3://", "token=\"",
                             "https://@", "s3://a:@a.b.c.d.", "token:\\\"", "<token>"})
        QTest::newRow(part) << QByteArray(part);
}

// A quadratic redaction would meet the test's time limit, which is short for that.
void RedactionTest::isLinear()
{
    QFETCH(QByteArray, part);
    QVERIFY(!hq::redact(part.repeated(1'000'000 / part.size()).toStdString()).empty());
}

PELLORY_TEST_MAIN(RedactionTest, QCoreApplication)
#include "tst_redaction.moc"
