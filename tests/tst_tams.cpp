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

namespace {

// Single quotes for legibility.
QByteArray json(const char *text)
{
    return QByteArray(text).replace('\'', '"');
}

} // namespace

class TamsTest : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void folds_data();
    void folds();
    void wholePath_data();
    void wholePath();
    void answers_data();
    void answers();
    void failures_data();
    void failures();
    void tokens_data();
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

void TamsTest::folds_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<QString>("flows"); // "label:id:format:created<line" of each
    const auto row = [](const char *name, const char *answer, const char *flows) {
        QTest::newRow(name) << json(answer) << QString(flows);
    };
    const char *const own = "{'id':'X','label':'own','format':'f','created':'c'}";
    const char *const one = "{'id':'1','label':'one','collected_by':['X','Y']}";
    const char *const two = "{'id':'2','label':'two','collected_by':['X']}";
    const auto order = [&](const char *a, const char *b, const char *c, const char *flows) {
        const QByteArray answer = QByteArray("[") + a + ',' + b + ',' + c + ']';
        QTest::addRow("order %s", flows) << json(answer) << QString(flows);
    };
    order(own, one, two, "own:X:f:c<own");
    order(one, own, two, "own:X:f:c<one");
    order(two, one, own, "own:X:f:c<two");
    row("nobody's own",
        "[{'id':'1','label':'a','collected_by':['X']},{'id':'2','label':'b',"
        "'collected_by':['X']},{'id':'1','label':'c'}]",
        "a:X::<a c:1::<c");
    row("same id", "[{'id':'a','label':'1'},{'id':'A','label':'2'},{'id':'a','label':'3'}]",
        "3:a::<1 2:A::<2");
    row("collected by none",
        "[{'id':'a','label':'1','collected_by':[]},"
        "{'id':'b','label':'2','collected_by':[]}]",
        "1:::<1");
    row("collected by what",
        "[{'id':'a','label':'1','collected_by':'X'},"
        "{'id':'b','label':'2','collected_by':[7]},"
        "{'id':'c','label':'3','collected_by':null}]",
        "1:::<1");
    row("no strings", "[{'id':1,'label':[],'format':{},'created':null},5,'text',[[]]]", ":::<");
    row("not an array", "{'flows':[{'id':'a'}]}", "");
    row("not JSON", "<html><body>sorry</body></html>", "");
    QTest::newRow("deep") << QByteArray(100'000, '[') << QString();
}

void TamsTest::folds()
{
    QFETCH(QByteArray, answer);
    QFETCH(QString, flows);
    QStringList found;
    for (const ListedFlow &listed : foldTamsFlows(answer)) {
        const TamsNodeData &flow = listed.flow;
        QVERIFY(listed.line.startsWith("Adding: "));
        found << QStringList{flow.label, flow.id, flow.format, flow.created}.join(':') + '<' +
                     listed.line.mid(8);
    }
    QCOMPARE(found.join(' '), flows);
}

void TamsTest::wholePath_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("endpoint");
    QTest::newRow("none") << QString() << QString("/Prod/");
    QTest::newRow("bare") << QString("x-api/v1") << QString("/x-api/v1/");
    QTest::newRow("root") << QString("/") << QString("/");
}

void TamsTest::wholePath()
{
    QFETCH(QString, typed);
    QFETCH(QString, endpoint);
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

void TamsTest::answers_data()
{
    QTest::addColumn<QJsonObject>("settings");
    QTest::addColumn<int>("flows");
    QTest::newRow("no flow, ten bytes") << QJsonObject() << 0;
    QTest::newRow("not an array") << QJsonObject{{"flows", QString(json("{'id':'abc'}"))}} << 0;
    QString large = "[";
    for (int i = 0; large.size() < 3 * 1024 * 1024 / 2; ++i)
        large += QString("{\"id\":\"%1\",\"note\":\"%2\"},").arg(i).arg("", 15000, 'x');
    const int count = large.count('{');
    large.back() = ']';
    QTest::newRow("1.5 MiB") << QJsonObject{{"flows", large}} << count;
    QTest::newRow("1.5 MiB, length not told")
        << QJsonObject{{"flows", large}, {"unsized", true}} << count;
}

void TamsTest::answers()
{
    QFETCH(QJsonObject, settings);
    QFETCH(int, flows);
    reset(settings);
    BrowseSession session;
    session.connectTo(addRepository(session));
    QTRY_COMPARE(session.status(), QString("Count: %1 | Finished").arg(flows));
    QTRY_VERIFY(session.probe.ui.treeView->model());
    QCOMPARE(session.root()->rowCount(), flows);
    QCOMPARE(session.probe.rootItems.size(), flows + 1);
}

void TamsTest::failures_data()
{
    QTest::addColumn<QJsonObject>("settings");
    QTest::addColumn<QString>("what");   // of the log line and the box
    QTest::addColumn<QString>("reason"); // in the log
    QTest::newRow("no entry file") << QJsonObject() << "Unable to open TAMS config file"
                                   << "";
    QTest::newRow("missing") << QJsonObject{{"status", 404}} << "Unable to open"
                             << "error 2 0x00000002";
    QTest::newRow("token endpoint down") << QJsonObject{{"tokenStatus", 403}} << "Unable to open"
                                         << "out of order";
    QTest::newRow("nine bytes") << QJsonObject{{"flows", "[       ]"}} << "Flow too small"
                                << "error";
    QTest::newRow("cut") << QJsonObject{{"flows", QString(100'000, ' ')}, {"cut", 5}}
                         << "Error reading flow"
                         << "error";
}

void TamsTest::failures()
{
    QFETCH(QJsonObject, settings);
    QFETCH(QString, what);
    QFETCH(QString, reason);
    reset(settings);
    BrowseSession session;
    const QString host = addRepository(session);
    const bool noFile = settings.isEmpty();
    const QString path = configDirectory() + host + ".json";
    if (noFile)
        QVERIFY(QFile::remove(path));
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
    QVERIFY2(log.contains(reason) && !log.contains("wo rd"), log.toUtf8());
    // The box is still there when the window goes.
}

void TamsTest::tokens_data()
{
    QTest::addColumn<QJsonObject>("settings");
    QTest::addColumn<bool>("voided");          // the token, between two Connects
    QTest::addColumn<QStringList>("expected"); // requests of both
    const QString basic = "POST token Basic", body = "POST token ", get = "GET flows Bearer";
    QTest::newRow("lasts") << QJsonObject() << false << QStringList{basic, get, get};
    QTest::newRow("refused once") << QJsonObject() << true
                                  << QStringList{basic, get, get, basic, get};
    QTest::newRow("Basic refused")
        << QJsonObject{{"basic", false}} << true << QStringList{basic, body, get, get, body, get};
    QTest::newRow("short life") << QJsonObject{{"lifetime", 0.002}} << false
                                << QStringList{basic, get, basic, get};
}

void TamsTest::tokens()
{
    QFETCH(QJsonObject, settings);
    QFETCH(bool, voided);
    QFETCH(QStringList, expected);
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
