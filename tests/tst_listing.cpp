// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// Connecting to buckets and opening their folders, in the window and over the wire.
#include "arrivalqueue.h"
#include "browsesession.h"
#include "browsetree.h"
#include "hqutil.h"
#include "testmain.h"
#include "testserver.h"
#include "url.h"

#include <QAction>
#include <QDesktopServices>
#include <QFileSystemModel>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRandomGenerator>
#include <QSet>

#include <atomic>
#include <thread>
#include <tuple>

namespace {

const QString kSecret = "ab/c+d@e:f";
constexpr int kClips = 3000;

QJsonArray json(const char *text)
{
    return QJsonDocument::fromJson(QByteArray(text).replace('\'', '"')).array();
}

// "Root bucket(Folder a(File b),File c)": the tree as it stands, with the kinds of its items.
QString treeText(const QStandardItem *item)
{
    QStringList below;
    for (int row = 0; row < item->rowCount(); ++row)
        below.append(treeText(item->child(row)));
    return item->data(KindRole).toString() + ' ' + item->text() +
           (below.isEmpty() ? "" : "(" + below.join(',') + ")");
}

} // namespace

class ListingTest : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void levels();
    void accountRoot();
    void unreachable();
    void faults();
    void listAgain();
    void interrupt();
    void thisComputer();
    void hostilePages();
    void anotherConnect();
    void editedRegion();
    void outOfBounds();
    void statusIsPaced();
    void queueIsBounded();
    void batches();
    void randomRounds();

public slots:
    void openLog(const QUrl &url) { m_opened = url; }

private:
    void addSwift(BrowseSession &session, const QString &bucket)
    {
        session.addS3("TESTER", kSecret, m_swift.port(), bucket);
    }
    QString address(const QString &rest) const
    {
        return QString("s3://TESTER:%1@127.0.0.1:%2/").arg(kSecret).arg(m_swift.port()) + rest;
    }

    // Turns the event loop until such a request has come since the one found before.
    bool isAsked(const char *what)
    {
        const auto hasCome = [&] {
            return QJsonDocument(m_faulty.command("requests")).toJson().contains(what);
        };
        return QTest::qWaitFor(hasCome, 10'000);
    }

    TestServer m_swift{"swift_server.py", {"--secret", kSecret, "--location", "eu-west-1"}};
    TestServer m_faulty{"fault_server.py"};
    QUrl m_opened;
};

void ListingTest::initTestCase()
{
    ErrLogSetFileName("test");
    QVERIFY2(m_swift.start(), m_swift.error());
    QVERIFY2(m_faulty.start(), m_faulty.error());
    // Refuses to be a proxy, so that no https request leaves this machine.
    qputenv("https_proxy", QString("http://127.0.0.1:%1").arg(m_faulty.port()).toUtf8());
    const QJsonObject tree{{"top ü #1?%2F+.mxf", ""}, {"back\\slash.mxf", ""}, {"clip/", ""},
                           {"clip/a.mxf", ""},        {"clip/deep/x.mxf", ""}, {"Clip/b.mxf", ""},
                           {"only/folders/y", ""},    {"reels/1.mxf", ""}};
    for (const char *bucket : {"tree", "empty"})
        m_swift.command("bucket", {{"bucket", bucket}});
    m_swift.command("put", {{"bucket", "tree"}, {"objects", tree}});
    QVERIFY2(m_swift.error().isEmpty(), m_swift.error());
    m_faulty.command("bucket", {{"bucket", "clips"}, {"count", kClips}});
    m_faulty.command("bucket",
                     {{"bucket", "folders"}, {"count", kClips}, {"format", "folder-{:06}/clip"}});
}

void ListingTest::init()
{
    m_faulty.command("calm");
    QDir(qEnvironmentVariable("XDG_CONFIG_HOME")).removeRecursively();
    takeLog();
}

