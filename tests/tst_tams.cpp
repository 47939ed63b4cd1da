// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// TAMS repositories from "New Tams" to a flow's address. They have names in the provider's domain:
// a proxy on this machine leads every name to a server of the tests, over TLS.
#include "browsesession.h"
#include "configdirectory.h"
#include "hqutil.h"
#include "tamslisting.h"
#include "testmain.h"
#include "testserver.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <thread>
#include <tuple>

namespace {

// Single quotes for legibility.
QByteArray json(QByteArray text)
{
    return text.replace('\'', '"');
}

} // namespace

class TamsTest : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void folds();
    void wholePath();
    void answers();
    void failures();
    void interrupt();
    void tokens();
    void tokenIsForOneHost();
    void tokenServesAllThreads();

private:
    // Configures a repository with a host of its own, since tokens last as long as the process.
    QString addRepository(BrowseSession &session, const QString &endpoint = {})
    {
        const QString host = QString("tams%1.amazonaws.com").arg(++m_hosts);
        QMetaObject::invokeMethod(
            &session.probe.window, "onAddTams", Q_ARG(QString, "https://" + host + "/console"),
            Q_ARG(QString, endpoint), Q_ARG(QString, "login.amazonaws.com/token"),
            Q_ARG(QString, "client"), Q_ARG(QString, "wo rd:&"));
        return host;
    }
    void reset(QJsonObject settings)
    {
        settings["secret"] = "wo rd:&";
        m_server.command("reset", settings);
        QVERIFY2(m_server.error().isEmpty(), m_server.error());
        m_server.command("requests");
    }
    // "METHOD host/target" of what came since the last call, with the kind of authorization.
    QStringList requests()
    {
        QStringList lines;
        for (const QJsonValue &value : m_server.command("requests")["requests"].toArray()) {
            const QJsonObject request = value.toObject();
            lines << request["method"].toString() + ' ' + request["host"].toString() +
                         request["target"].toString() + ' ' +
                         request["authorization"].toString().section(' ', 0, 0);
        }
        return lines;
    }

    TestServer m_server{"tams_server.py"};
    std::unique_ptr<TestServer> m_front;
    int m_hosts = 0;
};

void TamsTest::initTestCase()
{
    ErrLogSetFileName("test");
    QVERIFY2(m_server.start(), m_server.error());
    m_front = std::make_unique<TestServer>("tls_front.py",
                                           QStringList{"--port", QString::number(m_server.port())});
    QVERIFY2(m_front->start(), m_front->error());
    // Read once per process, so they stand before the first transfer.
    qputenv("CURL_CA_BUNDLE", m_front->ready()["caFile"].toString().toUtf8());
    qputenv("https_proxy",
            "http://127.0.0.1:" + QByteArray::number(m_front->ready()["proxyPort"].toInt()));
}

void TamsTest::init()
{
    QDir(configDirectory()).removeRecursively();
    takeLog();
}

