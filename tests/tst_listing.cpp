// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// Connecting to buckets and opening their folders, in the window and over the wire.
#include "browsesession.h"
#include "testserver.h"

namespace {

const QString kSecret = "ab/c+d@e:f";
constexpr int kClips = 3000;
constexpr int kLong = 30'000;

} // namespace

class ListingTest : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void levels();
    void faults();
    void listAgain();
    void interrupt();
    void leaving();
    void busyWindow();
    void randomRounds();

private:
    QByteArray requests() { return QJsonDocument(m_faulty.requests()).toJson(); }
    // Turns the event loop until such a request has come since the last call.
    bool isAsked(const char *what)
    {
        return QTest::qWaitFor([&] { return requests().contains(what); }, 30'000);
    }
    // Turns it until nothing is under way any more.
    void settle()
    {
        QThreadPool::globalInstance()->waitForDone();
        QCoreApplication::processEvents();
    }

    TestServer m_swift{"swift_server.py", {"--secret", kSecret, "--location", "eu-west-1"}};
    TestServer m_faulty{"fault_server.py"};
    std::unique_ptr<BrowseSession> m_session;
};

void ListingTest::initTestCase()
{
    ErrLogSetFileName("test");
    QVERIFY2(m_swift.start(), m_swift.error());
    QVERIFY2(m_faulty.start(), m_faulty.error());
    // Refuses to be a proxy, so that no https request leaves this machine.
    qputenv("https_proxy", QString("http://127.0.0.1:%1").arg(m_faulty.port()).toUtf8());
    const QJsonObject objects{{"a/1", ""}, {"a/deep/x/2", ""}, {"b/3", ""}};
    m_faulty.command("bucket", {{"bucket", "again"}, {"objects", objects}});
    m_faulty.command("bucket", {{"bucket", "clips"}, {"count", kClips}});
    m_faulty.command("bucket", {{"bucket", "folders"}, {"count", kClips}, {"format", "f{:06}/c"}});
    m_faulty.command("bucket", {{"bucket", "long"}, {"count", kLong}});
}

// Another window, in a home of its own, with all sources.
void ListingTest::init()
{
    m_faulty.command("calm");
    m_session.reset();
    QDir(qEnvironmentVariable("XDG_CONFIG_HOME")).removeRecursively();
    takeLog();
    m_session = std::make_unique<BrowseSession>();
    m_session->addS3("TESTER", kSecret, m_swift.port(), "");
    for (const char *bucket : {"again", "clips", "folders", "long", "none"})
        m_session->addS3("AK", "SK", m_faulty.port(), bucket);
    m_session->probe.window.show();
}

