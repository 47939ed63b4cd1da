// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// What the actions write, on a tour through the window against servers that stand for the
// provider's hosts, and on names, copies and folders that are not usual.
#include "windowprobe.h"

#include "adddialog.h"
#include "openfiles.h"
#include "streamcontent.h"
#include "tamsdialog.h"
#include "testmain.h"
#include "testserver.h"
#include "treesortfilterproxymodel.h"

#include <QFileSystemModel>
#include <QJsonObject>
#include <QLabel>
#include <QProgressDialog>
#include <QTreeView>

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
    }
    void runOnFolder(const QModelIndex &folder, const char *form)
    {
        m_probe->ui.treeView->setCurrentIndex(folder);
        m_probe->runActions(m_probe->ui.treeView, form);
    }
    // The text of the box at the end.
    QString report()
    {
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
    // The address in a new stream file, which goes.
    QString taken(const QString &name)
    {
        const QByteArray content = contentOf(inTarget(name));
        QFile::remove(inTarget(name));
        return content.startsWith(":x") ? "encrypted " + decoded(content) : content;
    }

    TestServer m_server{"fault_server.py"};
    std::unique_ptr<TestServer> m_front;
    std::unique_ptr<QTemporaryDir> m_target;
    std::unique_ptr<MainWindowProbe> m_probe;
};

