// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// TAMS repositories from "New Tams" to a flow's address. They have names in the provider's domain:
// a proxy on this machine leads every name to a server of the tests, over TLS.
#include "browsesession.h"
#include "configdirectory.h"
#include "testserver.h"

#include <thread>

class TamsTest : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void answers();
    void failures();
    void interrupt();
    void tokens();

private:
    // Configures a repository with a host of its own, since tokens last as long as the process.
    QString addRepository(BrowseSession &session, const QString &endpoint = {}, QString host = {},
                          const QString &login = "login")
    {
        if (host.isEmpty())
            host = QString("tams%1.amazonaws.com").arg(++m_hosts);
        QMetaObject::invokeMethod(
            &session.probe.window, "onAddTams", Q_ARG(QString, "https://" + host + "/console"),
            Q_ARG(QString, endpoint), Q_ARG(QString, login + ".amazonaws.com/token"),
            Q_ARG(QString, "client"), Q_ARG(QString, "wo rd:&"));
        return host;
    }
    void reset(QJsonObject settings)
    {
        QDir(configDirectory()).removeRecursively();
        takeLog();
        if (!settings.contains("secret"))
            settings["secret"] = "wo rd:&";
        m_server.command("reset", settings);
        QVERIFY2(m_server.error().isEmpty(), m_server.error());
        requests();
    }
    // "METHOD host/target" of what came since the last call, with the kind of authorization.
    QStringList requests()
    {
        return m_server.command("requests")["requests"].toVariant().toStringList();
    }

    TestServer m_server{"tams_server.py"};
    int m_hosts = 0;
};

void TamsTest::initTestCase()
{
    ErrLogSetFileName("test");
    QVERIFY2(m_server.startBehindTls(), m_server.error());
}

