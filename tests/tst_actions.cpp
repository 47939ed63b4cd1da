// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "windowprobe.h"

#include "openfiles.h"
#include "streamcontent.h"
#include "testmain.h"
#include "testserver.h"
#include "treeitems.h"
#include "treesortfilterproxymodel.h"

#include <QJsonObject>
#include <QLabel>
#include <QProgressDialog>
#include <QStandardItemModel>

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
    void streamFiles_data();
    void streamFiles();
    void selectionOutlivesConnect();
    void localizes_data();
    void localizes();
    void progress();
    void closing();

private:
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

void ActionsTest::streamFiles_data()
{
    QTest::addColumn<bool>("flow");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("address");
    const auto file = [](const char *tag, const QString &name, const QString &path,
                         const QString &expected) {
        QTest::newRow(tag) << false << name << path << expected << path;
    };
    file("local", "für a.mov", "/médias/für a.mov", "für a.stream");
    file("dot first", ".hidden.mxf", "/.hidden.mxf", ".stream");
    file("separators in the name", "a\\b/c.mxf", s3("a\\b/c.mxf"), "a_b_c.stream");
    const auto flow = [](const char *tag, const QString &label, const QString &expected) {
        QTest::newRow(tag) << true << "id.1" << label << expected
                           << kRepository + "/Prod/flows/id.1";
    };
    flow("flow that leads out", "../../up\\a", ".._.._up_a.stream");
    flow("flow without a label", "", ".stream");
}

void ActionsTest::streamFiles()
{
    QFETCH(bool, flow);
    QFETCH(QString, name);
    QFETCH(QString, path);
    QFETCH(QString, file);
    QFETCH(QString, address);
    if (flow) {
        selectFlow(path, name);
    } else {
        m_probe->selectedName = name;
        m_probe->selectedPath = path;
    }
    m_probe->ui.button_MakeStream->click();
    QCOMPARE(targetFiles(), QStringList{file});
    QCOMPARE(contentOf(inTarget(file)), address.toUtf8());

    m_probe->ui.combo_TargetDir->setEditText(m_target->path() + '\\');
    m_probe->ui.button_EncryptStream->click();
    QCOMPARE(targetFiles(), QStringList{file});
    QCOMPARE(decoded(contentOf(inTarget(file))), address);
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

void ActionsTest::localizes_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("file"); // empty: nothing is written
    QTest::newRow("object") << "a/b\\c.d.mxf" << s3("small.mxf") << "a_b_c.d.mxf";
    QTest::newRow("local") << "file" << QCoreApplication::applicationFilePath() << "file";
    QTest::newRow("missing object") << "none" << s3("none") << "";
    QTest::newRow("folder above") << ".." << s3("small.mxf") << "";
}

void ActionsTest::localizes()
{
    QFETCH(QString, name);
    QFETCH(QString, path);
    QFETCH(QString, file);
    localize(name, path);
    QTRY_VERIFY(dialogs().isEmpty());
    QCOMPARE(targetFiles().join('|'), file);
    if (file.isEmpty())
        return;
    const QByteArray expected =
        path.startsWith("s3://") ? TestServer::content(0, kSmall) : contentOf(path);
    QVERIFY(contentOf(inTarget(file)) == expected);

    QFile existing(inTarget(file));
    QVERIFY(existing.open(QIODevice::WriteOnly) && existing.write("kept") == 4);
    existing.close();
    m_probe->ui.combo_TargetDir->setEditText(m_target->path() + '\\');
    localize(name, path);
    QTRY_VERIFY(dialogs().isEmpty());
    QCOMPARE(targetFiles().join('|'), file);
    QCOMPARE(contentOf(existing.fileName()), QByteArray("kept"));
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

PELLORY_TEST_MAIN(ActionsTest, QApplication)
#include "tst_actions.moc"