// From the account's root, whose address ends in "/": below it there are two, while what is made of
// an object has one.
void ListingTest::levels()
{
    const QJsonObject tree{{"top ü #1?%2F+.mxf", ""}, {"back\\slash.mxf", ""}, {"c.*/", ""},
                           {"c.*/a.mxf", ""},         {"c.*/C.*/d", ""},       {"c.*/c.*2/e", ""},
                           {"c.*/cab/f", ""},         {"C.*/b.mxf", ""},       {"only/y/z", ""}};
    m_swift.command("bucket", {{"bucket", "tree"}});
    m_swift.command("put", {{"bucket", "tree"}, {"objects", tree}});
    QVERIFY2(m_swift.error().isEmpty(), m_swift.error());
    BrowseSession &session = *m_session;
    const Ui_MainWindow &ui = session.probe.ui;
    session.connectTo(" - ");
    QTRY_COMPARE(session.status(), QString("Count: 1 | Finished"));
    QCOMPARE(session.events, (QStringList{"Connecting", "Adding: tree//", "Finished", "end"}));
    QTRY_VERIFY(ui.treeView->model() == session.probe.folderProxy);

    // Two quick clicks list once; the files come with the end.
    session.events.clear();
    session.click(session.item("tree"));
    session.click(session.item("tree"));
    QCOMPARE(session.files(), QStringList("no model"));
    QTRY_COMPARE(session.status(), QString("Count: 6 | Finished"));
    QCOMPARE(session.events,
             (QStringList{"Adding: tree//C.*", "Adding: tree/back/slash.mxf", "Adding: tree//c.*",
                          "Adding: tree//only", "Adding: tree//top ü #1?%2F+.mxf", "end of tree",
                          "Finished"}));
    const QStringList files{"back\\slash.mxf", "top ü #1?%2F+.mxf"};
    QCOMPARE(session.files(), files);

    // Without files of its own the folder shows nothing; another click lists nothing.
    session.click(session.item("only"));
    QCOMPARE(session.files(), QStringList("no model")); // nor those of the folder before
    QTRY_COMPARE(session.status(), QString("Count: 7 | Finished"));
    QCOMPARE(session.files(), QStringList("no model"));
    session.click(session.item("tree"));
    QCOMPARE(session.files(), files);
    session.click(session.item("c.*"));
    QTRY_COMPARE(session.files(), QStringList("a.mxf"));
    QCOMPARE(session.status(), QString("Count: 11 | Finished"));

    // With what is in folders below whose names hold its own.
    for (QStandardItem *below : session.probe.rootItems.mid(session.probe.rootItems.size() - 3))
        session.click(below);
    QTRY_COMPARE(session.status(), QString("Count: 14 | Finished"));
    session.click(session.item("c.*"));
    QCOMPARE(session.files(), (QStringList{"a.mxf", "c.*2"}));
    QString address =
        QString("s3://TESTER:%1@127.0.0.1:%2//tree/c.*/a.mxf").arg(kSecret).arg(m_swift.port());
    QCOMPARE(nodeData(session.item("a.mxf")).pathParts, address.split('/'));
    emit ui.fileView->clicked(ui.fileView->model()->index(0, 0, ui.fileView->rootIndex()));
    QCOMPARE(session.probe.selectedPath, address);
    QTemporaryDir target;
    ui.combo_TargetDir->setEditText(target.path());
    ui.button_MakeStream->click();
    QCOMPARE(contentOf(target.filePath("a.stream")), address.replace("//tree", "/tree").toUtf8());
    QVERIFY(!takeLog().contains("ERROR"));
}