void TamsTest::answers()
{
    const QString own = "{'id':'X','label':'own','format':'f','created':'c'}";
    const QString one = "{'id':'1','label':'one','collected_by':['X','Y']}";
    const QString two = "{'id':'2','label':'two','collected_by':['X']}";
    const auto list = [](const QStringList &flows) { return "[" + flows.join(',') + "]"; };
    // More than are added at once, and than are read of a response of unknown size at first.
    QStringList many, allOfMany;
    for (int i = 0; i < 1200; ++i) {
        many << QString("{'id':'%1','note':'%2'}").arg(i).arg("", 1300, 'x');
        allOfMany << QString(":%1::<").arg(i);
    }
    const QJsonObject nextLink{{"Link", "<https://a/b?c=1>; rel=\"next\""}};
    const QJsonObject firstLink{{"Link", "<https://a/next>; rel=\"first\""}};
    // Flows, "label:id:format:created<line" of each row, what is logged, other settings.
    const std::tuple<QString, QString, const char *, QJsonObject> rows[] = {
        {list({own, one, two}), "own:X:f:c<own", "", {{"next", firstLink}}},
        {list({one, own, "{'id':'X','label':'new'}"}), "new:X::<one", "", {}},
        {list({one, two, "{'id':'x','label':'c'}"}), "one:X::<one c:x::<c", "", {}},
        {"[{'id':'a','collected_by':'X'},{'id':'b','collected_by':[7]}]", ":::<", "", {}},
        {"[{'id':1,'label':[],'format':{},'created':null},5,'text',[[]]]", ":::<", "", {}},
        {"[        ]", "", "", {}}, // ten bytes
        {"{'flows':[{'id':'a'}]}", "", "limit=300>, the answer is another JSON text ", {}},
        {"[{'id':'a'} cut", "", "limit=300>, missing value separator ", {}},
        {list(many), allOfMany.join(' '), "", {{"unsized", true}}},
        {list({own}), "own:X:f:c<own", "Not all flows", {{"next", nextLink}}},
    };
    for (const auto &[flows, expected, logged, others] : rows) {
        QJsonObject settings = others;
        settings["flows"] = QString(flows).replace('\'', '"');
        reset(settings);
        BrowseSession session;
        const QString host = addRepository(session, "x-api/v1");
        session.connectTo("tamss://" + host);
        QTRY_COMPARE(session.status(), QString("Count: %1 | Finished").arg(expected.count('<')));
        QCOMPARE(requests(), (QStringList{"POST login.amazonaws.com/token Basic",
                                          "GET " + host + "/x-api/v1/flows?limit=300 Bearer"}));
        QTRY_VERIFY(session.probe.ui.treeView->model());
        const QStandardItem *root = session.root();
        QCOMPARE(root->text(), "tamss://" + host);
        QStringList found;
        for (int row = 0; row < root->rowCount(); ++row) {
            QStringList texts;
            for (int column = 0; column < 4; ++column)
                texts << root->child(row, column)->text();
            found << texts.join(':') + session.events.value(row + 1).replace("Adding: ", "<");
        }
        QVERIFY2(found.join(' ') == expected, found.join(' ').toUtf8() + flows.left(200).toUtf8());
        QCOMPARE(session.events.first() + session.events.mid(found.size() + 1).join('|'),
                 QString("ConnectingFinished|end"));
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
        {{{"secret", "other"}}, "Unable to open", "not ***,"},
        {{{"flows", "[       ]"}}, "Flow too small", "error"},
        {{{"flows", large}, {"cut", 5}}, "Error reading flow", "error"},
        {{{"promise", 4294967296.0}}, "Error reading flow", "error 12152 0x00002F78"},
    };
    for (const auto &[settings, what, reason] : rows) {
        reset(settings);
        BrowseSession session;
        const QString host = addRepository(session, "/");
        const bool noFile = settings.isEmpty();
        const QString path = configDirectory() + host + ".json";
        QVERIFY(!noFile || QFile::remove(path));
        session.connectTo(host);
        QTRY_VERIFY_WITH_TIMEOUT(session.probe.dialog<QMessageBox>(), 60'000);
        const auto *box = session.probe.dialog<QMessageBox>();
        const QString place = noFile ? path : "https://" + host + "/flows?limit=300";
        QCOMPARE(box->windowTitle(), "ERROR: " + what);
        QCOMPARE(box->text(), (noFile ? "R" : "ER") + QString("ROR: %1 <%2>").arg(what, place));
        QCOMPARE(session.events, noFile ? QStringList() : QStringList("Connecting"));
        QVERIFY(!session.probe.ui.treeView->model());
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
    QVERIFY(QTest::qWaitForWindowActive(&session.probe.window)); // or the key goes nowhere
    session.connectTo(addRepository(session));
    QVERIFY(QTest::qWaitFor([&] { return !requests().filter("GET").isEmpty(); }));
    QTest::keyClick(&session.probe.window, Qt::Key_Escape);
    QTRY_VERIFY(!session.probe.ui.treeView->testAttribute(Qt::WA_SetCursor));
    QCOMPARE(session.events, QStringList("Connecting"));
    QVERIFY(!session.probe.ui.treeView->model() && !session.probe.dialog<QMessageBox>());
    QCOMPARE(takeLog(), QByteArray());
}

void TamsTest::tokens()
{
    const QString basic = "POST token Basic", body = "POST token ", get = "GET flows Bearer";
    const QString other = "GET other.amazonaws.com/flows ", moved = "POST new.amazonaws.com Basic";
    enum Between { Nothing, Voided, Moved };
    // Settings, what becomes of the token between two Connects, the requests of both.
    const std::tuple<QJsonObject, Between, QStringList> rows[] = {
        {{}, Nothing, {basic, get, get}},
        {{}, Voided, {basic, get, get, basic, get}},
        {{}, Moved, {basic, get, moved, get}},
        {{{"basic", false}}, Voided, {basic, body, get, get, body, get}},
        {{{"lifetime", 0.002}}, Nothing, {basic, get, basic, get}},
        {{{"location", "https://other.amazonaws.com/flows"}},
         Nothing,
         {basic, get, other, get, other}},
    };
    for (const auto &[settings, between, expected] : rows) {
        reset(settings);
        BrowseSession session;
        const QString host = addRepository(session);
        for (const int round : {1, 2}) {
            session.connectTo(host);
            QTRY_COMPARE_WITH_TIMEOUT(session.endsOfSources, round, 60'000);
            if (between == Voided && round == 1)
                m_server.command("void");
            if (between == Moved && round == 1)
                addRepository(session, {}, host, "new");
        }
        QStringList sent = requests();
        sent.replaceInStrings("login.amazonaws.com/", "").replaceInStrings("com/token", "com");
        sent.replaceInStrings(host + "/Prod/flows?limit=300", "flows");
        QCOMPARE(sent, expected);
    }
    // Two at once share one.
    reset({});
    BrowseSession session;
    const QByteArray address = "https://" + addRepository(session).toUtf8() + "/flows";
    std::thread second([&] { hqOSFileExists(address); });
    hqOSFileExists(address);
    second.join();
    QCOMPARE(requests().filter("POST").size(), 1);
}

PELLORY_TEST_MAIN(TamsTest, QApplication)
#include "tst_tams.moc"