void ListingTest::levels()
{
    BrowseSession session;
    addSwift(session, "tree");
    session.connectTo("tree");
    QTRY_COMPARE(session.shown.value(session.shown.size() - 1), QString("Count: 6 | Finished"));
    const QStringList top{"Clip", "back\\slash.mxf", "clip", "only", "reels", "top ü #1?%2F+.mxf"};
    QStringList events{"Connecting"};
    QStringList shown{"Connecting"};
    for (const QString &name : top) {
        const QString folder = name.startsWith("back") ? "back" : ""; // "\" separates for it
        events += "Adding: tree/" + folder + "/" + name.section('\\', -1);
        shown += QString("Count: %1 | ").arg(events.size() - 1) + events.last();
    }
    QCOMPARE(session.events, events + QStringList({"Finished", "end"}));
    QCOMPARE(session.shown, shown + QStringList("Count: 6 | Finished"));
    QTRY_COMPARE(session.probe.ui.treeView->model(),
                 static_cast<QAbstractItemModel *>(session.probe.folderProxy));
    QCOMPARE(session.files(), QStringList("no model"));
    QCOMPARE(treeText(session.root()),
             QString("Root tree(Folder Clip,File back\\slash.mxf,Folder clip,Folder only,"
                     "Folder reels,File top ü #1?%2F+.mxf)"));
    QCOMPARE(nodeData(session.root()).path, address("tree"));
    QCOMPARE(nodeData(session.root()).pathParts, address("tree").split('/'));

    // Two quick clicks list once; the files come with the end.
    QStandardItem *clip = session.child(session.root(), "clip");
    session.events.clear();
    session.click(clip);
    QVERIFY(nodeData(clip).listed);
    QCOMPARE(session.files(), QStringList("no model"));
    session.click(clip);
    QTRY_COMPARE(session.status(), QString("Count: 8 | Finished"));
    QCOMPARE(session.events, (QStringList{"Adding: tree/clip/a.mxf", "Adding: tree/clip/deep",
                                          "end of clip", "Finished"}));
    QCOMPARE(session.files(), QStringList("a.mxf"));

    QStandardItem *deep = session.child(clip, "deep");
    QCOMPARE(nodeData(deep).path, address("tree/clip/deep"));
    QCOMPARE(nodeData(deep).pathParts, address("tree/clip/deep").split('/'));
    QCOMPARE(session.probe.rootItems.last(), deep);
    session.click(deep);
    QTRY_COMPARE(session.files(), QStringList("x.mxf"));
    emit session.probe.ui.fileView->clicked(
        session.probe.ui.fileView->model()->index(0, 0, session.probe.ui.fileView->rootIndex()));
    QCOMPARE(session.probe.selectedName, QString("x.mxf"));
    QCOMPARE(session.probe.selectedPath, address("tree/clip/deep/x.mxf"));
    QTRY_COMPARE(session.status(), QString("Count: 9 | Finished"));

    // Without files of its own the folder shows nothing; another click lists nothing.
    QStandardItem *only = session.child(session.root(), "only");
    session.click(only);
    QTRY_COMPARE(session.status(), QString("Count: 10 | Finished"));
    QCOMPARE(session.files(), QStringList("no model"));
    session.events.clear();
    session.click(clip);
    QCOMPARE(session.files(), QStringList("a.mxf"));
    session.click(session.root());
    QCOMPARE(session.files().first(), QString("back\\slash.mxf"));
    QVERIFY(session.events.isEmpty());
    QVERIFY(!takeLog().contains("ERROR"));
}

