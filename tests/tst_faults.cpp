// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// What the library makes of servers and networks that fail, refuse, move and lie.
#include "base/lasterror.h"
#include "hqutil.h"
#include "net/timelimits.h"
#include "openfiles.h"
#include "streamcontent.h"
#include "testmain.h"
#include "testserver.h"
#include "transfer.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>
#include <QThreadPool>

namespace {

constexpr int kSmall = 100'000;
constexpr int kMedium = 3'000'000;
constexpr int kLarge = 40 * 1024 * 1024 + 1;
constexpr int kUnknown = 64 * 1024 * 1024 + 1; // too long to find out its size by reading

HQHANDLE openSource(const QByteArray &address)
{
    return hqOSCreateFile(address.constData(), HQ_ACCESS_READ, HQ_SHARE_READ, nullptr,
                          HQ_OPEN_EXISTING, HQ_ATTRIBUTE_NORMAL, nullptr);
}

// Nor is a file without a name still there.
bool isUntouched(const QTemporaryDir &folder)
{
    QThreadPool::globalInstance()->waitForDone(); // which closes large ones
    const auto all = QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot;
    return QDir(folder.path()).isEmpty(all) && openFilesIn(folder.path()).isEmpty();
}

// What is done to an object of its own. TlsRead: the server is the proxy.
enum What { S3Read, S3Copy, WebRead, WebCopy, TlsRead };

struct Case
{
    const char *name;
    What what;
    int size;
    const char *commands;  // to the server, JSON in single quotes; "fault" if they do not say
    uint error = 0;        // 0: done, with the content of `version`
    const char *says = ""; // what the server's word and the advice hold
    int version = 0;
    int requests = 0;     // 0: any number
    bool isShort = false; // with short time limits
};

#define EVER "'times':0"
#define HALF_HEAD "'raw':'HTTP/1.1 200 OK\\r\\nContent-Le'"
#define BY(kind) "{'op':'set','validator':'" kind "'}"

constexpr Case kCases[] = {
    {"reset", S3Read, kSmall, "[{'reset':true},{'method':'GET','reset':true}]"},
    {"cut often", S3Read, kMedium, "[{'method':'GET','cut':200000,'times':9}]"},
    {"time-out", S3Read, kSmall, "[{'method':'GET','status':400,'code':'RequestTimeout'}]"},
    {"head refused", S3Read, kSmall, "[{'method':'HEAD','status':403," EVER "}]"},
    {"given up after six", S3Read, kSmall, "[{'status':503," EVER "}]", 12152, "", 0, 6},
    {"never without reason", S3Read, kSmall, "[{'status':400,'code':'InvalidRequest'," EVER "}]",
     12152, "InvalidRequest (As told)", 0, 2},
    {"lies about the size", S3Read, kSmall, "[{'method':'GET','lengthDelta':5," EVER "}]", 12152},
    {"silent", S3Read, kSmall, "[{'delay':60000," EVER "}]", 12002, "", 0, 2, true},
    {"drips", WebRead, kSmall, "[{'rate':1," EVER "}]", 12002, "", 0, 0, true},
    {"clock", WebRead, kSmall, "[{'op':'set','skew':360},{'status':403}]", 5,
     "the clock of this computer is 6 minutes behind the server's", 0, 1},
    {"elsewhere", S3Read, kSmall,
     "[{'status':301,'headers':{'x-amz-bucket-region':'eu-north-1'}," EVER "}]", 12152,
     "the bucket is in region eu-north-1"},
    {"proxy", TlsRead, 0, "[{'status':407," EVER "}]", 5, "the proxy", 0, 1},
    {"one request", WebRead, kSmall, "[]", 0, "", 0, 1},
    {"until it closes", WebRead, kSmall, "[{'unsized':'close'}]", 0, "", 0, 1},
    {"of unknown size", WebRead, kUnknown, "[{'unsized':'chunked'}]", 0, "", 0, 1},

    // Answers that are none.
    {"half a head", S3Read, kSmall, "[{" HALF_HEAD "," EVER "}]", 12030, "", 0, 6},
    {"half, once", S3Read, kSmall, "[{" HALF_HEAD "},{'method':'GET'," HALF_HEAD "}]"},
    {"endless head", WebRead, kSmall,
     "[{'raw':'HTTP/1.1 200 OK\\r\\n','endless':'X-Y: z\\r\\n'," EVER "}]", 12152},
    {"endless refusal", WebRead, kSmall,
     "[{'raw':'HTTP/1.1 403 No\\r\\n\\r\\n<Error><Code>Tired</Code>','endless':'<a/>'}]", 5,
     "Tired", 0, 1},
    {"redirects", WebRead, kSmall, "[{'status':302,'headers':{'Location':'?'}," EVER "}]", 12152},
    {"not HTTP", WebRead, kSmall, "[{'raw':'220 mail.example.org ESMTP\\r\\n'," EVER "}]", 12152},

    // Versions.
    {"tag", S3Read, kMedium, "[{'method':'GET','cut':-1},{'method':'GET','change':true}]", 1006},
    {"weak tag", WebCopy, kMedium, "[" BY("weak") ",{'cut':-1},{'change':true}]", 1006},
    {"date", WebCopy, kMedium, "[" BY("date") ",{'cut':-1},{'change':true}]", 1006},
    {"date lies", WebRead, kMedium, "[" BY("date") ",{'cut':-1},{'otherVersion':true}]", 1006},
    {"date stays", WebRead, kMedium, "[" BY("date") ",{'cut':-1}]"},
    {"date too new", WebRead, kMedium, "[" BY("young") ",{'cut':-1}]", 12030},
    {"none", WebRead, kMedium, "[" BY("none") ",{'cut':-1}]", 12030},
    {"none, copy", WebCopy, kMedium, "[" BY("none") ",{'cut':-1},{'change':true}]", 0, "", 1},
    {"none, no parts", S3Copy, kLarge, "[" BY("none") "]", 0, "", 0, 2},
    {"parts", S3Copy, kLarge, "[{'method':'GET','skip':2,'change':true}]", 1006},
    {"parts lie", S3Copy, kLarge, "[{'method':'GET','skip':2,'otherVersion':true}]", 1006},

    // Copies.
    {"chaos", S3Copy, kLarge,
     "[{'op':'chaos','seed':1,'effects':"
     "[[0.025,{'status':503}],[0.025,{'reset':true}],[0.05,{'cut':-1}]]}]"},
    {"other place", S3Copy, kLarge, "[{'method':'GET','skip':1,'wrongRange':true}]", 12152},
    {"always cut", S3Copy, kLarge, "[{'method':'GET','cut':0," EVER "}]", 12030, "", 0, 0, true},
    {"long busy", S3Copy, kSmall, "[{'status':503,'times':8},{'method':'GET','cut':-1}]"},
    {"waits as told", S3Copy, kLarge,
     "[{'op':'set','latency':20},{'method':'GET','status':503,'headers':{'Retry-After':'5'}," EVER
     "}]",
     12152, "SlowDown", 0, 7, true}, // each of the six parts once
    {"one at once", S3Copy, kLarge, "[{'op':'set','atOnce':1,'latency':20,'rate':100000000}]"},
    {"away", S3Copy, kLarge, "[{'op':'away','ms':500}]"},

    // What is learned of the clock stays.
    {"skewed clock", S3Read, kSmall, "[{'op':'set','skew':7200}]"},
};

} // namespace

