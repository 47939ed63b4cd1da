// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "windowprobe.h"

#include "openfiles.h"
#include "streamcontent.h"
#include "streamsource.h"
#include "testmain.h"
#include "testserver.h"
#include "treeitems.h"
#include "treesortfilterproxymodel.h"

#include <QAction>
#include <QFileSystemModel>
#include <QJsonObject>
#include <QLabel>
#include <QProgressDialog>
#include <QStandardItemModel>
#include <QThread>

namespace {

const QString kRepository = "tamss://tams.example.org";
constexpr int kSmall = 100'000;
constexpr int kRate = 1'500'000; // bytes/s of a connection: the middle object takes two seconds

} // namespace

class ActionsTest : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();
    void streamFiles();
    void selectionOutlivesConnect();
    void localizes();
    void progress();
    void closing();
    void distinctNames();
    void wholeFolder();
    void stoppedFolder();

private:
    QAction *folderAction(bool encrypt) const
    {
        for (QAction *action : m_probe->ui.treeView->actions()) {
            if (action->text().startsWith(encrypt ? "Encrypt" : "Make"))
                return action;
        }
        return nullptr;
    }
    void runOnFolder(const QModelIndex &folder, bool encrypt)
    {
        m_probe->ui.treeView->setCurrentIndex(folder);
        folderAction(encrypt)->trigger();
    }
    // The text of the box at the end.
    QString report()
    {
        QMessageBox *box = nullptr;
        for (int i = 0; i < 2000 && !box; ++i) {
            QTest::qWait(5);
            box = m_probe->dialog<QMessageBox>();
        }
        const QString text = box ? box->text() : QString("no box");
        delete box;
        return text.section("\n\n", 1);
    }
    void selectFlow(const QString &label, const QString &id);
    QString s3(const QString &key) const
    {
        return QString("s3://AK:SK@127.0.0.1:%1/media/%2").arg(m_server.port()).arg(key);
    }
    QString inTarget(const QString &name) const { return m_target->filePath(name); }
    QStringList targetFiles() const
    {
        return QDir(m_target->path()).entryList(QDir::Files | QDir::Hidden);
    }
    void localize(const QString &name, const QString &path)
    {
        m_probe->selectedName = name;
        m_probe->selectedPath = path;
        m_probe->ui.button_LocalizeFile->click();
    }
    QList<QProgressDialog *> dialogs() const
    {
        return m_probe->window.findChildren<QProgressDialog *>();
    }

    TestServer m_server{"fault_server.py"};
    std::unique_ptr<QTemporaryDir> m_target;
    std::unique_ptr<MainWindowProbe> m_probe;
};

void ActionsTest::initTestCase()
{
    QVERIFY2(m_server.start(), m_server.error());
    m_server.command("bucket",
                     {{"bucket", "media"},
                      {"objects", QJsonObject{{"small.mxf", kSmall}, {"<b>large.mxf", 1 << 30}}}});
}

void ActionsTest::init()
{
    m_server.command("calm");
    m_target = std::make_unique<QTemporaryDir>();
    m_probe = std::make_unique<MainWindowProbe>();
    m_probe->ui.combo_TargetDir->setEditText(m_target->path());
    m_probe->window.show();
}

void ActionsTest::selectFlow(const QString &label, const QString &id)
{
    const ItemIcons icons;
    QStandardItem *root = makeRootItem(kRepository, {}, "tams.example.org", icons);
    root->appendRow(makeFlowRow({label, id, "urn:x-nmos:format:video", ""}, icons));
    resetForTams(m_probe->treeModel);
    m_probe->treeModel->appendRow(root);
    m_probe->fileProxy->setSourceModel(m_probe->treeModel);
    m_probe->fileProxy->setFilterFixedString(kRepository);
    m_probe->setBrowsing(false, true);
    m_probe->tamsEndpoint = "/Prod/";
    m_probe->ui.combo_URL->insertItem(0, kRepository);
    m_probe->ui.combo_URL->setCurrentIndex(0);
    emit m_probe->ui.fileView->clicked(m_probe->fileProxy->mapFromSource(root->child(0)->index()));
    QCOMPARE(m_probe->selectedPath, label);
}

