// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// What the actions write, on a tour through the window against servers that stand for the
// provider's hosts, and on names, copies and folders that are not usual.
#include "windowprobe.h"

#include "adddialog.h"
#include "folderstreams.h"
#include "openfiles.h"
#include "tamsdialog.h"
#include "testserver.h"
#include "treesortfilterproxymodel.h"

namespace {

const QString kSource = "s3.amazonaws.com - rushes", kRepository = "tamss://tams.amazonaws.com";
const QString kBucket = "s3://AKIATOUR:ab/c+d@e:f@s3.amazonaws.com/rushes/";
const QString kClip = "day 1/take 2/clip.final.mxf", kLarge = "day 1/<b>large.mxf";
const QString kFlow = kRepository + "/x-api/flows/flow-", kLabel = "../up\\News 8.30";
const QString kFlows = R"([{"id": "flow-1"}, {"id": "flow-2", "label": "../up\\News 8.30"},
    {"id": "flow-4", "label": "v/1"}, {"id": "flow-3", "label": "V_1"}])";
constexpr int kSize = 100'000;

} // namespace

class ActionsTest : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void tour();
    void names();
    void copies();
    void wholeFolder();

private:
    void connectTo(const QString &source)
    {
        m_probe->ui.combo_URL->setCurrentText(source);
        m_probe->ui.button_Connect->click();
        QTRY_VERIFY(m_probe->ui.treeView->model() == m_probe->folderProxy);
        QVERIFY(!m_probe->ui.fileView->model());
        const QString header = m_probe->folderProxy->headerData(3, Qt::Horizontal).toString();
        QCOMPARE(header, QString(source == kRepository ? "Created" : "Date"));
    }
    void runOnFolder(const QString &folder, const char *form)
    {
        QTreeView *tree = m_probe->ui.treeView;
        const QModelIndex row = m_probe->row(tree, folder);
        tree->setCurrentIndex(row.isValid() ? row : m_probe->driveModel->index(folder));
        m_probe->runActions(tree, form);
    }
    // The text of the box at the end of what is run on a folder, if one is named.
    QString report(const QString &folder = {}, const char *form = "Make")
    {
        if (!folder.isEmpty())
            runOnFolder(folder, form);
        if (!QTest::qWaitFor([&] { return m_probe->dialog<QMessageBox>(); }, 60'000))
            return "no box";
        const std::unique_ptr<QMessageBox> box(m_probe->dialog<QMessageBox>());
        return box->text().section("\n\n", 1);
    }
    void localize(const QString &name, const QString &key)
    {
        m_probe->selectedName = name;
        m_probe->selectedPath =
            QString("s3://AK:SK@127.0.0.1:%1/rushes/").arg(m_server.port()) + key;
        m_probe->ui.button_LocalizeFile->click();
    }
    QList<QProgressDialog *> dialogs() const
    {
        return m_probe->window.findChildren<QProgressDialog *>();
    }
    QString inTarget(const QString &name) const { return m_target->filePath(name); }
    QStringList targetFiles() const
    {
        return QDir(m_target->path()).entryList(QDir::Files | QDir::Hidden);
    }
    // The address in a new stream file, which goes; one that a button makes, if it is given.
    QString taken(const QString &name, QPushButton *button = nullptr)
    {
        if (button)
            button->click();
        const QByteArray content = contentOf(inTarget(name));
        QFile::remove(inTarget(name));
        return content.startsWith(":x") ? "encrypted " + decoded(content) : content;
    }

    TestServer m_server{"fault_server.py"};
    std::unique_ptr<QTemporaryDir> m_target;
    std::unique_ptr<MainWindowProbe> m_probe;
};

void ActionsTest::initTestCase()
{
    QVERIFY2(m_server.startBehindTls(), m_server.error());
    QJsonObject rushes{{"bucket", "rushes"}, {"count", 1500}, {"format", "many/{:06}.mxf"}};
    rushes["objects"] = QJsonObject{{"top.mov", 10}, {kClip, kSize}, {kLarge, 1 << 30}};
    m_server.command("bucket", rushes);
    m_server.command("bucket", {{"bucket", "x-api"}, {"objects", QJsonObject{{"flows", kFlows}}}});
}

void ActionsTest::init()
{
    m_server.command("calm");
    const QString token = R"({"access_token": "TOKEN", "token_type": "Bearer"})";
    m_server.command("fault", {{"method", "POST"}, {"times", 0}, {"status", 200}, {"body", token}});
    m_target = std::make_unique<QTemporaryDir>();
    m_probe.reset();
    m_probe = std::make_unique<MainWindowProbe>();
    m_probe->ui.combo_TargetDir->setEditText(m_target->path());
    m_probe->window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&m_probe->window));
}

