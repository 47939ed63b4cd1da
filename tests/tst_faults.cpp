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

#include <QDir>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>
#include <QThreadPool>

#include <thread>

namespace {

constexpr int kSmall = 100'000;
constexpr int kMedium = 3'000'000;
constexpr int kLarge = 40 * 1024 * 1024 + 1;
constexpr int kUnknown = 64 * 1024 * 1024 + 1; // too long to find out its size by reading
constexpr int kKeys = 2500;
constexpr int kHang = 20'000; // ms; what takes as long waits for something that does not come

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

struct Count
{
    int pause;
    int entries = 0;
};

int countEntry(void *user, const char *, unsigned int)
{
    auto *count = static_cast<Count *>(user);
    if (++count->entries == 10)
        std::this_thread::sleep_for(std::chrono::milliseconds(count->pause));
    return 0;
}

// What is done to an object of its own, a bucket of kKeys objects (which the callback rests in for
// `size` ms), a repository's token.
enum What { S3Read, S3Copy, WebRead, WebPieces, WebCopy, Walk, Token, Proxy };

struct Case
{
    const char *name;
    What what;
    int size;
    const char *commands;  // to the server, JSON in single quotes; "fault" if they do not say
    uint error = 0;        // 0: done, with the content of `version`
    const char *says = ""; // what its details hold, "the server's word; the advice"
    int version = 0;
    int requests = 0;     // 0: any number; below 0: so many at most
    bool isShort = false; // with short time limits
};

#define EVER "'times':0"
#define HALF_HEAD "'raw':'HTTP/1.1 200 OK\\r\\nContent-Le'"
#define REFUSAL "'raw':'HTTP/1.1 403 No\\r\\n\\r\\n<Error><Code>Tired</Code>'"
#define BY(kind) "{'op':'set','validator':'" kind "'}"
#define CHAOS                                                                                      \
    "{'op':'chaos','seed':1,'effects':"                                                            \
    "[[0.025,{'status':503}],[0.025,{'reset':true}],[0.05,{'cut':-1}]]}"

constexpr Case kCases[] = {
    {"reset and closed", S3Read, kSmall, "[{'reset':true},{'method':'GET','close':true}]"},
    {"cut often", S3Read, kMedium, "[{'method':'GET','cut':200000,'times':9}]"},
    {"time-out", S3Read, kSmall, "[{'method':'GET','status':400,'code':'RequestTimeout'}]"},
    {"head refused", S3Read, kSmall, "[{'method':'HEAD','status':403," EVER "}]"},
    {"head not allowed", S3Read, kSmall, "[{'method':'HEAD','status':405," EVER "}]"},
    {"sixth attempt", S3Read, kSmall, "[{'status':503,'times':5}]"},
    {"given up after six", S3Read, kSmall, "[{'status':503,'times':6}]", 12152},
    {"never without reason", S3Read, kSmall, "[{'status':400,'code':'InvalidRequest'," EVER "}]",
     12152, "InvalidRequest (As told)", 0, 2},
    {"lies about the size", S3Read, kSmall, "[{'method':'GET','lengthDelta':5," EVER "}]", 12152},
    {"silent", S3Read, kSmall, "[{'delay':60000," EVER "}]", 12002, "", 0, 2, true},
    {"drips", WebRead, kSmall, "[{'rate':1," EVER "}]", 12002, "", 0, 0, true},
    {"gateway", S3Read, kSmall, "[{'status':403,'body':'{\\'message\\':\\'Quota\\'}','times':2}]",
     5, "Quota", 0, 2},
    {"clock", WebRead, kSmall, "[{'op':'set','skew':360},{'status':403}]", 5,
     "the clock of this computer is 6 minutes behind the server's", 0, 1},
    {"elsewhere", S3Read, kSmall,
     "[{'status':301,'headers':{'x-amz-bucket-region':'eu-north-1'}," EVER "}]", 12152,
     "the bucket is in region eu-north-1"},
    {"proxy", WebRead, kSmall, "[{'status':407," EVER "}]", 5, "the proxy", 0, 1},
    {"proxy of TLS", Proxy, 0, "[{'status':407," EVER "}]", 5, "the proxy", 0, 1},
    {"no condition", WebRead, kSmall, "[{'status':412," EVER "}]", 12152, "", 0, 1},
    {"one request", WebRead, kSmall, "[]", 0, "", 0, 1},
    {"until it closes", WebRead, kSmall, "[{'unsized':'close'}]", 0, "", 0, 1},
    {"of unknown size", WebRead, kUnknown, "[{'unsized':'chunked'}]", 0, "", 0, 1},

    // Answers that are none.
    {"half a head", S3Read, kSmall, "[{" HALF_HEAD "," EVER "}]", 12030, "", 0, 6},
    {"half, once", S3Read, kSmall, "[{" HALF_HEAD "},{'method':'GET'," HALF_HEAD "}]"},
    {"half, page", Walk, 0, "[{'skip':1," HALF_HEAD "," EVER "}]", 12030},
    {"half, copy", WebCopy, kSmall, "[{" HALF_HEAD "," EVER "}]", 12030, "", 0, 0, true},
    {"interim heads", WebRead, kSmall,
     "[{'raw':'','endless':'HTTP/1.1 100 Continue\\r\\n\\r\\n'," EVER "}]", 12152},
    {"endless head", WebRead, kSmall,
     "[{'raw':'HTTP/1.1 200 OK\\r\\n','endless':'X-Y: z\\r\\n'," EVER "}]", 12152},
    {"endless refusal", WebRead, kSmall, "[{" REFUSAL ",'endless':'<a/>'}]", 5, "Tired", 0, 1},
    {"redirects", WebRead, kSmall, "[{'status':302,'headers':{'Location':'?'}," EVER "}]", 12152},
    {"not HTTP", WebRead, kSmall, "[{'raw':'220 mail.example.org ESMTP\\r\\n'," EVER "}]", 12152},

    // Versions.
    {"tag", S3Read, kMedium, "[{'method':'GET','cut':-1},{'method':'GET','change':true}]", 1006},
    {"weak tag", WebCopy, kMedium, "[" BY("weak") ",{'cut':-1},{'change':true}]", 1006},
    {"weak tag stays", WebCopy, kMedium, "[" BY("weak") ",{'cut':-1}]"},
    {"date", WebCopy, kMedium, "[" BY("date") ",{'cut':-1},{'change':true}]", 1006},
    {"date lies", WebPieces, kMedium, "[" BY("date") ",{'cut':-1},{'otherVersion':true}]", 1006},
    {"date stays", WebPieces, kMedium, "[" BY("date") ",{'cut':-1}]"},
    {"date too new", WebPieces, kMedium, "[" BY("young") ",{'cut':-1}]", 12030},
    {"none, pieces", WebPieces, kMedium, "[" BY("none") ",{'cut':-1}]", 12030},
    {"none", WebRead, kMedium, "[" BY("none") ",{'cut':-1},{'change':true}]", 0, "", 1},
    {"none, copy", WebCopy, kMedium, "[" BY("none") ",{'cut':-1},{'change':true}]", 0, "", 1},
    {"none, always", WebCopy, kMedium, "[" BY("none") ",{'cut':-1," EVER "}]", 12030, "", 0, 0,
     true},
    {"none, no parts", S3Copy, kLarge, "[" BY("none") "]", 0, "", 0, 2},
    {"parts", S3Copy, kLarge, "[{'method':'GET','skip':2,'change':true}]", 1006},
    {"parts lie", S3Copy, kLarge, "[{'method':'GET','skip':2,'otherVersion':true}]", 1006},
    {"parts, date", S3Copy, kLarge, "[" BY("date") ",{'method':'GET','skip':2,'change':true}]",
     1006},

    // Copies.
    {"parts, chaos", S3Copy, kLarge, "[" CHAOS "]"},
    {"access lost", S3Copy, kLarge, "[{'method':'GET','skip':2,'status':403}]", 5,
     "AccessDenied (As told)"},
    {"other place", S3Copy, kLarge, "[{'method':'GET','skip':1,'wrongRange':true}]", 12152},
    {"always cut", S3Copy, kLarge, "[{'method':'GET','cut':0," EVER "}]", 12030, "", 0, 0, true},
    {"always busy", S3Copy, kSmall, "[{'status':503," EVER "}]", 12152, "", 0, 0, true},
    {"long busy", S3Copy, kSmall, "[{'status':503,'times':8},{'method':'GET','cut':-1}]"},
    {"waits as told", S3Copy, kLarge,
     "[{'op':'set','latency':20},{'method':'GET','status':503,'headers':{'Retry-After':'5'}," EVER
     "}]",
     12152, "SlowDown", 0, 7, true}, // each of the six parts once
    {"not at once", S3Copy, kLarge,
     "[{'method':'GET','status':503,'headers':{'Retry-After':'0'}," EVER "}]", 12152, "SlowDown", 0,
     -60, true},
    {"one at once", S3Copy, kLarge, "[{'op':'set','atOnce':1,'latency':20,'rate':100000000}]"},
    {"two at once", S3Copy, kLarge,
     "[{'op':'set','atOnce':2,'latency':20,'rate':100000000,'overload':{'reset':true}}]"},
    {"away", S3Copy, kLarge, "[{'op':'set','rate':20000000},{'op':'away','ms':500}]"},
    {"listing, chaos", Walk, 0, "[{'op':'set','pageSize':50}," CHAOS "]"},
    {"slow reader", Walk, 1200, "[{'skip':1,'status':503}]", 0, "", 0, 0, true},

    // The size is that of a token server's address: none is a server that secrets are not sent to.
    {"token, plain", Token, 0, "[]", 50, "; the address of the OAuth2 server"},
    {"token refused", Token, 1, "[{'status':403,'body':'{\\'error\\':\\'not wo\\\\\\/rd\\'}'}]", 5,
     "not ***; the OAuth2 server 127.0.0.1 gave no token", 0, 1},
    {"token, none", Token, 1, "[{'status':200,'body':'{\\'error\\':\\'x\\'}'}]", 12152,
     "; the OAuth2"},
    {"token, half", Token, 1, "[{" HALF_HEAD "," EVER "}]", 12030, "; the OAuth2 server", 0, 6},
    {"token, silent", Token, 1, "[{'delay':60000," EVER "}]", 12002, "; the OAuth2 server", 0, 2,
     true},
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
    void regions();
    void skewedClock();
    void positions();
    void redirectsTakeNoCredentials();
    void stoppedCopyLeavesNothing();
    void stopsWhileNothingComes();

private:
    QByteArray host() const { return "127.0.0.1:" + QByteArray::number(m_server.port()); }
    QByteArray address(const QByteArray &rest) const { return "s3://AK:SK@" + host() + rest; }
    QByteArray webAddress(const QByteArray &rest) const { return "http://" + host() + rest; }
    QJsonArray requests() { return m_server.command("requests")["requests"].toArray(); }
    bool run(const Case &row, const QByteArray &bucket);
    bool copy(const Case &row, const QByteArray &source);
    bool read(const Case &row, const QByteArray &source);

    TestServer m_server{"fault_server.py"};
    QJsonObject m_away; // for the middle of a copy
};

void FaultsTest::initTestCase()
{
    ErrLogSetFileName("test");
    QVERIFY2(m_server.start(), m_server.error());
    m_server.command(
        "bucket", {{"bucket", "media"},
                   {"objects", QJsonObject{{"clip", kSmall}, {"large", kLarge}, {"text", "abc"}}}});
    char directory[HQ_CONFIG_DIR_SIZE] = {};
    QVERIFY(hqOSGetConfigDir(directory, 0));
    QFile entry(QString(directory) + "repository.example.org.json");
    QVERIFY(entry.open(QIODevice::WriteOnly));
    entry.write(R"({"client_id": "id", "client_secret": "wo/rd"})");
}

void FaultsTest::init()
{
    m_server.command("calm");
    m_away = {};
    requests();
}

// Does what the row says; whether the call succeeded, and with the right bytes.
bool FaultsTest::run(const Case &row, const QByteArray &bucket)
{
    switch (row.what) {
    case S3Read:
        return read(row, address("/" + bucket + "/o"));
    case WebRead:
    case WebPieces:
        return read(row, webAddress("\\" + bucket + "\\o"));
    case S3Copy:
        return copy(row, address("/" + bucket + "/o"));
    case WebCopy:
        return copy(row, webAddress("/" + bucket + "/o"));
    case Walk: {
        Count count{row.size};
        return hqOSRecurseDirectory(&count, address("/" + bucket).constData(), countEntry,
                                    HQ_WALK_ONE_LEVEL) &&
               count.entries == kKeys;
    }
    case Token: {
        const QByteArray server = row.size ? webAddress("/" + bucket) : "http://login.example.org";
        hqCFGValueString(-1, "Tidewell\\OAuth2\\repository.example.org", "oauth2server",
                         server.constData(), nullptr, 1);
        return hqCFGSave(-1, 0, 0) &&
               openSource("https://repository.example.org/") != HQ_INVALID_HANDLE;
    }
    case Proxy:
        break;
    }
    qputenv("https_proxy", webAddress("").constData());
    const HQHANDLE file = openSource("https://" + bucket + ".example.org/");
    qunsetenv("https_proxy");
    return file != HQ_INVALID_HANDLE;
}

bool FaultsTest::copy(const Case &row, const QByteArray &source)
{
    const QTemporaryDir target;
    const auto progress = [&](qint64 done, qint64) {
        if (done > 1'000'000 && !m_away.isEmpty())
            m_server.command("away", std::exchange(m_away, {}));
    };
    if (hq::copyFile(source.constData(), target.filePath("copy").toUtf8().constData(), 1, progress))
        return m_away.isEmpty() && contentOf(target.filePath("copy")) ==
                                       TestServer::content(1000 * row.version, row.size);
    return !isUntouched(target) && hq::fail(hq::Error::FileExists);
}

bool FaultsTest::read(const Case &row, const QByteArray &source)
{
    const HQHANDLE file = openSource(source);
    int64_t size = row.size;
    if (file == HQ_INVALID_HANDLE || !hqOSGetFileSizeEx(file, &size))
        return false;
    QByteArray content(row.size + 1, '\0');
    int total = 0;
    bool isGood = size == row.size || (size == -1 && row.size == kUnknown);
    for (std::uint32_t part = 1; isGood && part > 0 && total < row.size; total += int(part)) {
        const int most = row.what == WebPieces ? row.size / 4 : row.size + 1;
        isGood = hqOSReadFile(file, content.data() + total, most, &part, nullptr);
    }
    const hq::LastErrorKeeper keeper;
    hqOSCloseFile(file);
    content.truncate(total);
    return isGood && content == TestServer::content(1000 * row.version, row.size);
}

void FaultsTest::cases()
{
    const hq::TimeLimits usual = hq::timeLimits();
    const auto brief = std::chrono::milliseconds(1000);
    int number = 0;
    for (const Case &row : kCases) {
        const QByteArray bucket = "row" + QByteArray::number(++number) + '-';
        init();
        QJsonObject made{{"bucket", bucket.constData()}, {"objects", QJsonObject{{"o", row.size}}}};
        if (row.what == Walk)
            made = {{"bucket", bucket.constData()}, {"count", kKeys}};
        m_server.command("bucket", made);
        for (const QJsonValue &value :
             QJsonDocument::fromJson(QByteArray(row.commands).replace('\'', '"')).array()) {
            QJsonObject command = value.toObject();
            const QString op = command.take("op").toString("fault");
            if (op == "fault")
                command["contains"] = bucket.constData();
            if (op == "away")
                m_away = command;
            else
                m_server.command(op, command);
            QVERIFY2(m_server.error().isEmpty(), row.name + m_server.error());
        }
        if (row.isShort)
            hq::timeLimits() = {brief, brief * 3 / 5, brief / 2, brief / 2, brief, brief};
        QElapsedTimer timer;
        timer.start();
        const bool isDone = run(row, bucket);
        const uint error = isDone ? 0 : hqOSGetLastError();
        const hq::FailureDetails details = hq::failureDetails();
        hq::timeLimits() = usual;
        const QByteArray said = (details.serverWord + "; " + details.advice).c_str();
        const QByteArray told = row.name + (": error " + QByteArray::number(error)) + ", " + said;
        QVERIFY2(isDone == (row.error == 0) && error == row.error, told);
        // An empty word of the server's is none.
        const bool isSaid = *row.says == ';' ? said.startsWith(row.says) : said.contains(row.says);
        QVERIFY2(isDone || isSaid, told);
        QVERIFY2(timer.elapsed() < kHang, told);
        const int sent = requests().size();
        QVERIFY2(!row.requests || (row.requests < 0 ? sent <= -row.requests : sent == row.requests),
                 told + ", requests " + char('0' + sent));
    }
}

void FaultsTest::connectionsAreUsedAgain()
{
    char byte = 0;
    std::uint32_t read = 0;
    for (int i = 0; i < 10; ++i) {
        // Also those of an answer that was not read to its end.
        const HQHANDLE file =
            openSource(i % 2 ? webAddress("/media/text") : address("/media/text"));
        QVERIFY(hqOSReadFile(file, &byte, 1, &read, nullptr));
        hqOSCloseFile(file);
    }
    QSet<int> connections;
    for (const QJsonValue &request : requests())
        connections.insert(request.toObject()["connection"].toInt());
    QCOMPARE(connections.size(), 1);
}

void FaultsTest::regions()
{
    for (const int status : {301, 400})
        for (const bool header : {true, false}) {
            const QString bucket = QString("far-%1-%2").arg(status).arg(header);
            m_server.command("bucket", {{"bucket", bucket},
                                        {"count", 3},
                                        {"region", "eu-north-1"},
                                        {"regionStatus", status},
                                        {"regionHeader", header}});
            for (const bool first : {true, false}) {
                requests();
                const HQHANDLE file = openSource(address("/" + bucket.toUtf8() + "/key-000001"));
                QVERIFY2(file != HQ_INVALID_HANDLE, bucket.toUtf8());
                hqOSCloseFile(file);
                QVERIFY2(first || requests().size() == 1, bucket.toUtf8()); // is remembered
            }
        }
}

void FaultsTest::skewedClock()
{
    // What is learned of a site stays: a name of its own keeps it out of the other rows.
    m_server.command("set", {{"skew", 7200}});
    const HQHANDLE file = openSource(address("/media/clip").replace("127.0.0.1", "localhost"));
    QVERIFY(file != HQ_INVALID_HANDLE);
    hqOSCloseFile(file);
}

void FaultsTest::positions()
{
    QByteArray content(100, '\0');
    std::uint32_t read = 1;
    for (const int times : {0, 1000}) {
        m_server.command("fault", {{"contains", "clip"}, {"times", times}, {"unsized", "chunked"}});
        const HQHANDLE file = openSource(webAddress("/media/clip"));
        for (const int64_t position : {int64_t(kSmall), int64_t(1) << 62, INT64_MAX}) {
            QVERIFY(hqOSSeek(file, position));
            QVERIFY(hqOSReadFile(file, content.data(), 100, &read, nullptr));
            QCOMPARE(read, 0u);
        }
        QVERIFY(hqOSSeek(file, 500) && hqOSReadFile(file, content.data(), 100, &read, nullptr));
        QCOMPARE(content, TestServer::content(500, 100));
        // More at once than any answer is good for.
        QVERIFY(!hqOSReadFile(file, content.data(), 1u << 28 | 1, &read, nullptr));
        QCOMPARE(hqOSGetLastError(), 87u);
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

void FaultsTest::stoppedCopyLeavesNothing()
{
    m_server.command("set", {{"rate", 1'000'000}});
    QTemporaryDir target;
    const hq::StopToken token;
    const hq::ScopedStopToken scope(token);
    QVERIFY(!hq::copyFile(address("/media/large").constData(),
                          target.filePath("copy").toUtf8().constData(), 1,
                          [&](qint64, qint64) { token.stop(); }));
    QCOMPARE(hqOSGetLastError(), 1223u);
    QVERIFY(isUntouched(target));
}

void FaultsTest::stopsWhileNothingComes()
{
    m_server.command("fault", {{"contains", "clip"}, {"delay", 60'000}});
    const hq::StopToken token;
    std::uint32_t error = 0;
    std::thread reader([&] {
        const hq::ScopedStopToken scope(token);
        openSource(address("/media/clip"));
        error = hqOSGetLastError();
    });
    int sent = 0;
    QTRY_VERIFY((sent += requests().size()) > 0);
    QElapsedTimer timer;
    timer.start();
    token.stop();
    reader.join();
    QVERIFY(timer.elapsed() < 2000); // the server answers after a minute
    QCOMPARE(error, 1223u);
}

PELLORY_TEST_MAIN(FaultsTest, QCoreApplication)
#include "tst_faults.moc"
