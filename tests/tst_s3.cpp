// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// S3 against a server that checks signatures and the region. It stands in a region that no client
// guesses, so every first contact also learns it.
#include "streamcontent.h"
#include "testserver.h"

namespace {

const QString kSecret = "ab/c+d@e:f";

// Names that meet every rule of escaping on the way, as a listing sorts them.
const QStringList kOddNames{"../dots",         "./dot",       "a b+c ü #1?%2F.mxf",
                            "back\\slash.mxf", "dir//x",      "new\nline",
                            "percent%41",      "quote\"<&>'", "日本.mxf"};

// What stands there, or why it is not opened.
QString opened(const QString &address)
{
    const HQHANDLE file = hqOSCreateFile(address.toUtf8(), HQ_ACCESS_READ, HQ_SHARE_READ, nullptr,
                                         HQ_OPEN_EXISTING, HQ_ATTRIBUTE_NORMAL, nullptr);
    if (file == HQ_INVALID_HANDLE)
        return "error " + QString::number(hqOSGetLastError());
    char content[64];
    std::uint32_t size = 0;
    const bool isRead = hqOSReadFile(file, content, sizeof content, &size, nullptr);
    hqOSCloseFile(file);
    return isRead ? QString::fromUtf8(content, int(size)) : "a folder";
}

int collect(void *user, const char *address, unsigned int attributes)
{
    const bool isFolder = (attributes & HQ_ATTRIBUTE_FOLDER) != 0;
    const QString text = QString::fromUtf8(address);
    *static_cast<QStringList *>(user)
        << (isFolder == text.endsWith('/') ? text : text + " with the wrong attribute");
    return 0;
}

} // namespace

class S3Test : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void opens();
    void lists();
    void program();

private:
    QString address(const QString &rest, const QString &secret = kSecret) const
    {
        return QString("s3://TESTER:%1@127.0.0.1:%2").arg(secret).arg(m_swift.port()) + rest;
    }
    void makeBucket(const QString &bucket, const QStringList &keys)
    {
        QJsonObject objects;
        for (const QString &key : keys)
            objects[key] = "content of " + key;
        m_swift.command("bucket", {{"bucket", bucket}});
        m_swift.command("put", {{"bucket", bucket}, {"objects", objects}});
        QVERIFY2(m_swift.error().isEmpty(), m_swift.error());
    }

    TestServer m_swift{"swift_server.py", {"--secret", kSecret, "--location", "eu-west-1"}};
};

void S3Test::initTestCase()
{
    QVERIFY2(m_swift.startBehindTls(), m_swift.error());
    makeBucket("empty", {});
    makeBucket("odd", kOddNames);
    makeBucket("tree", {"folder/", "folder/in", "folder/deep/x", "Folder/y", "raw\\k", "d\\k",
                        "d/k", "e\\f/x", "e/y"});
}

void S3Test::opens()
{
    const std::tuple<const char *, QString, QString> rows[] = {
        {"/", "a folder", kSecret},
        {"/tree", "a folder", kSecret},
        {"/tree/folder/in", "content of folder/in", kSecret},
        {"\\tree\\folder\\in", "content of folder/in", kSecret},
        {"\\tree\\raw\\k", "content of raw\\k", kSecret},
        {"\\tree\\d\\k", "content of d/k", kSecret}, // the folder's comes first
        {"/tree/none", "error 2", kSecret},
        {"/nowhere/a", "error 3", kSecret},
        {"/tree/folder/in", "error 5", "wrong"},
    };
    for (const auto &[rest, expected, secret] : rows)
        QVERIFY2(opened(address(rest, secret)) == expected, qPrintable(rest + (": " + expected)));
    for (const QString &name : kOddNames)
        QCOMPARE(opened(address("/odd/" + name)), "content of " + name);
}

void S3Test::lists()
{
    QStringList reel;
    for (int i = 100; i < 220; ++i)
        reel << "reel/" + QString::number(i);
    makeBucket("paged", reel);
    const std::pair<QString, QStringList> rows[] = {
        {"", {"empty/", "odd/", "paged/", "tree/"}},
        {"/odd", QStringList(kOddNames).replaceInStrings(QRegularExpression("/.*"), "/")},
        {"/paged/reel", QStringList(reel).replaceInStrings("reel/", "")},
        {"/empty", {}},
        {"/tree/folder", {"deep/", "in"}},
        {"/tree/e\\f", {"x"}},
    };
    for (const auto &[rest, names] : rows) {
        const QString parent = address(rest + "/");
        QStringList walked;
        if (!hqOSRecurseDirectory(&walked, address(rest).toUtf8(), collect, HQ_WALK_ONE_LEVEL))
            walked << "broke off";
        QCOMPARE(walked, QStringList(names).replaceInStrings(QRegularExpression("^"), parent));
    }
}

// The program itself, at the provider's own host, over TLS and with the bucket in the host name: a
// proxy on this machine leads every name to a front of the same server.
void S3Test::program()
{
    for (const bool isTrusted : {false, true}) {
        const QTemporaryDir target;
        const QString path = target.filePath("made.stream");
        QProcess program;
        if (!isTrusted)
            program.setEnvironment(QProcess::systemEnvironment() + QStringList("CURL_CA_BUNDLE="));
        program.start(PELLORY_PROGRAM, {"-k", "TESTER", "-s", kSecret, "-b", "tree", "-f",
                                        "folder\\in", "-t", path});
        QVERIFY(program.waitForFinished());
        QCOMPARE(program.exitCode(), isTrusted ? 1 : 255);
        QCOMPARE(program.readAllStandardOutput(), isTrusted ? "" : "Could not open source url\n");
        const QString made = "s3://TESTER:" + kSecret + "@s3.amazonaws.com/tree\\folder\\in";
        QCOMPARE(QString(contentOf(path)), isTrusted ? made : "not readable");
    }
    QVERIFY(m_swift.reached().contains("tree.s3.eu-west-1.amazonaws.com:443"));
}

PELLORY_TEST_MAIN(S3Test, QCoreApplication)
#include "tst_s3.moc"