class FaultsTest : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void cases();
    void connectionsAreUsedAgain();
    void positions();
    void redirectsTakeNoCredentials();
    void secretsNeedTls();

private:
    QByteArray webAddress(const QByteArray &rest) const
    {
        return "http://127.0.0.1:" + QByteArray::number(m_server.port()) + rest;
    }
    QByteArray address(const Case &row, const QByteArray &bucket) const
    {
        if (row.what == TlsRead)
            return "https://" + bucket + ".example.org/";
        const bool isS3 = row.what == S3Read || row.what == S3Copy;
        return webAddress("\\" + bucket + "\\o")
            .replace("http://", isS3 ? "s3://AK:SK@" : "http://");
    }
    QJsonArray requests() { return m_server.command("requests")["requests"].toArray(); }

    TestServer m_server{"fault_server.py"};
};

namespace {

// Whether the call succeeded, and with the right bytes.
bool copy(const Case &row, const QByteArray &source)
{
    const QTemporaryDir target;
    const QString path = target.filePath("copy");
    if (!hqOSCopyFile(source.constData(), path.toUtf8().constData(), 1))
        return !isUntouched(target) && hq::fail(hq::Error::FileExists);
    return contentOf(path) == TestServer::content(1000 * row.version, row.size) ||
           hq::fail(hq::Error::FileExists);
}

// In pieces, up to the end.
bool read(const Case &row, const QByteArray &source)
{
    const HQHANDLE file = openSource(source);
    int64_t size = row.size;
    if (file == HQ_INVALID_HANDLE || !hqOSGetFileSizeEx(file, &size))
        return false;
    QByteArray content(2 * row.size, '\0');
    int total = 0;
    bool isRead = true;
    for (std::uint32_t part = 1; isRead && part > 0 && total <= row.size; total += int(part))
        isRead = hqOSReadFile(file, content.data() + total, row.size / 4, &part, nullptr);
    const hq::LastErrorKeeper keeper;
    hqOSCloseFile(file);
    content.truncate(total);
    const bool isSized = size == row.size || (size == -1 && row.size == kUnknown);
    return isRead && ((isSized && content == TestServer::content(0, row.size)) ||
                      hq::fail(hq::Error::FileExists));
}

} // namespace

void FaultsTest::initTestCase()
{
    ErrLogSetFileName("test");
    QVERIFY2(m_server.start(), m_server.error());
    m_server.command(
        "bucket", {{"bucket", "media"}, {"count", 1}, {"objects", QJsonObject{{"clip", kSmall}}}});
    qputenv("https_proxy", webAddress(""));
}

void FaultsTest::init()
{
    m_server.command("calm");
    requests();
}

