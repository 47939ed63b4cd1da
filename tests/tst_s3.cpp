// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// S3 against a server that checks signatures and the region. It stands in a region that no client
// guesses, so every first contact also learns it.
#include "hqutil.h"
#include "testmain.h"
#include "testserver.h"
#include "transfer.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QProcess>

#include <memory>

namespace {

const QByteArray kSecret = "ab/c+d@e:f";

// Names that meet every rule of escaping on the way.
const QStringList kOddNames{
    "a b+c ü #1?%2F.mxf", "dir//x",    "./dot",       "../dots", "back\\slash.mxf",
    "percent%41",         "new\nline", "quote\"<&>'", "日本.mxf"};

using WalkResult = QStringList; // folders with a final "/"

int collect(void *user, const char *address, unsigned int attributes)
{
    auto *result = static_cast<WalkResult *>(user);
    QString text = QString::fromUtf8(address);
    if (((attributes & HQ_ATTRIBUTE_FOLDER) != 0) != text.endsWith('/'))
        text += " with the wrong attribute";
    *result << text;
    return 0;
}

QByteArray readAll(const QByteArray &address)
{
    const HQHANDLE file = hqOSCreateFile(address.constData(), HQ_ACCESS_READ, HQ_SHARE_READ,
                                         nullptr, HQ_OPEN_EXISTING, HQ_ATTRIBUTE_NORMAL, nullptr);
    QByteArray content(4096, '\0');
    std::uint32_t read = 0;
    if (!hqOSReadFile(file, content.data(), 4096, &read, nullptr))
        content = "error " + QByteArray::number(hqOSGetLastError());
    else
        content.truncate(static_cast<int>(read));
    hqOSCloseFile(file);
    return content;
}

} // namespace

class S3Test : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void opens();
    void oddNames();
    void keyWithBackslash();
    void pages();
    void emptyAndMarkers();
    void copies();
    void program();
    void providerHost();

private:
    QByteArray address(const QByteArray &rest, const QByteArray &secret = kSecret) const
    {
        return "s3://TESTER:" + secret + "@" + m_site + rest;
    }
    void put(const QString &bucket, const QJsonObject &objects)
    {
        m_swift.command("put", {{"bucket", bucket}, {"objects", objects}});
        QVERIFY2(m_swift.error().isEmpty(), m_swift.error());
    }

    TestServer m_swift{"swift_server.py",
                       {"--secret", QString::fromUtf8(kSecret), "--location", "eu-west-1"}};
    std::unique_ptr<TestServer> m_front;
    QByteArray m_site;
};

void S3Test::initTestCase()
{
    QVERIFY2(m_swift.start(), m_swift.error());
    m_site = "127.0.0.1:" + QByteArray::number(m_swift.port());
    m_front = std::make_unique<TestServer>("tls_front.py",
                                           QStringList{"--port", QString::number(m_swift.port())});
    QVERIFY2(m_front->start(), m_front->error());
    // Read once per process, so it stands before the first transfer.
    qputenv("CURL_CA_BUNDLE", m_front->ready()["caFile"].toString().toUtf8());
    for (const char *bucket : {"odd", "paged", "tree", "big", "empty"})
        m_swift.command("bucket", {{"bucket", bucket}});
    QJsonObject odd;
    for (const QString &name : kOddNames)
        odd[name] = "content of " + name;
    put("odd", odd);
    put("tree", {{"top.mxf", "top"},
                 {"folder/", ""},
                 {"folder/in.mxf", "in"},
                 {"folder/deep/x.mxf", "x"},
                 {"Folder/other.mxf", "case"}});
}