void ActionsTest::streamFiles()
{
    const QString address = kRepository + "/Prod/flows/id.1";
    const struct
    {
        const char *name;
        bool isFlow;
        QString selectedName, selectedPath, file;
    } rows[] = {
        {"local", false, "für a.mov", "/médias/für a.mov", "für a.stream"},
        {"dot first", false, ".hidden.mxf", "/.hidden.mxf", ".stream"},
        {"separators in the name", false, "a\\b/c.mxf", s3("a\\b/c.mxf"), "a_b_c.stream"},
        {"flow that leads out", true, "id.1", "../../up\\a", ".._.._up_a.stream"},
        {"flow without a label", true, "id.1", "", ".stream"},
    };
    for (const auto &row : rows) {
        init();
        if (row.isFlow) {
            selectFlow(row.selectedPath, row.selectedName);
        } else {
            m_probe->selectedName = row.selectedName;
            m_probe->selectedPath = row.selectedPath;
        }
        const QString expected = row.isFlow ? address : row.selectedPath;
        m_probe->ui.button_MakeStream->click();
        QVERIFY2(targetFiles() == QStringList{row.file}, row.name);
        QVERIFY2(contentOf(inTarget(row.file)) == expected.toUtf8(), row.name);
        m_probe->ui.combo_TargetDir->setEditText(m_target->path() + '\\');
        m_probe->ui.button_EncryptStream->click();
        QVERIFY2(targetFiles() == QStringList{row.file}, row.name);
        QVERIFY2(decoded(contentOf(inTarget(row.file))) == expected, row.name);
    }
}

// A Connect to a source of another kind changes what is browsed, not what is selected. Taken for a
// flow's label, the address of an object would put its secret into a file name.
void ActionsTest::selectionOutlivesConnect()
{
    m_probe->selectedName = "clip.mxf";
    m_probe->selectedPath = s3("clip.mxf");
    m_probe->setBrowsing(false, true);
    m_probe->ui.button_MakeStream->click();
    QCOMPARE(contentOf(inTarget("clip.stream")), s3("clip.mxf").toUtf8());

    selectFlow("label", "id");
    m_probe->setBrowsing(false, false);
    m_probe->ui.combo_URL->setCurrentIndex(1);
    m_probe->ui.button_MakeStream->click();
    QCOMPARE(contentOf(inTarget("label.stream")), (kRepository + "/Prod/flows/id").toUtf8());
}

void ActionsTest::localizes()
{
    const struct
    {
        const char *name;
        QString selectedName, path, file; // no file: nothing is written
    } rows[] = {
        {"object", "a/b\\c.d.mxf", s3("small.mxf"), "a_b_c.d.mxf"},
        {"local", "file", QCoreApplication::applicationFilePath(), "file"},
        {"missing object", "none", s3("none"), ""},
        {"folder above", "..", s3("small.mxf"), ""},
    };
    for (const auto &row : rows) {
        init();
        localize(row.selectedName, row.path);
        QTRY_VERIFY2(dialogs().isEmpty(), row.name);
        QVERIFY2(targetFiles().join('|') == row.file, row.name);
        if (row.file.isEmpty())
            continue;
        const QString path = inTarget(row.file);
        QVERIFY2(contentOf(path) == (row.path.startsWith("s3://") ? TestServer::content(0, kSmall)
                                                                  : contentOf(row.path)),
                 row.name);
        QVERIFY(fill(path, "kept"));
        m_probe->ui.combo_TargetDir->setEditText(m_target->path() + '\\');
        localize(row.selectedName, row.path);
        QTRY_VERIFY2(dialogs().isEmpty(), row.name);
        QVERIFY2(targetFiles().join('|') == row.file && contentOf(path) == "kept", row.name);
    }
}

