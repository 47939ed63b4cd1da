// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// What the library makes of servers and networks that fail, refuse, move and lie.
#include "hqutil.h"
#include "testmain.h"
#include "testserver.h"
#include "transfer.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <thread>

namespace {

constexpr int kObjectSize = 100'000;
constexpr int kLargeSize = 40 * 1024 * 1024 + 1;
constexpr int kKeys = 2500;

HQHANDLE openSource(const QByteArray &address)
{
    return hqOSCreateFile(address.constData(), HQ_ACCESS_READ, HQ_SHARE_READ, nullptr,
                          HQ_OPEN_EXISTING, HQ_ATTRIBUTE_NORMAL, nullptr);
}

int countEntry(void *user, const char *, unsigned int)
{
    ++*static_cast<int *>(user);
    return 0;
}

// Faults as a JSON list; single quotes for legibility.
QJsonArray json(const char *text)
{
    return QJsonDocument::fromJson(QByteArray(text).replace('\'', '"')).array();
}

} // namespace

class FaultsTest : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void reads_data();
    void reads();
    void copies_data();
    void copies();
    void waitsAsTold();
    void waitingPartsKeepTheirPlace();
    void regions_data();
    void regions();
    void skewedClock();
    void webAnswers_data();
    void webAnswers();
    void webSourceIsOneRequest();
    void redirectsTakeNoCredentials();
    void stoppedCopyLeavesNothing();
    void stopsWhileNothingComes();
    void chaos();

private:
    QByteArray address(const QByteArray &rest) const
    {
        return "s3://AK:SK@127.0.0.1:" + QByteArray::number(m_server.port()) + rest;
    }
    QByteArray webAddress(const QByteArray &rest) const
    {
        return "http://127.0.0.1:" + QByteArray::number(m_server.port()) + rest;
    }
    QJsonArray requests() { return m_server.command("requests")["requests"].toArray(); }
    void setFaults(const QJsonArray &faults)
    {
        for (const QJsonValue &fault : faults)
            m_server.command("fault", fault.toObject());
    }

    TestServer m_server{"fault_server.py"};
};

void FaultsTest::initTestCase()
{
    QVERIFY2(m_server.start(), m_server.error());
    m_server.command("bucket", {{"bucket", "walk"}, {"count", kKeys}});
    m_server.command("bucket", {{"bucket", "media"},
                                {"objects", QJsonObject{{"clip", kObjectSize},
                                                        {"large", kLargeSize},
                                                        {"huge", 65 * 1024 * 1024},
                                                        {"json", "[1, 2, 3, 4]"}}}});
}

void FaultsTest::init()
{
    m_server.command("calm");
    requests();
}

void FaultsTest::reads_data()
{
    QTest::addColumn<QJsonArray>("faults");
    QTest::addColumn<int>("error"); // 0: the content comes whole
    QTest::newRow("busy")
        << json("[{'status':503,'times':2},{'method':'GET','status':500,'times':2}]") << 0;
    QTest::newRow("reset and closed")
        << json("[{'reset':true},{'method':'GET','close':true}]") << 0;
    QTest::newRow("goes on behind the cut")
        << json("[{'method':'GET','cut':70000},{'method':'GET','cut':10}]") << 0;
    QTest::newRow("request time-out")
        << json("[{'method':'GET','status':400,'code':'RequestTimeout'}]") << 0;
    QTest::newRow("head refused") << json("[{'method':'HEAD','status':403,'times':0}]") << 0;
    QTest::newRow("head not allowed") << json("[{'method':'HEAD','status':405,'times':0}]") << 0;
    QTest::newRow("the sixth attempt counts") << json("[{'status':503,'times':5}]") << 0;
    QTest::newRow("given up after six") << json("[{'status':503,'times':6}]") << 12152;
    QTest::newRow("never without reason")
        << json("[{'status':400,'code':'InvalidRequest','times':2}]") << 12152;
    QTest::newRow("changed between two requests")
        << json("[{'method':'GET','cut':70000},{'method':'GET','change':true}]") << 1006;
    QTest::newRow("lies about the size")
        << json("[{'method':'GET','lengthDelta':5,'times':0}]") << 12152;
}