void ListingTest::faults()
{
    const std::tuple<QJsonObject, int, const char *> rows[] = {
        {{{"skip", 2}, {"cut", -1}}, kClips, ""},
        {{{"contains", "continuation"}, {"cut", -1}, {"times", 0}},
         1000,
         "12030 (connection lost)"},
        {{{"contains", "list-type"}, {"status", 403}}, 0, "5 (denied), HTTP status 403"},
    };
    for (const auto &[fault, entries, reason] : rows) {
        init();
        m_faulty.command("fault", fault);
        m_session->connectTo("clips");
        QTRY_COMPARE_WITH_TIMEOUT(m_session->endsOfSources, 1, 60'000);
        QTRY_COMPARE(m_session->status(), QString("Count: %1 | Finished").arg(entries));
        QCOMPARE(m_session->root()->rowCount(), entries);
        const QByteArray log = takeLog();
        QVERIFY2(log.contains("ERROR") == (*reason != 0) && !log.contains("SK@"), log);
        const auto *box = m_session->probe.dialog<QMessageBox>();
        const QString shown = box ? box->text() : "";
        const QString text = QString("The listing of <s3://127.0.0.1:%1/clips> broke off after %2 "
                                     "entries:\nerror ")
                                 .arg(m_faulty.port())
                                 .arg(entries);
        QVERIFY2(*reason ? shown.startsWith(text + reason) : shown.isEmpty(), qPrintable(shown));
    }
}

void ListingTest::listAgain()
{
    BrowseSession &session = *m_session;
    session.connectTo("again");
    QTRY_COMPARE(session.status(), QString("Count: 2 | Finished"));
    QCOMPARE(session.events, (QStringList{"Connecting", "Adding: again//a", "Adding: again//b",
                                          "Finished", "end"}));
    QTreeView *view = session.probe.ui.treeView;
    const auto again = [&](const QStandardItem *item) {
        view->setCurrentIndex(session.probe.folderProxy->mapFromSource(item->index()));
        QApplication::setActiveWindow(&session.probe.window); // after a box
        QTest::keyClick(&session.probe.window, Qt::Key_F5);
    };

    // Two folders that are refused: one box after the other, without a loop of its own.
    m_faulty.command("fault", {{"contains", "prefix"}, {"times", 2}, {"status", 403}});
    session.click(session.item("a"));
    session.click(session.item("b"));
    QTRY_COMPARE(session.events.filter("Finished").size(), 3);
    for (const int left : {1, 0}) {
        QTRY_COMPARE(session.probe.window.findChildren<QMessageBox *>().size(), 1);
        session.probe.dialog<QMessageBox>()->close();
        QTRY_COMPARE(session.probe.window.findChildren<QMessageBox *>().size(), left);
    }
    again(session.item("a"));
    QTRY_COMPARE(session.files(), QStringList("1"));
    QCOMPARE(view->currentIndex().data().toString(), QString("a"));
    session.click(session.item("deep"));
    QTRY_VERIFY(session.item("x"));

    // While its listing and one below are under way: they end, in peace, and it begins anew.
    m_faulty.command("fault", {{"contains", "prefix"}, {"times", 2}, {"delay", 60'000}});
    requests();
    session.click(session.item("x"));
    QVERIFY(isAsked("prefix"));
    again(session.item("a"));
    again(session.item("deep")); // goes with the folder above
    QVERIFY(isAsked("prefix"));
    again(session.item("a"));
    again(session.item("b"));
    QTRY_VERIFY(session.item("3") && session.item("deep") && !session.item("x"));
    QTRY_VERIFY(!view->testAttribute(Qt::WA_SetCursor));
    QCOMPARE(session.probe.rootItems.size(), 4);
    QVERIFY(!session.probe.dialog<QMessageBox>());

    // The Root: the source that is shown, not the one in the box.
    session.probe.ui.combo_URL->setCurrentIndex(1);
    again(session.root());
    QTRY_COMPARE(session.status(), QString("Count: 2 | Finished"));
    QVERIFY(session.root()->text() == "again" && !session.item("deep"));
}

void ListingTest::interrupt()
{
    BrowseSession &session = *m_session;
    const Ui_MainWindow &ui = session.probe.ui;
    const auto isBusy = [&] {
        return ui.treeView->cursor() == Qt::BusyCursor && ui.fileView->cursor() == Qt::BusyCursor;
    };
    // What has come is there at once and stays, and the end is reported as always.
    m_faulty.command("set", {{"pageSize", 600}});
    m_faulty.command("fault", {{"contains", "continuation"}, {"delay", 60'000}});
    session.connectTo("clips");
    QTRY_VERIFY(session.root() && session.root()->rowCount() == 600);
    QVERIFY(isBusy() && ui.treeView->actions().at(1)->isEnabled());
    QTest::keyClick(&session.probe.window, Qt::Key_Escape);
    QTRY_COMPARE(session.status(), QString("Count: 600 | Finished"));
    QTRY_VERIFY(ui.treeView->model() && !isBusy() && !ui.treeView->actions().at(1)->isEnabled());
    QCOMPARE(session.events.mid(601), (QStringList{"Finished", "end"}));
    // A source that is still being opened stays closed.
    m_faulty.command("fault", {{"method", "HEAD"}, {"delay", 60'000}});
    requests();
    session.connectTo("clips");
    QVERIFY(isAsked("HEAD"));
    QTest::keyClick(&session.probe.window, Qt::Key_Escape);
    QTRY_VERIFY(!isBusy());
    QCOMPARE(takeLog(), QByteArray());
    // One that is refused, too: the status box tells why.
    m_faulty.command("fault", {{"status", 403}, {"times", 0}});
    QTest::keyClick(&session.probe.window, Qt::Key_F5);
    const QString told =
        "Last line of the error log:\nUnable to open <s3://AK:***@127.0.0.1:%1/clips>";
    const QString why = ", error 5 (denied), HTTP status 403, server: AccessDenied (As told)";
    QTRY_COMPARE(ui.textbox_Status->accessibleDescription(), told.arg(m_faulty.port()) + why);
    QCOMPARE(session.events, (QStringList{"Connecting", "Connecting"}));
    QVERIFY(!ui.treeView->model() && !session.root() && !session.probe.dialog<QMessageBox>());
}

// What is under way then is void, wherever it stands.
void ListingTest::leaving()
{
    BrowseSession &session = *m_session;
    const Ui_MainWindow &ui = session.probe.ui;
    // The rest of the first source waits behind its first page.
    m_faulty.command("fault", {{"contains", "/clips?"}, {"skip", 3}, {"delay", 60'000}});
    session.connectTo("clips");
    QTRY_VERIFY(session.events.size() > 1);
    session.connectTo("folders");
    QTRY_COMPARE(session.status(), QString("Count: %1 | Finished").arg(kClips));
    QTRY_VERIFY(ui.treeView->model());
    QCOMPARE(session.events.filter("Adding: folders//f").size(), session.root()->rowCount());

    auto mark = QSharedPointer<QObject>::create(); // of an item, which goes with its tree
    const QPointer<QObject> left(mark.data());
    session.root()->child(0)->setData(QVariant::fromValue(std::exchange(mark, {})), 999);

    // A folder's listing, stopped; and a source that is left while it is still opened.
    m_faulty.command("fault", {{"contains", "prefix"}, {"delay", 60'000}});
    session.click(session.root()->child(kClips - 1));
    m_faulty.command("fault", {{"method", "HEAD"}, {"contains", "/clips"}, {"delay", 60'000}});
    session.connectTo("clips");
    session.connectTo("again");
    QTRY_COMPARE(session.status(), QString("Count: 2 | Finished"));
    settle();
    QTRY_VERIFY(!left);
    QCOMPARE(session.events.size(), 5);
    QVERIFY(session.root()->rowCount() == 2 && session.probe.treeModel->rowCount() == 1);
    session.connectTo(session.probe.urlTexts().last());
    QVERIFY(takeLog().endsWith("ERROR: Out of bounds URL selection\n"));
    QVERIFY(ui.treeView->model() && session.root());

    // For this computer, by a key.
    session.connectTo("folders");
    QTRY_VERIFY(session.root() && session.root()->rowCount() > 0);
    QTest::keyClick(&session.probe.window, Qt::Key_Home, Qt::ControlModifier);
    session.events.clear();
    settle();
    QVERIFY(session.events.isEmpty() && !session.root() && session.status().isEmpty());
    QVERIFY(ui.treeView->model() == session.probe.driveModel && !ui.fileView->model());
}

// A listing runs a few pages ahead of a window that takes none, and waits.
void ListingTest::busyWindow()
{
    bool hasEnded = true;
    const QObject here;
    connect(&m_session->probe.window, &MainWindow::updateStatus, &here, [&] {
        if (m_session->events.size() == 2) // the first entry
            hasEnded = QThreadPool::globalInstance()->waitForDone(1000);
    });
    m_session->connectTo("long");
    QTRY_COMPARE_WITH_TIMEOUT(m_session->endsOfSources, 1, 60'000);
    QVERIFY(!hasEnded);
    QCOMPARE(m_session->root()->rowCount(), kLong);
}

// PELLORY_ROUNDS sets how many.
void ListingTest::randomRounds()
{
    const int rounds = qEnvironmentVariableIntValue("PELLORY_ROUNDS");
    QRandomGenerator random{quint32(rounds)};
    for (int step = 0; step < 4 * std::max(rounds, 10); ++step) {
        if (step % 4 == 0)
            init();
        m_faulty.command("set", {{"pageSize", 200}, {"latency", 2}});
        QTreeView *view = m_session->probe.ui.treeView;
        const QStringList sources = m_session->probe.urlTexts();
        m_session->connectTo(sources[random.bounded(sources.size())]);
        for (const QDeadlineTimer end(random.bounded(60)); !end.hasExpired();) {
            QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
            const QStandardItem *root = m_session->root();
            if (!root || root->rowCount() == 0 || !view->model())
                continue;
            const QStandardItem *row = root->child(random.bounded(root->rowCount()));
            m_session->click(row);
            view->setCurrentIndex(m_session->probe.folderProxy->mapFromSource(row->index()));
            view->actions().at(random.bounded(20) ? 0 : random.bounded(3))->trigger();
        }
    }
}

PELLORY_TEST_MAIN(ListingTest, QApplication)
#include "tst_listing.moc"