void ActionsTest::progress()
{
    m_server.command("set", {{"rate", kRate}});
    localize("<b>large.mxf", s3("<b>large.mxf"));
    localize("again.mxf", s3("<b>large.mxf"));
    QCOMPARE(dialogs().size(), 2);
    QProgressDialog *large = dialogs().at(0), *again = dialogs().at(1);
    QVERIFY(!large->isVisible() && !again->isVisible());
    QTRY_VERIFY(large->isVisible() && again->isVisible());
    QVERIFY(!large->isModal() && !large->frameGeometry().intersects(again->frameGeometry()));
    QTRY_VERIFY(large->value() > 0 && large->maximum() == 1000);
    QVERIFY2(large->labelText().startsWith("<b>large.mxf\n"), large->labelText().toUtf8());
    QVERIFY2(large->labelText().contains("iB of 1.0 GiB, "), large->labelText().toUtf8());
    QCOMPARE(large->findChild<QLabel *>()->textFormat(), Qt::PlainText);
    large->findChild<QPushButton *>()->click();
    QTRY_COMPARE(dialogs(), QList<QProgressDialog *>{again});
    again->close();
    QTRY_VERIFY(dialogs().isEmpty());
    QTRY_COMPARE(openFilesIn(m_target->path()) + targetFiles(), QStringList());
}

void ActionsTest::closing()
{
    m_server.command("set", {{"rate", kRate}});
    for (const char *name : {"one", "two", "three"})
        localize(name, s3("<b>large.mxf"));
    QTRY_COMPARE(openFilesIn(m_target->path()).size(), 3);
    m_probe.reset();
    QTRY_COMPARE(openFilesIn(m_target->path()) + targetFiles(), QStringList());
}

void ActionsTest::distinctNames()
{
    const struct
    {
        const char *name;
        QString sources, expected; // "/" stands between them; for flows "label=id"
    } rows[] = {
        {"nothing shared", "a.mxf/b.mxf/.x", "a/b/"},
        {"extensions", "clip.xml/clip.mxf/other.mxf", "clip.xml/clip.mxf/other"},
        {"case", "Clip.xml/clip.MXF", "Clip.xml/clip.MXF"},
        {"no extension", "clip/clip.mxf", "clip/clip.mxf"},
        {"hidden", ".a/.b", ".a/.b"},
        {"same but for the case", "a.mxf/A.mxf/a.MXF", "a.mxf-3/A.mxf/a.MXF-2"},
        {"same on a disk", "a\\b.x/a_b.x", "a_b.x/a_b.x-2"},
        {"labels", "v1.0=2/v1.0=1/v1.1=3", "v1.0-2/v1.0/v1.1"},
        {"number that is a label", "v=1/v=2/v-2=3/V=4", "v/v-3/v-2/V-4"},
    };
    for (const auto &row : rows) {
        QVector<StreamSource> sources;
        for (const QString &text : row.sources.split('/')) {
            const bool isFlow = text.contains('=');
            sources.append({text.section('=', 0, 0), text.section('=', isFlow ? 1 : 0), isFlow});
        }
        const QStringList names = distinctStreamNames(sources);
        QVERIFY2(names == row.expected.split('/'), (row.name + (": " + names.join('/'))).toUtf8());
        std::reverse(sources.begin(), sources.end());
        QStringList reversed = distinctStreamNames(sources);
        std::reverse(reversed.begin(), reversed.end());
        QVERIFY2(reversed == names, row.name);
    }
}