void ActionsTest::initTestCase()
{
    QVERIFY2(m_server.start(), m_server.error());
    m_front = std::make_unique<TestServer>("tls_front.py",
                                           QStringList{"--port", QString::number(m_server.port())});
    QVERIFY2(m_front->start(), m_front->error());
    qputenv("CURL_CA_BUNDLE", m_front->ready()["caFile"].toString().toUtf8());
    qputenv("https_proxy",
            "http://127.0.0.1:" + QByteArray::number(m_front->ready()["proxyPort"].toInt()));
    const QJsonObject objects{{"top.mov", 10}, {kClip, kSize}, {kLarge, 1 << 30}};
    m_server.command("bucket", {{"bucket", "rushes"},
                                {"objects", objects},
                                {"count", 1500},
                                {"format", "many/{:06}.mxf"}});
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
    fillDialog(m_probe->dialog<AddDialog>(), {"AKIATOUR", "eu-west-1", "ab/c+d@e:f", "rushes", ""},
               "Accept");
    m_probe->ui.button_Tams->click();
    fillDialog(m_probe->dialog<TamsDialog>(),
               {"https://tams.amazonaws.com/", "x-api", "auth.amazonaws.com/oauth2/token", "word",
                "client"},
               "Accept");
    fillDialog(m_probe->dialog<TamsDialog>(), {"other.amazonaws.com"}, "Accept");
    for (const bool again : {false, true}) {
        if (again)
            init();
        const Ui_MainWindow &ui = m_probe->ui;
        connectTo(kSource);
        QTRY_VERIFY(m_probe->click(ui.treeView, "day 1"));
        QTRY_VERIFY(m_probe->click(ui.treeView, "take 2"));
        QTRY_VERIFY(m_probe->click(ui.fileView, "clip.final.mxf"));
        ui.button_MakeStream->click();
        QCOMPARE(taken("clip.stream"), kBucket + kClip);
        ui.button_EncryptStream->click();
        QCOMPARE(taken("clip.stream"), "encrypted " + kBucket + kClip);
        ui.button_LocalizeFile->click();
        QTRY_VERIFY(QFile::exists(inTarget("clip.final.mxf")));
        QVERIFY(contentOf(inTarget("clip.final.mxf")) == TestServer::content(0, kSize));
        QVERIFY(QFile::remove(inTarget("clip.final.mxf")));

        connectTo(kRepository);
        ui.button_MakeStream->click(); // what was clicked counts, not what is browsed by now
        QCOMPARE(taken("clip.stream"), kBucket + kClip);
        QTRY_VERIFY(m_probe->click(ui.treeView, kRepository));
        QTRY_VERIFY(m_probe->click(ui.fileView, kLabel));
        ui.button_MakeStream->click();
        QCOMPARE(taken(".._up_News 8.30.stream"), kFlow + '2');
        ui.button_EncryptStream->click();
        QCOMPARE(taken(".._up_News 8.30.stream"), "encrypted " + kFlow + '2');
        ui.combo_URL->setCurrentText("tamss://other.amazonaws.com");
        ui.button_MakeStream->click();
        const QString refusal = ui.button_MakeStream->accessibleDescription();
        QVERIFY2(refusal.contains("Choose " + kRepository + " there"), refusal.toUtf8());
        QCOMPARE(targetFiles(), QStringList());
        ui.combo_URL->setCurrentText(kSource);
        ui.button_MakeStream->click();
        QCOMPARE(taken(".._up_News 8.30.stream"), kFlow + '2');
    }

    // Whole folders: a repository, whatever the box shows, and two that nobody has clicked.
    QTreeView *tree = m_probe->ui.treeView;
    runOnFolder(m_probe->row(tree, kRepository), "Make");
    QVERIFY(report().startsWith("Stream files written: 4\n"));
    for (const auto &[name, id] :
         {std::pair("", '1'), {".._up_News 8.30", '2'}, {"V_1", '3'}, {"v_1-2", '4'}})
        QCOMPARE(taken(QString(name) + ".stream"), kFlow + id);
    connectTo(kSource);
    QTRY_VERIFY(m_probe->row(tree, "many").isValid());
    runOnFolder(m_probe->row(tree, "many"), "Encrypt");
    QVERIFY(report().startsWith("Stream files written: 1,500\nof these replaced: 0\n"));
    QCOMPARE(targetFiles().size(), 1500);
    QCOMPARE(taken("001234.stream"), "encrypted " + kBucket + "many/001234.mxf");
    runOnFolder(m_probe->row(tree, "rushes"), "Make");
    QVERIFY(report().startsWith("Stream files written: 1\n"));
    QCOMPARE(taken("top.stream"), kBucket + "top.mov");
    m_server.command("fault", {{"contains", "list-type"}, {"status", 403}});
    runOnFolder(m_probe->row(tree, "rushes"), "Make");
    QVERIFY(report().startsWith("Nothing was written: the folder could not be listed completely."));
    m_server.command("fault", {{"contains", "list-type"}, {"times", 0}, {"delay", 60'000}});
    runOnFolder(m_probe->row(tree, "rushes"), "Make");
    runOnFolder(m_probe->row(tree, "rushes"), "Encrypt"); // not beside the other
    QCOMPARE(dialogs().size(), 1);
    dialogs().first()->findChild<QPushButton *>()->click();
    QCOMPARE(report(), QString("Nothing was written: stopped while the folder was listed."));
    runOnFolder(m_probe->row(tree, "rushes"), "Make");
    m_probe.reset(); // closes the window while it goes on
    QCOMPARE(targetFiles().size(), 1499);
}

void ActionsTest::names()
{
    m_probe->ui.combo_TargetDir->setEditText(m_target->path() + '\\');
    for (const auto &[name, key, copy, stream] :
         {std::tuple(QString("a/b\\c.d.mxf"), kClip, "a_b_c.d.mxf", "a_b_c.stream"),
          {"..", kClip, "", ".stream"}}) {
        localize(name, key);
        QTRY_VERIFY(dialogs().isEmpty());
        QCOMPARE(targetFiles().join('|'), QString(copy));
        QVERIFY(!*copy || QFile::remove(inTarget(copy)));
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
    const QModelIndex local = m_probe->driveModel->index(folder.path());
    runOnFolder(local, "Make");
    QCOMPARE(report(), QString("Stream files written: 5\nof these replaced: 1\nof these renamed, "
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