void FaultsTest::cases()
{
    const hq::TimeLimits usual = hq::timeLimits();
    const auto brief = std::chrono::milliseconds(1000);
    int number = 0;
    for (const Case &row : kCases) {
        // Its own, since requests of the row before can still come in.
        const QString bucket = QString("row%1-").arg(++number);
        init();
        m_server.command("bucket", {{"bucket", bucket}, {"objects", QJsonObject{{"o", row.size}}}});
        for (const QJsonValue &value :
             QJsonDocument::fromJson(QByteArray(row.commands).replace('\'', '"')).array()) {
            QJsonObject command = value.toObject();
            const QString op = command.take("op").toString("fault");
            if (op == "fault")
                command["contains"] = bucket;
            m_server.command(op, command);
            QVERIFY2(m_server.error().isEmpty(), row.name + m_server.error());
        }
        if (row.isShort)
            hq::timeLimits() = {brief, brief * 3 / 5, brief / 2, brief / 2, brief, brief};
        const QByteArray source = address(row, bucket.toUtf8());
        hq::fail(hq::Error::FileExists); // which no row ends with
        const bool isCopy = row.what == S3Copy || row.what == WebCopy;
        const uint error = errorOf(isCopy ? copy(row, source) : read(row, source));
        const hq::FailureDetails details = hq::failureDetails();
        hq::timeLimits() = usual;
        const QByteArray said = (details.serverWord + "; " + details.advice).c_str();
        const QJsonArray all = requests();
        const int sent = std::count_if(all.begin(), all.end(), [&](const QJsonValue &request) {
            return request["path"].toString().contains(bucket);
        });
        const QByteArray told =
            QString("%1: error %2, %3 requests, ").arg(row.name).arg(error).arg(sent).toUtf8() +
            said;
        QVERIFY2(error == row.error && (row.requests == 0 || sent == row.requests), told);
        QVERIFY2(error == 0 || said.contains(row.says), told);
    }
}

void FaultsTest::connectionsAreUsedAgain()
{
    char byte = 0;
    std::uint32_t read = 0;
    for (int i = 0; i < 10; ++i) {
        const HQHANDLE file = openSource(webAddress("/media/key-000000"));
        QVERIFY(hqOSReadFile(file, &byte, 1, &read, nullptr)); // the rest is not read
        hqOSCloseFile(file);
    }
    QSet<int> connections;
    for (const QJsonValue &request : requests())
        connections.insert(request["connection"].toInt());
    QCOMPARE(connections.size(), 1);
}

void FaultsTest::positions()
{
    QByteArray content(100, '\0');
    std::uint32_t read = 1;
    for (const int times : {0, 1000}) {
        m_server.command("fault", {{"contains", "clip"}, {"times", times}, {"unsized", "chunked"}});
        const HQHANDLE file = openSource(webAddress("/media/clip"));
        for (const int64_t position : {int64_t(kSmall), INT64_MAX}) {
            QVERIFY(hqOSSeek(file, position));
            QVERIFY(hqOSReadFile(file, content.data(), 100, &read, nullptr));
            QCOMPARE(read, 0u);
        }
        QVERIFY(hqOSSeek(file, 500) && hqOSReadFile(file, content.data(), 100, &read, nullptr));
        QCOMPARE(content, TestServer::content(500, 100));
        hqOSCloseFile(file);
    }
}

void FaultsTest::redirectsTakeNoCredentials()
{
    TestServer elsewhere{"fault_server.py"};
    QVERIFY2(elsewhere.start(), elsewhere.error());
    elsewhere.command("bucket", {{"bucket", "b"}, {"count", 1}});
    const QString target = QString("http://localhost:%1/b/key-000000").arg(elsewhere.port());
    m_server.command("fault", {{"status", 302}, {"headers", QJsonObject{{"Location", target}}}});
    const HQHANDLE file = openSource(webAddress("/media/clip").replace("//", "//user:word@"));
    QVERIFY(file != HQ_INVALID_HANDLE);
    hqOSCloseFile(file);
    QVERIFY(requests()[0].toObject().contains("authorization"));
    const QJsonArray sent = elsewhere.command("requests")["requests"].toArray();
    QCOMPARE(sent.size(), 1);
    QVERIFY(!sent[0].toObject().contains("authorization"));
}

// A token's server without TLS is none that secrets are sent to.
void FaultsTest::secretsNeedTls()
{
    char directory[HQ_CONFIG_DIR_SIZE] = {};
    QVERIFY(hqOSGetConfigDir(directory, 0));
    QVERIFY(fill(QString(directory) + "repository.example.org.json",
                 R"({"client_id": "id", "client_secret": "word"})"));
    hqCFGValueString(-1, "Tidewell\\OAuth2\\repository.example.org", "oauth2server",
                     "http://login.example.org", nullptr, 1);
    QVERIFY(hqCFGSave(-1, 0, 0));
    QCOMPARE(openSource("https://repository.example.org/"), HQ_INVALID_HANDLE);
    QCOMPARE(hqOSGetLastError(), 50u);
}

PELLORY_TEST_MAIN(FaultsTest, QCoreApplication)
#include "tst_faults.moc"