void TamsTest::folds()
{
    const QByteArray own = "{'id':'X','label':'own','format':'f','created':'c'},";
    const QByteArray one = "{'id':'1','label':'one','collected_by':['X','Y']},";
    const QByteArray two = "{'id':'2','label':'two','collected_by':['X']},";
    const auto list = [](const QByteArray &flows) { return "[" + flows.chopped(1) + "]"; };
    // "label:id:format:created<line" of each.
    const std::pair<QByteArray, QString> rows[] = {
        {list(own + one + two), "own:X:f:c<own"},
        {list(one + own + two), "own:X:f:c<one"},
        {list(two + one + own), "own:X:f:c<two"},
        {list(one + two + "{'id':'1','label':'c'},"), "one:X::<one c:1::<c"},
        {"[{'id':'a','label':'1'},{'id':'A','label':'2'},{'id':'a','label':'3'}]",
         "3:a::<1 2:A::<2"},
        {"[{'id':'a','label':'1','collected_by':[]},{'id':'b','label':'2','collected_by':[]}]",
         "1:::<1"},
        {"[{'id':'a','label':'1','collected_by':'X'},{'id':'b','label':'2','collected_by':[7]},"
         "{'id':'c','label':'3','collected_by':null}]",
         "1:::<1"},
        {"[{'id':1,'label':[],'format':{},'created':null},5,'text',[[]]]", ":::<"},
        {"{'flows':[{'id':'a'}]}", ""},
        {"<html><body>sorry</body></html>", ""},
        {QByteArray(100'000, '['), ""},
    };
    for (const auto &[answer, expected] : rows) {
        QStringList found;
        for (const ListedFlow &listed : foldTamsFlows(json(answer))) {
            const TamsNodeData &flow = listed.flow;
            QVERIFY(listed.line.startsWith("Adding: "));
            found << QStringList{flow.label, flow.id, flow.format, flow.created}.join(':') + '<' +
                         listed.line.mid(8);
        }
        QVERIFY2(found.join(' ') == expected, answer.left(200) + found.join(' ').toUtf8());
    }
}

void TamsTest::wholePath()
{
    const std::pair<const char *, QString> rows[] = {
        {"", "/Prod/"}, {"x-api/v1", "/x-api/v1/"}, {"/", "/"}};
    for (const auto &[typed, endpoint] : rows) {
        reset({{"flows", QString(json("[{'id':'1','label':'cam','collected_by':['m']},"
                                      "{'id':'m','label':'multi 1.0','format':'urn:x',"
                                      "'created':'2026-01-01'},{'id':'2','label':'sound'}]"))}});
        BrowseSession session;
        const QString host = addRepository(session, typed);
        session.connectTo("tamss://" + host);
        QTRY_COMPARE(session.status(), QString("Count: 2 | Finished"));
        QCOMPARE(session.events,
                 (QStringList{"Connecting", "Adding: cam", "Adding: sound", "Finished", "end"}));
        QTRY_VERIFY(session.probe.ui.treeView->model());
        QCOMPARE(requests(), (QStringList{"POST login.amazonaws.com/token Basic",
                                          "GET " + host + endpoint + "flows?limit=300 Bearer"}));
        QCOMPARE(session.root()->text(), "tamss://" + host);
        QCOMPARE(session.files(), QStringList("no model"));
        session.click(session.root());
        QCOMPARE(session.files(), (QStringList{"multi 1.0", "sound"}));
        const QTreeView *files = session.probe.ui.fileView;
        const QModelIndex flow = files->model()->index(0, 3, files->rootIndex());
        QCOMPARE(flow.data().toString(), QString("2026-01-01"));
        emit session.probe.ui.fileView->clicked(flow);
        QCOMPARE(session.probe.selectedPath, QString("multi 1.0"));
        // What a stream file for the flow holds.
        QCOMPARE(session.probe.ui.combo_URL->currentText() + session.probe.tamsEndpoint + "flows/" +
                     session.probe.selectedName,
                 "tamss://" + host + endpoint + "flows/m");
    }
}

void TamsTest::answers()
{
    QString large = "[";
    for (int i = 0; large.size() < 3 * 1024 * 1024 / 2; ++i)
        large += QString("{\"id\":\"%1\",\"note\":\"%2\"},").arg(i).arg("", 15000, 'x');
    large.back() = ']';
    const QString one(json("[{'id':'1','label':'one'}]"));
    const auto next = [](const char *name, const char *value) {
        return QJsonObject{{name, value}};
    };
    // Settings, flows, what is logged.
    const std::tuple<QJsonObject, int, const char *> rows[] = {
        {{}, 0, ""}, // ten bytes
        {{{"flows", QString(json("{'id':'abc'}"))}}, 0, "No list of flows"},
        {{{"flows", "<html><body>sorry"}}, 0, "No list of flows"},
        {{{"flows", large}}, large.count('{'), ""},
        {{{"flows", large}, {"unsized", true}}, large.count('{'), ""},
        {{{"flows", one}, {"next", next("X-Paging-NextKey", "k")}}, 1, "Not all flows"},
        {{{"flows", one}, {"next", next("Link", "<https://a/b?c=1>; rel=\"next\"")}},
         1,
         "Not all flows"},
        {{{"flows", one}, {"next", next("Link", "<https://a/next>; rel=\"first\"")}}, 1, ""},
    };
    for (const auto &[settings, flows, logged] : rows) {
        init();
        reset(settings);
        BrowseSession session;
        QSignalSpy inserted(session.probe.treeModel, &QAbstractItemModel::rowsInserted);
        session.connectTo(addRepository(session));
        QTRY_COMPARE(session.status(), QString("Count: %1 | Finished").arg(flows));
        QCOMPARE(inserted.size(), flows > 0 ? 2 : 1); // the Root, and all flows at once
        QTRY_VERIFY(session.probe.ui.treeView->model());
        QCOMPARE(session.root()->rowCount(), flows);
        QCOMPARE(session.probe.rootItems.size(), flows + 1);
        const QByteArray log = takeLog();
        QVERIFY2(log.contains("ERROR") == (*logged != 0) && log.contains(logged), log);
    }
}

void TamsTest::failures()
{
    const QString large(100'000, ' ');
    // Settings, what log line and box say, the reason in the log.
    const std::tuple<QJsonObject, QString, QString> rows[] = {
        {{}, "Unable to open TAMS config file", ""}, // no entry file
        {{{"status", 404}}, "Unable to open", "as told to ***"},
        {{{"tokenStatus", 403}}, "Unable to open", "out of order"},
        {{{"flows", "[       ]"}}, "Flow too small", "error"},
        {{{"flows", large}, {"cut", 5}}, "Error reading flow", "error"},
        {{{"promise", 4294967296.0}}, "Error reading flow", "error 12152 0x00002F78"},
    };
    for (const auto &[settings, what, reason] : rows) {
        init();
        reset(settings);
        BrowseSession session;
        const QString host = addRepository(session);
        const bool noFile = settings.isEmpty();
        const QString path = configDirectory() + host + ".json";
        QVERIFY(!noFile || QFile::remove(path));
        session.connectTo(host);
        QTRY_VERIFY_WITH_TIMEOUT(session.probe.window.findChild<QMessageBox *>(), 60'000);
        const auto *box = session.probe.window.findChild<QMessageBox *>();
        const QString place = noFile ? path : "https://" + host + "/Prod/flows?limit=300";
        QCOMPARE(box->windowTitle(), "ERROR: " + what);
        QCOMPARE(box->text(), (noFile ? "R" : "ER") + QString("ROR: %1 <%2>").arg(what, place));
        QCOMPARE(box->standardButtons(), QMessageBox::Ok);
        QCOMPARE(box->icon(), QMessageBox::Warning);
        QCOMPARE(session.events, noFile ? QStringList() : QStringList("Connecting"));
        QCOMPARE(session.status(), session.events.join(""));
        QVERIFY(!session.probe.ui.treeView->model());
        QCOMPARE(session.root()->rowCount(), 0);
        const QString log = takeLog();
        QVERIFY2(log.contains(QString("ERROR: %1 <%2>").arg(what, place)), log.toUtf8());
        QVERIFY2(log.contains(reason) && !log.contains("wo rd") && !log.contains("token-"),
                 log.toUtf8());
        // The box is still there when the window goes.
    }
}

// Leaves what a failure leaves, but tells nobody what they did themselves.
void TamsTest::interrupt()
{
    reset({{"promise", 100'000}}); // and no more than ten bytes come
    BrowseSession session;
    session.probe.window.show();
    session.connectTo(addRepository(session));
    QVERIFY(QTest::qWaitFor([&] { return !requests().filter("GET").isEmpty(); }));
    QTest::keyClick(&session.probe.window, Qt::Key_Escape);
    QTRY_VERIFY(!session.probe.ui.treeView->testAttribute(Qt::WA_SetCursor));
    QCOMPARE(session.events, QStringList("Connecting"));
    QVERIFY(!session.probe.ui.treeView->model());
    QVERIFY(!session.probe.window.findChild<QMessageBox *>());
    QCOMPARE(takeLog(), QByteArray());
}

void TamsTest::tokens()
{
    const QString basic = "POST token Basic", body = "POST token ", get = "GET flows Bearer";
    // Settings, whether the token is voided between two Connects, the requests of both.
    const std::tuple<QJsonObject, bool, QStringList> rows[] = {
        {{}, false, {basic, get, get}},
        {{}, true, {basic, get, get, basic, get}},
        {{{"basic", false}}, true, {basic, body, get, get, body, get}},
        {{{"lifetime", 0.002}}, false, {basic, get, basic, get}},
    };
    for (const auto &[settings, voided, expected] : rows) {
        init();
        reset(settings);
        BrowseSession session;
        const QString host = addRepository(session);
        for (const int round : {1, 2}) {
            session.connectTo(host);
            QTRY_COMPARE_WITH_TIMEOUT(session.endsOfSources, round, 60'000);
            if (voided && round == 1)
                m_server.command("void");
        }
        QStringList sent = requests();
        sent.replaceInStrings("login.amazonaws.com/", "");
        sent.replaceInStrings(host + "/Prod/flows?limit=300", "flows");
        QCOMPARE(sent, expected);
    }
}

void TamsTest::tokenIsForOneHost()
{
    reset({{"location", "https://other.amazonaws.com/flows"}});
    BrowseSession session;
    const QString host = addRepository(session);
    session.connectTo(host);
    QTRY_COMPARE(session.endsOfSources, 1);
    QCOMPARE(requests(), (QStringList{"POST login.amazonaws.com/token Basic",
                                      "GET " + host + "/Prod/flows?limit=300 Bearer",
                                      "GET other.amazonaws.com/flows "}));
    const HQHANDLE file = hqOSCreateFile("https://unknown.amazonaws.com/flows", HQ_ACCESS_READ, 1,
                                         nullptr, HQ_OPEN_EXISTING, 0, nullptr);
    hqOSCloseFile(file);
    QCOMPARE(requests().value(0), QString("GET unknown.amazonaws.com/flows "));
}

void TamsTest::tokenServesAllThreads()
{
    reset({});
    BrowseSession session;
    const QByteArray address = "https://" + addRepository(session).toUtf8() + "/flows";
    std::vector<std::thread> threads;
    for (int i = 0; i < 6; ++i)
        threads.emplace_back([&] {
            const HQHANDLE file = hqOSCreateFile(address.constData(), HQ_ACCESS_READ, 1, nullptr,
                                                 HQ_OPEN_EXISTING, 0, nullptr);
            hqOSCloseFile(file);
        });
    for (std::thread &thread : threads)
        thread.join();
    const QStringList sent = requests();
    QCOMPARE(sent.filter("/token").size(), 1);
    QCOMPARE(sent.filter("/flows Bearer").size(), 6);
}

PELLORY_TEST_MAIN(TamsTest, QApplication)
#include "tst_tams.moc"