void FaultsTest::reads()
{
    QFETCH(QJsonArray, faults);
    QFETCH(int, error);
    setFaults(faults);
    QByteArray content(kObjectSize + 1, '\0');
    std::uint32_t read = 0;
    const HQHANDLE file = openSource(address("/media/clip"));
    bool good = file != HQ_INVALID_HANDLE;
    good = good && hqOSReadFile(file, content.data(), kObjectSize + 1, &read, nullptr);
    QCOMPARE(good ? 0 : static_cast<int>(hqOSGetLastError()), error);
    if (file != HQ_INVALID_HANDLE)
        hqOSCloseFile(file);
    content.truncate(static_cast<int>(read));
    QVERIFY(content == (good ? TestServer::content(0, kObjectSize) : QByteArray()));
}

void FaultsTest::copies_data()
{
    QTest::addColumn<QByteArray>("key");
    QTest::addColumn<QJsonArray>("faults");
    QTest::addColumn<int>("error");
    QTest::newRow("parts cut, reset, refused")
        << QByteArray("large")
        << json("[{'method':'GET','cut':1000000,'times':3},{'method':'GET','reset':true},"
                "{'method':'GET','status':503,'times':2}]")
        << 0;
    QTest::newRow("changed between parts")
        << QByteArray("large") << json("[{'method':'GET','skip':2,'change':true}]") << 1006;
    QTest::newRow("access lost between parts")
        << QByteArray("large") << json("[{'method':'GET','skip':2,'status':403}]") << 5;
    QTest::newRow("another version that ignores the condition")
        << QByteArray("large") << json("[{'method':'GET','skip':2,'times':0,'wrongEtag':true}]")
        << 1006;
    QTest::newRow("parts of another place")
        << QByteArray("large") << json("[{'method':'GET','skip':1,'wrongRange':true}]") << 12152;
    QTest::newRow("parts always cut")
        << QByteArray("large") << json("[{'method':'GET','cut':0,'times':0}]") << 12030;
    QTest::newRow("small, cut") << QByteArray("clip") << json("[{'method':'GET','cut':-1}]") << 0;
}

void FaultsTest::copies()
{
    QFETCH(QByteArray, key);
    QFETCH(QJsonArray, faults);
    QFETCH(int, error);
    setFaults(faults);
    QTemporaryDir target;
    QFile copy(target.filePath("copy"));
    const int result =
        hqOSCopyFile(address("/media/" + key).constData(), copy.fileName().toUtf8().constData(), 1);
    QCOMPARE(result ? 0 : static_cast<int>(hqOSGetLastError()), error);
    for (const QJsonValue &request : requests()) {
        const QStringList range = request.toObject()["range"].toString().mid(6).split('-');
        QVERIFY(range.size() < 2 || range[1].toInt() - range[0].toInt() < 16 * 1024 * 1024);
    }
    if (error == 0) {
        QVERIFY(copy.open(QIODevice::ReadOnly));
        QVERIFY(copy.readAll() ==
                TestServer::content(0, key == "large" ? kLargeSize : kObjectSize));
    } else {
        QVERIFY(
            QDir(target.path()).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot));
    }
}

void FaultsTest::waitsAsTold()
{
    m_server.command("fault", {{"status", 503}, {"headers", QJsonObject{{"Retry-After", "1"}}}});
    hqOSCloseFile(openSource(address("/media/clip")));
    const QJsonArray sent = requests();
    QCOMPARE(sent.size(), 2);
    QVERIFY(sent[1].toObject()["time"].toDouble() - sent[0].toObject()["time"].toDouble() >= 0.99);
}

void FaultsTest::waitingPartsKeepTheirPlace()
{
    // A server that asks for patience never sees more requests at once than connections.
    m_server.command("fault", {{"method", "GET"},
                               {"times", 0},
                               {"status", 503},
                               {"headers", QJsonObject{{"Retry-After", "5"}}}});
    m_server.command("bucket", {{"bucket", "huge"}, {"objects", QJsonObject{{"object", 1 << 30}}}});
    const hq::StopToken token;
    QTemporaryDir target;
    std::thread copy([&] {
        const hq::ScopedStopToken scope(token);
        hqOSCopyFile(address("/huge/object").constData(),
                     target.filePath("copy").toUtf8().constData(), 1);
    });
    int sent = 0;
    QTRY_VERIFY((sent += requests().size()) >= 5);
    QTest::qWait(200);
    sent += requests().size();
    token.stop();
    copy.join();
    QVERIFY2(sent <= 33, QByteArray::number(sent));
}

void FaultsTest::regions_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<bool>("header");
    for (const int status : {301, 400})
        for (const bool header : {true, false})
            QTest::addRow("%d %s", status, header ? "header" : "document") << status << header;
}