void ActionsTest::wholeFolder()
{
    // Local: what the right view shows, not deeper.
    QTemporaryDir folder;
    QDir(folder.path()).mkdir("deep.mxf");
    for (const char *name : {"clip.mxf", "clip.xml", "b.c.mov", ".hidden"})
        QVERIFY(fill(folder.filePath(name), "x"));
    QVERIFY(fill(inTarget("b.stream"), "old"));
    QVERIFY(QDir(m_target->path()).mkdir("clip.xml.stream")); // cannot be written
    const QModelIndex local = m_probe->driveModel->index(folder.path());
    runOnFolder(local, false);
    QCOMPARE(report(), QString("Stream files written: 2\nof these replaced: 1\nof these renamed, "
                               "because names would be the same: 1\nRefused: 1"));
    QCOMPARE(targetFiles(), QStringList({"b.stream", "clip.mxf.stream"}));
    QCOMPARE(contentOf(inTarget("b.stream")), folder.filePath("b.c.mov").toUtf8());
    m_probe->ui.combo_TargetDir->setEditText(inTarget("missing"));
    runOnFolder(local, false);
    QCOMPARE(report(), QString("Nothing was written: the target is not a folder that is there."));

    // A bucket and a folder that nobody has clicked.
    init();
    m_server.command("bucket", {{"bucket", "many"},
                                {"objects", QJsonObject{{"top.mxf", 1}}},
                                {"count", 1500},
                                {"format", "day/{:06}.mxf"}});
    const QString bucket = s3("").section('/', 0, 2) + "/many";
    resetForS3(m_probe->treeModel);
    QStandardItem *root = makeRootItem("many", bucket.split('/'), bucket, {});
    QStandardItem *day = makeEntryItem(bucket + "/day", false, {});
    root->appendRow(day);
    m_probe->treeModel->appendRow(root);
    m_probe->setBrowsing(false, false);
    emit m_probe->window.finished(nullptr, true);
    QTRY_VERIFY(m_probe->ui.treeView->model() == m_probe->folderProxy);
    runOnFolder(m_probe->folderProxy->mapFromSource(day->index()), true);
    QVERIFY(report().startsWith("Stream files written: 1,500\nof these replaced: 0\n"));
    QCOMPARE(targetFiles().size(), 1500);
    runOnFolder(m_probe->folderProxy->mapFromSource(root->index()), false);
    QVERIFY(report().startsWith("Stream files written: 1\n"));
    QCOMPARE(contentOf(inTarget("top.stream")), (bucket + "/top.mxf").toUtf8());
    m_server.command("fault", {{"contains", "/many"}, {"times", 0}, {"status", 403}});
    runOnFolder(m_probe->folderProxy->mapFromSource(root->index()), false);
    QVERIFY(report().startsWith("Nothing was written: the folder could not be listed completely."));

    // A repository, whatever the box shows.
    init();
    selectFlow("v1.0", "id");
    m_probe->ui.combo_URL->setCurrentIndex(1);
    emit m_probe->window.finished(nullptr, true);
    QTRY_VERIFY(m_probe->ui.treeView->model() == m_probe->folderProxy);
    runOnFolder(m_probe->folderProxy->index(0, 0), false);
    QVERIFY(report().startsWith("Stream files written: 1\n"));
    QCOMPARE(contentOf(inTarget("v1.0.stream")), (kRepository + "/Prod/flows/id").toUtf8());
}

void ActionsTest::stoppedFolder()
{
    QTemporaryDir folder;
    for (int i = 0; i < 3000; ++i)
        QVERIFY(fill(folder.filePath(QString::number(i)), {}));
    const QModelIndex local = m_probe->driveModel->index(folder.path());
    runOnFolder(local, true);
    QVERIFY(!folderAction(false)->isEnabled());
    while (targetFiles().size() < 10) // before it is done, so without an event loop
        QThread::usleep(100);
    dialogs().value(0)->findChild<QPushButton *>()->click();
    const QString text = report();
    const int written = targetFiles().size();
    QVERIFY2(text.contains(QString("\n\nStopped: %1 of 3,000 files were left out.")
                               .arg(QLocale().toString(3000 - written))),
             text.toUtf8());
    QTRY_VERIFY(dialogs().isEmpty());
    runOnFolder(local, false);
    m_probe.reset(); // closes the window while it goes on
}

PELLORY_TEST_MAIN(ActionsTest, QApplication)
#include "tst_actions.moc"