void S3Test::opens()
{
    const struct
    {
        const char *name, *rest;
        QByteArray secret;
        std::uint32_t error; // 0: opens
    } rows[] = {
        {"account", "/", kSecret, 0},
        {"bucket", "/tree", kSecret, 0},
        {"object", "/tree/folder/in.mxf", kSecret, 0},
        {"object behind backslashes", "\\tree\\folder\\in.mxf", kSecret, 0},
        {"missing object", "/tree/none.mxf", kSecret, 2},
        {"missing bucket", "/nowhere/a", kSecret, 3},
        {"wrong secret", "/tree/top.mxf", "wrong", 5},
        {"wrong secret, bucket", "/tree", "wrong", 5},
    };
    for (const auto &row : rows) {
        const HQHANDLE file =
            hqOSCreateFile(address(row.rest, row.secret).constData(), HQ_ACCESS_READ, HQ_SHARE_READ,
                           nullptr, HQ_OPEN_EXISTING, HQ_ATTRIBUTE_NORMAL, nullptr);
        QVERIFY2((file == HQ_INVALID_HANDLE ? hqOSGetLastError() : 0) == row.error, row.name);
        hqOSCloseFile(file);
    }
}

void S3Test::oddNames()
{
    for (const QString &name : kOddNames)
        QCOMPARE(QString::fromUtf8(readAll(address("/odd/" + name.toUtf8()))),
                 "content of " + name);
    WalkResult root;
    QVERIFY(hqOSRecurseDirectory(&root, address("/odd").constData(), collect, HQ_WALK_ONE_LEVEL));
    QStringList expected;
    for (const QString &name : kOddNames) {
        const QString top = name.contains('/') ? name.section('/', 0, 0) + "/" : name;
        expected << address("/odd/" + top.toUtf8());
    }
    std::sort(expected.begin(), expected.end(),
              [](const QString &a, const QString &b) { return a.toUtf8() < b.toUtf8(); });
    QCOMPARE(root, expected);
}

void S3Test::keyWithBackslash()
{
    // Both an object whose key holds a "\" and one in a folder answer to the same text; the folder
    // comes first.
    put("tree", {{"d\\k", "raw"}});
    QCOMPARE(readAll(address("/tree\\d\\k")), QByteArray("raw"));
    put("tree", {{"d/k", "folder"}});
    QCOMPARE(readAll(address("/tree\\d\\k")), QByteArray("folder"));
    m_swift.command("delete", {{"bucket", "tree"}, {"keys", QJsonArray{"d\\k", "d/k"}}});
}

void S3Test::pages()
{
    QJsonObject objects;
    QStringList expected;
    for (int i = 0; i < 120; ++i) {
        const QString key = QString("reel/%1.mxf").arg(i, 5, 10, QChar('0'));
        objects[key] = "";
        expected << address("/paged/" + key.toUtf8());
    }
    put("paged", objects);
    WalkResult result;
    QVERIFY(hqOSRecurseDirectory(&result, address("/paged/reel").constData(), collect,
                                 HQ_WALK_ONE_LEVEL));
    QCOMPARE(result, expected);

    const hq::StopToken token;
    const hq::ScopedStopToken scope(token);
    token.stop();
    WalkResult stopped;
    QVERIFY(!hqOSRecurseDirectory(&stopped, address("/paged/reel").constData(), collect,
                                  HQ_WALK_ONE_LEVEL));
    QCOMPARE(hqOSGetLastError(), 1223u);
    QVERIFY(stopped.isEmpty());
}

void S3Test::emptyAndMarkers()
{
    WalkResult empty;
    QVERIFY(
        hqOSRecurseDirectory(&empty, address("/empty").constData(), collect, HQ_WALK_ONE_LEVEL));
    QVERIFY(empty.isEmpty());

    WalkResult folder;
    QVERIFY(hqOSRecurseDirectory(&folder, address("/tree/folder").constData(), collect,
                                 HQ_WALK_ONE_LEVEL));
    QCOMPARE(folder, (QStringList{QString(address("/tree/folder/deep/")),
                                  QString(address("/tree/folder/in.mxf"))}));
    WalkResult account;
    QVERIFY(hqOSRecurseDirectory(&account, address("/").constData(), collect, HQ_WALK_ONE_LEVEL));
    QVERIFY(account.contains(QString(address("//paged/"))));

    WalkResult missing;
    QVERIFY(!hqOSRecurseDirectory(&missing, address("/nowhere").constData(), collect,
                                  HQ_WALK_ONE_LEVEL));
    QVERIFY(hqOSFileIsDir(address("/tree/folder").constData()));
    QVERIFY(!hqOSFileIsDir(address("/tree/none").constData()));
}