void FaultsTest::regions()
{
    QFETCH(int, status);
    QFETCH(bool, header);
    const QString bucket = QString("far-%1-%2").arg(status).arg(header);
    m_server.command("bucket", {{"bucket", bucket},
                                {"count", 3},
                                {"region", "eu-north-1"},
                                {"regionStatus", status},
                                {"regionHeader", header}});
    for (const bool first : {true, false}) {
        requests();
        const HQHANDLE file = openSource(address("/" + bucket.toUtf8() + "/key-000001"));
        QVERIFY(file != HQ_INVALID_HANDLE);
        hqOSCloseFile(file);
        QVERIFY(first || requests().size() == 1); // what was learned stays
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

void FaultsTest::webAnswers_data()
{
    QTest::addColumn<QByteArray>("rest");
    QTest::addColumn<QJsonArray>("faults");
    QTest::addColumn<qint64>("size"); // -1: unknown, -2: does not open
    QTest::newRow("plain") << QByteArray("/media/clip") << json("[]") << qint64(kObjectSize);
    QTest::newRow("backslash") << QByteArray("\\media\\clip") << json("[]") << qint64(kObjectSize);
    QTest::newRow("chunked") << QByteArray("/media/clip") << json("[{'unsized':'chunked'}]")
                             << qint64(kObjectSize);
    QTest::newRow("ends with the connection")
        << QByteArray("/media/clip") << json("[{'unsized':'close'}]") << qint64(kObjectSize);
    QTest::newRow("too long to be known")
        << QByteArray("/media/huge") << json("[{'unsized':'chunked'}]") << qint64(-1);
    QTest::newRow("missing") << QByteArray("/media/none") << json("[]") << qint64(-2);
}

void FaultsTest::webAnswers()
{
    QFETCH(QByteArray, rest);
    QFETCH(QJsonArray, faults);
    QFETCH(qint64, size);
    setFaults(faults);
    const HQHANDLE file = openSource(webAddress(rest));
    int64_t found = -2;
    hqOSGetFileSizeEx(file, &found);
    QCOMPARE(qint64(found), size);
    if (size == -2)
        return;
    QByteArray content(kObjectSize, '\0');
    std::uint32_t read = 0;
    QVERIFY(hqOSSeek(file, 0));
    QVERIFY(hqOSReadFile(file, content.data(), kObjectSize, &read, nullptr));
    QCOMPARE(read, std::uint32_t(kObjectSize));
    QVERIFY(content == TestServer::content(0, kObjectSize));
    QVERIFY(hqOSSeek(file, 500));
    QVERIFY(hqOSReadFile(file, content.data(), 100, &read, nullptr));
    QVERIFY(content.left(100) == TestServer::content(500, 100));
    hqOSCloseFile(file);
}

void FaultsTest::webSourceIsOneRequest()
{
    char text[64] = {};
    std::uint32_t read = 0;
    const HQHANDLE file = openSource(webAddress("/media/json"));
    QVERIFY(hqOSReadFile(file, text, 64, &read, nullptr));
    hqOSCloseFile(file);
    QCOMPARE(QByteArray(text), QByteArray("[1, 2, 3, 4]"));
    const QJsonArray sent = requests();
    QCOMPARE(sent.size(), 1);
    QCOMPARE(sent[0].toObject()["method"].toString(), QString("GET"));
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
    QVERIFY(QDir(target.path()).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot));
}

void FaultsTest::stopsWhileNothingComes()
{
    m_server.command("fault", {{"delay", 60'000}});
    const hq::StopToken token;
    std::uint32_t error = 0;
    std::thread reader([&] {
        const hq::ScopedStopToken scope(token);
        openSource(address("/media/clip"));
        error = hqOSGetLastError();
    });
    int sent = 0;
    QTRY_VERIFY((sent += requests().size()) > 0);
    token.stop();
    reader.join(); // long before the server answers
    QCOMPARE(error, 1223u);
}

void FaultsTest::chaos()
{
    m_server.command("chaos", {{"seed", 1},
                               {"effects", json("[[0.025,{'status':503}],[0.025,{'reset':true}],"
                                                "[0.05,{'cut':-1}]]")}});
    m_server.command("set", {{"pageSize", 50}});
    int entries = 0;
    QVERIFY(hqOSRecurseDirectory(&entries, address("/walk").constData(), countEntry,
                                 HQ_WALK_ONE_LEVEL));
    QCOMPARE(entries, kKeys);
}

PELLORY_TEST_MAIN(FaultsTest, QCoreApplication)
#include "tst_faults.moc"