// Its address ends in "/", so below it there are two; what is made of an object has one.
void ListingTest::accountRoot()
{
    BrowseSession session;
    addSwift(session, "");
    session.connectTo(" - ");
    QTRY_COMPARE(session.status(), QString("Count: 2 | Finished"));
    QCOMPARE(session.events.mid(1, 2), (QStringList{"Adding: empty//", "Adding: tree//"}));
    QCOMPARE(treeText(session.root()), QString("Root (Folder empty,Folder tree)"));
    session.click(session.child(session.root(), "tree"));
    QTRY_COMPARE(session.files().size(), 2);
    QStandardItem *clip = session.child(session.child(session.root(), "tree"), "clip");
    QCOMPARE(nodeData(clip).path, address("/tree/clip"));
    session.click(clip);
    QTRY_COMPARE(session.files(), QStringList("a.mxf"));
    const QTreeView *view = session.probe.ui.fileView;
    emit session.probe.ui.fileView->clicked(view->model()->index(0, 0, view->rootIndex()));
    QCOMPARE(session.probe.selectedPath, address("/tree/clip/a.mxf"));
    QTemporaryDir target;
    session.probe.ui.combo_TargetDir->setEditText(target.path());
    session.probe.ui.button_MakeStream->click();
    QFile made(target.filePath("a.stream"));
    QVERIFY(made.open(QIODevice::ReadOnly));
    QCOMPARE(QString::fromUtf8(made.readAll()), address("tree/clip/a.mxf"));
    session.probe.ui.button_LocalizeFile->click();
    QTRY_VERIFY(QFile::exists(target.filePath("a.mxf")));
    QVERIFY(!takeLog().contains("ERROR"));
}

void ListingTest::unreachable()
{
    BrowseSession session;
    addSwift(session, "empty");
    addSwift(session, "nowhere");
    session.connectTo("empty");
    QTRY_VERIFY(session.probe.ui.treeView->model());
    session.connectTo("nowhere");
    QVERIFY(!session.probe.ui.treeView->model());
    QTRY_COMPARE(session.status(), QString("Connecting"));
    QThreadPool::globalInstance()->waitForDone();
    QCoreApplication::processEvents();
    QCOMPARE(session.events, QStringList("Connecting"));
    QVERIFY(session.probe.rootItems.isEmpty());
    QCOMPARE(treeText(session.probe.treeModel->item(0)), QString("Root empty"));
}