void S3Test::copies()
{
    constexpr int kSize = 40 * 1024 * 1024 + 7;
    put("big", {{"large.mxf", kSize}, {"small.mxf", "small content"}, {"none", ""}});
    QTemporaryDir target;
    const auto copyTo = [&](const QByteArray &key, int keep) {
        return hqOSCopyFile(address("/big/" + key).constData(),
                            target.filePath(key).toUtf8().constData(), keep);
    };
    QVERIFY(copyTo("large.mxf", 1));
    QFile large(target.filePath("large.mxf"));
    QVERIFY(large.open(QIODevice::ReadOnly));
    QVERIFY(large.readAll() == TestServer::content(0, kSize));

    QVERIFY(copyTo("none", 1));
    QVERIFY(copyTo("small.mxf", 1));
    QVERIFY(!copyTo("small.mxf", 1));
    QCOMPARE(hqOSGetLastError(), 80u);
    QVERIFY(copyTo("small.mxf", 0));
    QVERIFY(!copyTo("missing", 1));
    QCOMPARE(hqOSGetLastError(), 2u);
    QCOMPARE(QDir(target.path()).entryList(QDir::Files | QDir::Hidden),
             (QStringList{"large.mxf", "none", "small.mxf"}));
}

// The provider's own host, over TLS and with the bucket in the host name: a proxy on this machine
// leads every name to a front of the same server.
void S3Test::providerHost()
{
    qputenv("https_proxy",
            "http://127.0.0.1:" + QByteArray::number(m_front->ready()["proxyPort"].toInt()));
    m_site = "s3.amazonaws.com";
    QCOMPARE(readAll(address("/tree\\top.mxf")), QByteArray("top"));
    const QJsonArray targets = m_front->command("targets")["targets"].toArray();
    QVERIFY(targets.contains("tree.s3.amazonaws.com:443"));
    QVERIFY(targets.contains("tree.s3.eu-west-1.amazonaws.com:443"));
}

// The program itself, which also reads the certificate settings anew.
void S3Test::program()
{
    const QString whole = QString::fromUtf8(address("/tree/top.mxf"));
    const QStringList pieces{"-k", "TESTER", "-s", QString::fromUtf8(kSecret),
                             "-b", "tree",   "-f", "folder\\in.mxf"};
    const struct
    {
        const char *name;
        QStringList arguments;
        bool isTrusted;
        QString content; // empty: could not open
    } rows[] = {
        {"whole address", {"-u", whole}, true, whole},
        {"wrong secret", {"-u", QString(whole).replace("@e:f@", "@e:g@")}, true, ""},
        {"pieces, through the proxy", pieces, true,
         "s3://TESTER:" + QString::fromUtf8(kSecret) + "@s3.amazonaws.com/tree\\folder\\in.mxf"},
        {"unknown authority", pieces, false, ""},
    };
    for (const auto &row : rows) {
        const QTemporaryDir target;
        QFile file(target.filePath("made.stream"));
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("https_proxy",
                           "http://127.0.0.1:" +
                               QString::number(m_front->ready()["proxyPort"].toInt()));
        if (!row.isTrusted)
            environment.remove("CURL_CA_BUNDLE");
        QProcess program;
        program.setProcessEnvironment(environment);
        program.start(PELLORY_PROGRAM, row.arguments + QStringList{"-t", file.fileName()});
        QVERIFY2(program.waitForFinished(), row.name);
        const bool isWritten = !row.content.isEmpty();
        QVERIFY2(program.exitCode() == (isWritten ? 1 : 255), row.name);
        QVERIFY2(program.readAllStandardOutput() ==
                     (isWritten ? "" : "Could not open source url\n"),
                 row.name);
        QVERIFY2(file.open(QIODevice::ReadOnly) == isWritten, row.name);
        QVERIFY2(!isWritten || QString::fromUtf8(file.readAll()) == row.content, row.name);
    }
}

PELLORY_TEST_MAIN(S3Test, QCoreApplication)
#include "tst_s3.moc"