void ActionsTest::tour()
{
    m_probe->ui.button_Add->click();
    fillDialog(m_probe->dialog<AddDialog>(), {"AKIATOUR", "eu-west-1", "ab/c+d@e:f", "rushes", ""});
    m_probe->ui.button_Tams->click();
    fillDialog(m_probe->dialog<TamsDialog>(),
               {"https://tams.amazonaws.com/", "x-api", "auth.amazonaws.com/oauth2/token", "word",
                "client"});
    fillDialog(m_probe->dialog<TamsDialog>(), {"other.amazonaws.com"});
    for (const bool again : {false, true}) {
        if (again)
            init();
        const Ui_MainWindow &ui = m_probe->ui;
        connectTo(kSource);
        QTRY_VERIFY(m_probe->click(ui.treeView, "day 1"));
        QTRY_VERIFY(m_probe->click(ui.treeView, "take 2"));
        QTRY_VERIFY(m_probe->click(ui.fileView, "clip.final.mxf"));
        QCOMPARE(taken("clip.stream", ui.button_MakeStream), kBucket + kClip);
        QCOMPARE(taken("clip.stream", ui.button_EncryptStream), "encrypted " + kBucket + kClip);
        ui.button_LocalizeFile->click();
        QTRY_VERIFY(QFile::exists(inTarget("clip.final.mxf")));
        QVERIFY(contentOf(inTarget("clip.final.mxf")) == TestServer::content(0, kSize));
        QVERIFY(QFile::remove(inTarget("clip.final.mxf")));

        connectTo(kRepository);
        // What was clicked counts, not what is browsed by now.
        QCOMPARE(taken("clip.stream", ui.button_MakeStream), kBucket + kClip);
        QTRY_VERIFY(m_probe->click(ui.treeView, kRepository));
        QTRY_VERIFY(m_probe->click(ui.fileView, kLabel));
        QCOMPARE(taken(".._up_News 8.30.stream", ui.button_MakeStream), kFlow + '2');
        QCOMPARE(taken(".._up_News 8.30.stream", ui.button_EncryptStream),
                 "encrypted " + kFlow + '2');
        ui.combo_URL->setCurrentText("tamss://other.amazonaws.com");
        ui.button_MakeStream->click();
        const QString refusal = ui.button_MakeStream->accessibleDescription();
        QVERIFY2(refusal.contains("Choose " + kRepository + " there"), refusal.toUtf8());
        QCOMPARE(targetFiles(), QStringList());
        ui.combo_URL->setCurrentText(kSource);
        QCOMPARE(taken(".._up_News 8.30.stream", ui.button_MakeStream), kFlow + '2');
    }

    // Whole folders: a repository, whatever the box shows, and two that nobody has clicked.
    QVERIFY(report(kRepository).startsWith("Stream files written: 4\n"));
    for (const auto &[name, id] :
         {std::pair("", '1'), {".._up_News 8.30", '2'}, {"V_1", '3'}, {"v_1-2", '4'}})
        QCOMPARE(taken(QString(name) + ".stream"), kFlow + id);
    connectTo(kSource);
    QTRY_VERIFY(m_probe->row(m_probe->ui.treeView, "many").isValid());
    QVERIFY(report("many", "Encrypt")
                .startsWith("Stream files written: 1,500\nof these replaced: 0\n"));
    QCOMPARE(targetFiles().size(), 1500);
    QCOMPARE(taken("001234.stream"), "encrypted " + kBucket + "many/001234.mxf");
    QVERIFY(report("rushes").startsWith("Stream files written: 1\n"));
    QCOMPARE(taken("top.stream"), kBucket + "top.mov");
    m_server.command("fault", {{"contains", "list-type"}, {"status", 403}});
    QVERIFY(report("rushes").startsWith(
        "Nothing was written: the folder could not be listed completely."));
    m_server.command("fault", {{"contains", "list-type"}, {"times", 0}, {"delay", 60'000}});
    runOnFolder("rushes", "Make");
    runOnFolder("rushes", "Encrypt"); // not beside the other
    QCOMPARE(dialogs().size(), 1);
    QTRY_VERIFY(dialogs().first()->labelText().endsWith("/rushes\nListing"));
    dialogs().first()->findChild<QPushButton *>()->click();
    QCOMPARE(report(), QString("Nothing was written: stopped while the folder was listed."));
    m_probe->ui.combo_TargetDir->setEditText(inTarget("none"));
    QCOMPARE(report("rushes"),
             QString("Nothing was written: the target is not a folder that is there."));
    m_probe->ui.combo_TargetDir->setEditText(m_target->path());
    runOnFolder("rushes", "Make");
    m_probe.reset(); // closes the window while it goes on
    QCOMPARE(targetFiles().size(), 1499);
}

void ActionsTest::names()
{
    m_probe->ui.combo_TargetDir->setEditText(m_target->path() + '\\');
    for (const auto &[name, key, copy, stream] :
         {std::tuple(QString("a/b\\c.d.mxf"), kClip, "a_b_c.d.mxf", "a_b_c.stream"),
          {"..", kClip, "", ".stream"}}) {
        for (const bool again : {false, true}) {
            localize(name, key);
            QTRY_VERIFY(dialogs().isEmpty());
            QCOMPARE(targetFiles().join('|'), QString(copy));
            QVERIFY(!*copy || (contentOf(inTarget(copy)) == "old") == again);
            QVERIFY(!*copy || fill(inTarget(copy), "old")); // which is kept
        }
        QFile::remove(inTarget(copy));
        m_probe->ui.button_MakeStream->click();
        QCOMPARE(targetFiles().join('|'), QString(stream));
        QCOMPARE(taken(stream), m_probe->selectedPath);
    }
}

// Stopped by the button, by closing the dialog and with the window.
void ActionsTest::copies()
{
    m_server.command("set", {{"rate", 1'500'000}}); // bytes/s of a connection
    for (const char *name : {"<b>large.mxf", "two", "three"})
        localize(name, kLarge);
    const QList<QProgressDialog *> all = dialogs();
    QProgressDialog *large = all.value(0);
    QVERIFY(all.size() == 3 && !large->isVisible());
    QTRY_VERIFY(large->isVisible() && all[1]->isVisible());
    QVERIFY(!large->isModal() && !large->frameGeometry().intersects(all[1]->frameGeometry()));
    QTRY_VERIFY(large->value() > 0 && large->maximum() == 1000);
    QVERIFY(large->labelText().contains("iB of 1.0 GiB, "));
    QCOMPARE(large->findChild<QLabel *>()->textFormat(), Qt::PlainText);
    QTRY_COMPARE(openFilesIn(m_target->path()).size(), 3);
    large->findChild<QPushButton *>()->click();
    all[1]->close();
    QTRY_COMPARE(dialogs(), all.mid(2));
    QTRY_COMPARE(openFilesIn(m_target->path()).size(), 1);
    m_probe.reset();
    QTRY_COMPARE(openFilesIn(m_target->path()) + targetFiles(), QStringList());
}

// What the right view shows of a folder, not deeper.
void ActionsTest::wholeFolder()
{
    QTemporaryDir folder;
    QDir(folder.path()).mkdir("deep.mxf");
    for (const char *name :
         {"clip.mxf", "clip.xml", "b.c.mov", "A.mxf", "a.mxf", "a.MXF", ".hidden"})
        QVERIFY(fill(folder.filePath(name), "x"));
    QVERIFY(fill(inTarget("b.stream"), "old"));
    QVERIFY(QDir(m_target->path()).mkdir("clip.xml.stream")); // cannot be written
    FolderProgress progress;
    const QTemporaryDir other;
    makeFolderStreams({FolderJob::Kind::Local, folder.path(), {}, other.path()}, &progress);
    QVERIFY(progress.total == 6 && progress.done == 6);
    QCOMPARE(report(folder.path()),
             QString("Stream files written: 5\nof these replaced: 1\nof these renamed, "
                     "because names would be the same: 4\nRefused: 1"));
    QCOMPARE(targetFiles().size(), 5);
    for (const auto &[name, source] : {std::pair("b", "b.c.mov"),
                                       {"clip.mxf", "clip.mxf"},
                                       {"A.mxf", "A.mxf"},
                                       {"a.MXF-2", "a.MXF"},
                                       {"a.mxf-3", "a.mxf"}})
        QCOMPARE(taken(QString(name) + ".stream"), folder.filePath(source));
}

PELLORY_TEST_MAIN(ActionsTest, QApplication)
#include "tst_actions.moc"