void ListingTest::faults()
{
    const std::tuple<const char *, int, const char *> rows[] = {
        {"[{'skip':2,'cut':-1}]", kClips, ""},
        {"[{'contains':'continuation','cut':-1,'times':0}]", 1000, "12030 (connection lost)"},
        {"[{'contains':'continuation','skip':1,'status':403}]", 2000,
         "5 (denied), HTTP status 403"},
        {"[{'contains':'list-type','status':403,'times':0}]", 0, "5 (denied), HTTP status 403"},
    };
    for (const auto &[fault, entries, reason] : rows) {
        const bool brokeOff = *reason;
        init();
        BrowseSession session;
        session.addS3("AK", "SK", m_faulty.port(), "clips");
        m_faulty.command("fault", json(fault)[0].toObject());
        session.connectTo("clips");
        QTRY_VERIFY2_WITH_TIMEOUT(session.endsOfSources == 1, fault, 60'000);
        QTRY_COMPARE(session.status(), QString("Count: %1 | Finished").arg(entries));
        QVERIFY2(session.root()->rowCount() == entries, fault);
        const QByteArray log = takeLog();
        QVERIFY2(log.contains("ERROR") == brokeOff && !log.contains("SK@"), log);
        const auto *box = session.probe.window.findChild<QMessageBox *>();
        QVERIFY2(bool(box) == brokeOff, fault);
        if (!box)
            continue;
        const QString text = QString("The listing of <s3://127.0.0.1:%1/clips> broke off "
                                     "after %2 entries:\nerror %3")
                                 .arg(m_faulty.port())
                                 .arg(entries)
                                 .arg(reason);
        QVERIFY2(box->text().startsWith(text), box->text().toUtf8());
        QCOMPARE(box->windowTitle(), QString("ERROR: Listing incomplete"));
        QCOMPARE(box->windowModality(), Qt::WindowModal);
        QCOMPARE(box->standardButtons(), QMessageBox::Ok);
    }
}

void ListingTest::listAgain()
{
    m_faulty.command("bucket",
                     {{"bucket", "again"},
                      {"objects", QJsonObject{{"a/1", ""}, {"a/deep/x/2", ""}, {"b/3", ""}}}});
    BrowseSession session;
    addSwift(session, "empty");
    session.addS3("AK", "SK", m_faulty.port(), "again");
    session.connectTo("again");
    QTRY_COMPARE(session.status(), QString("Count: 2 | Finished"));
    session.probe.window.show();
    QTreeView *view = session.probe.ui.treeView;
    const auto again = [&](const QStandardItem *item) {
        view->setCurrentIndex(session.probe.folderProxy->mapFromSource(item->index()));
        QApplication::setActiveWindow(&session.probe.window); // after a box
        QTest::keyClick(&session.probe.window, Qt::Key_F5);
    };
    const auto folder = [&](const char *name) { return session.child(session.root(), name); };

    // Two folders that are refused: one box after the other, without a loop of its own.
    m_faulty.command("fault", {{"contains", "prefix"}, {"times", 2}, {"status", 403}});
    session.click(folder("a"));
    session.click(folder("b"));
    QTRY_COMPARE(session.events.filter("Finished").size(), 3);
    for (const int left : {1, 0}) {
        QTRY_COMPARE(session.probe.window.findChildren<QMessageBox *>().size(), 1);
        session.probe.dialog<QMessageBox>()->close();
        QTRY_COMPARE(session.probe.window.findChildren<QMessageBox *>().size(), left);
    }
    QVERIFY(nodeData(folder("a")).listed);
    again(folder("a"));
    QTRY_COMPARE(session.files(), QStringList("1"));
    QCOMPARE(view->currentIndex().data().toString(), QString("a"));
    session.click(session.child(folder("a"), "deep"));
    QTRY_COMPARE(treeText(session.root()),
                 QString("Root again(Folder a(File 1,Folder deep(Folder x)),Folder b)"));

    // While its listing and one below are under way: they end, in peace, and it begins anew.
    m_faulty.command("fault", {{"contains", "prefix"}, {"times", 2}, {"delay", 60'000}});
    m_faulty.command("requests");
    session.click(session.child(session.child(folder("a"), "deep"), "x"));
    for (int round = 0; round < 2; ++round) {
        QVERIFY(isAsked("prefix"));
        again(folder("a"));
        if (round == 0)
            again(session.child(folder("a"), "deep")); // goes with the folder above
    }
    again(folder("b"));
    QTRY_COMPARE(treeText(session.root()),
                 QString("Root again(Folder a(File 1,Folder deep),Folder b(File 3))"));
    QTRY_VERIFY(!view->testAttribute(Qt::WA_SetCursor));
    QStringList paths;
    for (const QStandardItem *item : session.probe.rootItems)
        paths += nodeData(item).path.section('/', 3);
    QCOMPARE(paths, (QStringList{"again", "again/a", "again/b", "again/a/deep"}));
    QVERIFY(session.probe.window.findChildren<QMessageBox *>().isEmpty());

    // The Root: the source that is shown, not the one in the box.
    session.probe.ui.combo_URL->setCurrentIndex(0);
    again(session.root());
    QVERIFY(!view->model());
    QTRY_COMPARE(session.status(), QString("Count: 2 | Finished"));
    QCOMPARE(treeText(session.root()), QString("Root again(Folder a,Folder b)"));
}

void ListingTest::interrupt()
{
    BrowseSession session;
    session.addS3("AK", "SK", m_faulty.port(), "clips");
    session.probe.window.show();
    const auto isBusy = [&] {
        const Ui_MainWindow &ui = session.probe.ui;
        return ui.treeView->cursor() == Qt::BusyCursor && ui.fileView->cursor() == Qt::BusyCursor;
    };
    QAction *stop = session.probe.ui.treeView->actions().at(1);
    QVERIFY(!isBusy() && !stop->isEnabled());
    // What is there stays, and the end is reported as always.
    m_faulty.command("fault", {{"contains", "continuation"}, {"delay", 60'000}});
    session.connectTo("clips");
    QTRY_VERIFY(session.root() && session.root()->rowCount() == 1000);
    QVERIFY(isBusy() && stop->isEnabled());
    QTest::keyClick(&session.probe.window, Qt::Key_Escape);
    QTRY_COMPARE(session.status(), QString("Count: 1000 | Finished"));
    QTRY_VERIFY(session.probe.ui.treeView->model() && !isBusy());
    QCOMPARE(session.events.mid(1001), (QStringList{"Finished", "end"}));
    // A source that is still being opened stays closed.
    m_faulty.command("fault", {{"method", "HEAD"}, {"contains", "/clips"}, {"delay", 60'000}});
    m_faulty.command("requests");
    session.connectTo("clips");
    QVERIFY(isAsked("HEAD"));
    QVERIFY(isBusy());
    QTest::keyClick(&session.probe.window, Qt::Key_Escape);
    QTRY_VERIFY(!isBusy());
    QCOMPARE(session.events, QStringList("Connecting"));
    QVERIFY(!session.probe.ui.treeView->model() && session.probe.rootItems.isEmpty());
    QCOMPARE(session.status(), QString("Connecting"));
    QCOMPARE(takeLog(), QByteArray());
    QVERIFY(session.probe.window.findChildren<QMessageBox *>().isEmpty());

    // A failure is told by the status box's tooltip, and by the log that its menu opens.
    m_faulty.command("fault", {{"contains", "/clips"}, {"status", 403}, {"times", 0}});
    QTest::keyClick(&session.probe.window, Qt::Key_F5);
    QTRY_VERIFY(isBusy());
    QTRY_VERIFY(!isBusy());
    const QString tip = session.probe.ui.textbox_Status->toolTip().replace('\n', ' ');
    QVERIFY2(
        tip.contains(QString("Unable to open <s3://AK:***@127.0.0.1:%1/clips>, error 5 (denied), "
                             "HTTP status 403")
                         .arg(m_faulty.port())),
        tip.toUtf8());
    QDesktopServices::setUrlHandler("file", this, "openLog");
    session.probe.ui.textbox_Status->actions().last()->trigger();
    QDesktopServices::unsetUrlHandler("file");
    QCOMPARE(m_opened.fileName(), QString("test.log"));
    QVERIFY(QFile::exists(m_opened.toLocalFile()));
}

void ListingTest::thisComputer()
{
    BrowseSession session;
    session.addS3("AK", "SK", m_faulty.port(), "clips");
    m_faulty.command("fault", {{"contains", "continuation"}, {"delay", 60'000}});
    session.probe.window.show();
    session.connectTo("clips");
    QTRY_VERIFY(session.root() && session.root()->rowCount() == 1000);
    QTest::keyClick(&session.probe.window, Qt::Key_Home, Qt::ControlModifier);
    const QTreeView *view = session.probe.ui.treeView;
    QCOMPARE(view->model(), static_cast<QAbstractItemModel *>(session.probe.driveModel));
    QVERIFY(!view->rootIndex().isValid() && !session.probe.ui.fileView->model());
    QVERIFY(session.probe.rootItems.isEmpty() && !session.probe.tamsBrowsing);
    QVERIFY(!view->testAttribute(Qt::WA_SetCursor));
    const int events = session.events.size();
    QThreadPool::globalInstance()->waitForDone();
    QCoreApplication::processEvents();
    QCOMPARE(session.events.size(), events);
    QCOMPARE(view->model(), static_cast<QAbstractItemModel *>(session.probe.driveModel));
    emit session.probe.ui.treeView->clicked(session.probe.driveModel->index(QDir::rootPath()));
    QVERIFY(session.probe.ui.fileView->model());
}

// Pages that are hard to read hold nothing up that comes after them, however many threads read.
void ListingTest::hostilePages()
{
    BrowseSession session;
    addSwift(session, "empty");
    session.addS3("AK", "SK", m_faulty.port(), "clips");
    QString page = "<ListBucketResult";
    for (int i = 0; i < 100'000; ++i)
        page += QString(" a%1=''").arg(i);
    m_faulty.command(
        "fault", {{"contains", "list-type"}, {"times", 0}, {"status", 200}, {"body", page + "/>"}});
    m_faulty.command("requests");
    for (int i = QThreadPool::globalInstance()->maxThreadCount(); i > 0; --i) {
        session.connectTo("clips");
        QVERIFY(isAsked("list-type"));
    }
    session.connectTo("empty");
    QTRY_COMPARE(session.status(), QString("Count: 0 | Finished"));
}

void ListingTest::anotherConnect()
{
    BrowseSession session;
    addSwift(session, "empty");
    session.addS3("AK", "SK", m_faulty.port(), "clips");
    session.addS3("AK", "SK", m_faulty.port(), "folders");
    // The rest of the first source waits behind its first page.
    m_faulty.command("fault", {{"contains", "/clips?"}, {"skip", 3}, {"delay", 60'000}});
    session.connectTo("clips");
    QTRY_VERIFY(session.events.size() > 1);
    session.connectTo("folders");
    QTRY_COMPARE(session.status(), QString("Count: %1 | Finished").arg(kClips));
    QTRY_VERIFY(session.probe.ui.treeView->model());
    QCOMPARE(session.root()->text(), QString("folders"));
    QCOMPARE(session.events.filter("clip-").size(), 0);
    QCOMPARE(session.root()->rowCount(), kClips);
    QCOMPARE(session.probe.rootItems.size(), kClips + 1);

    // A folder's listing, stopped; and a source that is left while it is still opened.
    m_faulty.command("fault", {{"contains", "prefix"}, {"delay", 60'000}});
    session.click(session.root()->child(kClips - 1));
    m_faulty.command("fault", {{"method", "HEAD"}, {"contains", "/clips"}, {"delay", 60'000}});
    session.connectTo("clips");
    session.connectTo("empty");
    QTRY_COMPARE(session.status(), QString("Count: 0 | Finished"));
    QThreadPool::globalInstance()->waitForDone();
    QCoreApplication::processEvents();
    QCOMPARE(session.events, (QStringList{"Connecting", "Connecting", "Finished", "end"}).mid(1));
    QCOMPARE(treeText(session.root()), QString("Root empty"));
    QCOMPARE(session.probe.treeModel->rowCount(), 1);
}

void ListingTest::editedRegion()
{
    for (const QString region : {"eu-west-2", "eu-west-3"}) {
        init();
        m_faulty.command("bucket", {{"bucket", "far"}, {"region", region}});
        BrowseSession session;
        session.addS3("AK", "SK", m_faulty.port(), "far");
        QMetaObject::invokeMethod(&session.probe.window, "onUpdateUrl", Q_ARG(QString, "AK"),
                                  Q_ARG(QString, "SK"), Q_ARG(QString, region),
                                  Q_ARG(QString, "far"), Q_ARG(URL *, session.probe.sources[0]),
                                  Q_ARG(int, 0));
        m_faulty.command("requests");
        session.connectTo("far");
        QTRY_COMPARE(session.status(), QString("Count: 0 | Finished"));
        QTRY_VERIFY(session.probe.ui.treeView->model());
        QCOMPARE(session.events, (QStringList{"Connecting", "Finished", "end"}));
        QCOMPARE(treeText(session.root()), QString("Root far"));
        const QJsonArray requests = m_faulty.command("requests")["requests"].toArray();
        QCOMPARE(requests.size(), 2);
        for (const QJsonValue &request : requests)
            QVERIFY(request["authorization"].toString().contains("/" + region + "/s3/"));
    }
}

void ListingTest::outOfBounds()
{
    BrowseSession session;
    addSwift(session, "empty");
    session.connectTo("empty");
    QTRY_VERIFY(session.probe.ui.treeView->model());
    session.probe.ui.combo_URL->setCurrentIndex(session.probe.ui.combo_URL->count() - 1);
    session.probe.ui.button_Connect->click();
    QVERIFY(takeLog().endsWith("ERROR: Out of bounds URL selection\n"));
    QVERIFY(session.probe.ui.treeView->model());
    QCOMPARE(session.probe.rootItems.size(), 1);
}

void ListingTest::statusIsPaced()
{
    BrowseSession session;
    for (int i = 1; i <= 5000; ++i)
        emit session.probe.window.updateStatus(QString("Adding: b//%1").arg(i));
    QTRY_COMPARE(session.status(), QString("Count: 5000 | Adding: b//5000"));
    QVERIFY2(session.shown.size() < 500, QByteArray::number(session.shown.size()));
    emit session.probe.window.updateStatus("Connecting");
    QTRY_COMPARE(session.status(), QString("Connecting"));
}

void ListingTest::queueIsBounded()
{
    ArrivalQueue queue;
    const hq::StopToken token;
    std::atomic<int> pushed{0};
    std::thread listing([&] {
        while (pushed < 100'000 && queue.push(EntryArrival{}, token))
            ++pushed;
    });
    ArrivalQueue::Take next;
    QTRY_VERIFY(pushed >= 4000);
    const std::size_t taken = queue.take(&next).entries.size();
    QTRY_VERIFY(pushed >= 4000 + int(taken));
    token.stop();
    listing.join();
    QCOMPARE(taken, std::size_t(1000));
    QCOMPARE(pushed.load(), 5000);
}

void ListingTest::batches()
{
    // Entries of two folders at once, one of a folder that nobody knows, and twins: the first of
    // two folders with one address takes the entries.
    QStandardItemModel model;
    QList<QStandardItem *> rootItems;
    BrowseTree tree(&model, &rootItems, {});
    tree.startS3("s3://a:b@c/r");
    tree.append({{"", "s3://a:b@c/r/x", false},
                 {"", "s3://a:b@c/r/y", false},
                 {"", "s3://a:b@c/r/x", false},
                 {"", "s3://a:b@c/r/x/1", true},
                 {"", "s3://a:b@c/r/y/1", true},
                 {"", "s3://a:b@c/r/x/2", true},
                 {"", "s3://a:b@c/other/1", true},
                 {"", "s3://a:b@c/r/X/1", true}});
    QCOMPARE(treeText(rootItems.first()),
             QString("Root r(Folder x(File 1,File 2),Folder y(File 1),Folder x)"));
    QCOMPARE(rootItems.size(), 4);
    tree.startTams("tamss://t", "t");
    QCOMPARE(rootItems.size(), 1);
    QCOMPARE(model.rowCount(), 1);
}

// PELLORY_ROUNDS sets how many.
void ListingTest::randomRounds()
{
    const int rounds = qEnvironmentVariableIntValue("PELLORY_ROUNDS");
    QRandomGenerator random{quint32(rounds)};
    m_faulty.command("set", {{"pageSize", 200}, {"latency", 2}});
    for (int round = 0; round < std::max(rounds, 10); ++round) {
        auto session = std::make_unique<BrowseSession>();
        QMetaObject::invokeMethod(&session->probe.window, "onAddTams",
                                  Q_ARG(QString, "tams.amazonaws.com"), Q_ARG(QString, ""),
                                  Q_ARG(QString, ""), Q_ARG(QString, ""), Q_ARG(QString, ""));
        addSwift(*session, "tree");
        for (const char *bucket : {"clips", "folders", "none"})
            session->addS3("AK", "SK", m_faulty.port(), bucket);
        const QComboBox *box = session->probe.ui.combo_URL;
        for (int step = random.bounded(1, 6); step > 0; --step) {
            session->connectTo(box->itemText(random.bounded(box->count())));
            QElapsedTimer timer;
            timer.start();
            for (const int most = random.bounded(60); timer.elapsed() < most;) {
                QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
                const QStandardItem *root = session->root();
                QTreeView *view = session->probe.ui.treeView;
                if (!root || root->rowCount() == 0 || !view->model())
                    continue;
                const QStandardItem *row = root->child(random.bounded(root->rowCount()));
                session->click(row);
                view->setCurrentIndex(session->probe.folderProxy->mapFromSource(row->index()));
                view->actions().at(random.bounded(20) ? 0 : random.bounded(3))->trigger();
            }
        }
        QElapsedTimer closing;
        closing.start();
        session.reset();
        QVERIFY2(closing.elapsed() < 5000, QByteArray::number(closing.elapsed()));
    }
}

PELLORY_TEST_MAIN(ListingTest, QApplication)
#include "tst_listing.moc"
