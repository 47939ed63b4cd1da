// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// What the actions act on, and what the window tells of it beforehand.
#include "windowprobe.h"

#include "streamcontent.h"
#include "targetlook.h"
#include "testmain.h"
#include "treeitems.h"
#include "treesortfilterproxymodel.h"
#include "treeviews.h"

#include <QAction>
#include <QClipboard>
#include <QFileSystemModel>
#include <QLabel>
#include <QSemaphore>
#include <QStandardItemModel>

class SelectionTest : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void followsHighlight();
    void outlivesItsRow();
    void previews();
    void hangingFolder();
    void finder();

private:
    void runFromMenu(const char *text)
    {
        for (QAction *action : m_files->actions()) {
            if (action->isEnabled() && action->text() == text)
                action->trigger();
        }
    }
    void click(const char *name, Qt::MouseButton button = Qt::LeftButton)
    {
        const QAbstractItemModel *model = m_files->model();
        const QModelIndexList found =
            model->match(model->index(0, 0, m_files->rootIndex()), Qt::DisplayRole, name, 1);
        QTest::mouseClick(m_files->viewport(), button, {},
                          m_files->visualRect(found.value(0)).center());
    }
    void showLocal()
    {
        emit m_probe->ui.treeView->clicked(m_probe->driveModel->index(m_folder->path()));
        QTRY_VERIFY(m_files->model() && m_files->model()->rowCount(m_files->rootIndex()) == 3);
    }
    void showBucket()
    {
        const QString address("s3://AK:SK@localhost/rushes");
        resetForS3(m_probe->treeModel);
        QStandardItem *root = makeRootItem("rushes", address.split('/'), address, {});
        for (const char *name : {"a.mxf", "b.mxf", "c.mxf"})
            root->appendRow(makeEntryItem(address + '/' + name, true, {}));
        m_probe->treeModel->appendRow(root);
        m_probe->setBrowsing(false, false);
        showModel(m_files, nullptr); // as "Connect" does
        emit m_probe->window.finished(nullptr, true);
        QTRY_VERIFY(m_probe->ui.treeView->model() == m_probe->folderProxy);
        emit m_probe->ui.treeView->clicked(m_probe->folderProxy->index(0, 0));
    }
    QString inTarget(const char *name) const { return m_target->filePath(name); }

    std::unique_ptr<QTemporaryDir> m_folder, m_target;
    std::unique_ptr<MainWindowProbe> m_probe;
    QTreeView *m_files = nullptr;
};

void SelectionTest::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    m_target = std::make_unique<QTemporaryDir>();
    for (const char *name : {"a.mxf", "b.mxf", "c.mxf"})
        QVERIFY(fill(m_folder->filePath(name), name));
    m_probe = std::make_unique<MainWindowProbe>();
    m_probe->ui.combo_TargetDir->setEditText(m_target->path());
    m_files = m_probe->ui.fileView;
    m_probe->window.show();
    QVERIFY(QTest::qWaitForWindowActive(&m_probe->window));
}

void SelectionTest::followsHighlight()
{
    showLocal();
    click("a.mxf");
    QTest::keyClick(m_files, Qt::Key_Down);
    m_probe->ui.button_MakeStream->click();
    QCOMPARE(contentOf(inTarget("b.stream")), m_folder->filePath("b.mxf").toUtf8());
    runFromMenu("Localize File");
    QTRY_COMPARE(contentOf(inTarget("b.mxf")), QByteArray("b.mxf"));

    showBucket();
    m_probe->ui.combo_URL->setFocus();
    m_files->setFocus(Qt::TabFocusReason);
    QCOMPARE(m_probe->selectedPath, m_folder->filePath("b.mxf")); // focus alone highlights nothing
    click("c.mxf", Qt::RightButton);
    runFromMenu("Copy Name");
    QCOMPARE(QGuiApplication::clipboard()->text(), QString("c.mxf"));
    runFromMenu("Copy Address");
    QCOMPARE(QGuiApplication::clipboard()->text(), QString("s3://localhost/rushes/c.mxf"));
    runFromMenu("Encrypt Stream File");
    QCOMPARE(decoded(contentOf(inTarget("c.stream"))),
             QString("s3://AK:SK@localhost/rushes/c.mxf"));
}

void SelectionTest::outlivesItsRow()
{
    showLocal();
    click("b.mxf");
    QVERIFY(QFile::remove(m_folder->filePath("b.mxf")));
    QTRY_COMPARE(m_files->model()->rowCount(m_files->rootIndex()), 2);
    QCOMPARE(m_probe->selectedName, QString("b.mxf"));
    QVERIFY(!m_files->selectionModel()->hasSelection());

    // Neither the end of the model nor the filter of the next folder selects anything.
    showBucket();
    QCOMPARE(m_probe->selectedPath, m_folder->filePath("b.mxf"));
    click("a.mxf");
    m_probe->fileProxy->setFilterFixedString("elsewhere");
    m_probe->treeModel->clear();
    QCOMPARE(m_probe->selectedName, QString("a.mxf"));
}

void SelectionTest::previews()
{
    const QString target = m_target->path() + '/';
    const QString noFolder =
        "Nothing will happen: the target s3://nas.local/b is not a folder that is there.";
    const struct
    {
        QString file, address, target, make, localize;
    } rows[] = {
        {"a.mxf", "/m/a.mxf", "s3://AK:SK@nas.local/b", noFolder, noFolder},
        {"&lt;a.b.mxf", "s3://AK:S/e:c@r@nas.local:9000/rushes/day 1/&lt;a.b.mxf",
         m_target->path() + '\\',
         "Writes " + target + "&lt;a.stream\nfor s3://nas.local:9000/rushes/day 1/&lt;a.b.mxf",
         "Copies s3://nas.local:9000/rushes/day 1/&lt;a.b.mxf\nto " + target + "&lt;a.b.mxf"},
        {"old.mxf", "/m/old.mxf", m_target->path(),
         "Writes " + target +
             "old.stream\nfor /m/old.mxf\n"
             "A file of this name is already there and will be replaced.",
         "Copies /m/old.mxf\nto " + target +
             "old.mxf\n"
             "Nothing will happen: a file of this name is already there and is kept."},
    };
    QVERIFY(fill(inTarget("old.stream"), "old") && fill(inTarget("old.mxf"), "old"));
    const Ui_MainWindow &ui = m_probe->ui;
    const auto told = [](const QString &text) { return QDir::fromNativeSeparators(text); };
    for (const auto &row : rows) {
        m_probe->selectedName = row.file;
        m_probe->selectedPath = row.address;
        ui.combo_TargetDir->setEditText(row.target);
        QTRY_COMPARE(told(ui.button_MakeStream->accessibleDescription()), row.make);
        QCOMPARE(told(ui.button_LocalizeFile->accessibleDescription()), row.localize);
        QCOMPARE(told(ui.button_EncryptStream->accessibleDescription()),
                 QString(row.make).replace("\nfor", ", encrypted,\nfor"));
        const QString toolTip = told(ui.button_MakeStream->toolTip());
        QVERIFY2(toolTip.contains(row.make.section('\n', 0, 0).toHtmlEscaped()), toolTip.toUtf8());
        const QAction *mark = ui.combo_TargetDir->lineEdit()->actions().first();
        QCOMPARE(mark->isVisible(), row.make == noFolder);
    }
}

// A share that is gone, and folders that are not.
void SelectionTest::hangingFolder()
{
    QSemaphore gone;
    BackgroundWork work;
    TargetLook look(&work, [&](const TargetQuestion &question) {
        if (question.folder == "gone")
            gone.acquire();
        TargetAnswer answer;
        answer.isKnown = true;
        return answer;
    });
    QStringList answers;
    connect(&look, &TargetLook::answered, this,
            [&](const TargetQuestion &question, const TargetAnswer &answer) {
                answers.append(question.folder + (answer.isKnown ? " known" : " unknown"));
            });
    for (const char *folder : {"gone", "skipped", "here"})
        look.ask({folder, "", ""});
    QTRY_COMPARE(answers, QStringList{"here known"}); // once the first has been given up
    look.ask({"gone", "", ""});
    QCOMPARE(answers.last(), QString("gone unknown")); // at once
    gone.release(2);
    QTRY_COMPARE(answers.last(), QString("gone known"));
}

void SelectionTest::finder()
{
    showBucket();
    QList<QStandardItem *> items;
    for (int i = 0; i < 100'000; ++i)
        items.append(makeEntryItem(QString("s3://AK:SK@localhost/rushes/n%1").arg(i), true, {}));
    m_probe->treeModel->item(0)->appendRows(items);
    QTest::keyClick(&m_probe->window, Qt::Key_F, Qt::ControlModifier);
    auto *field = m_files->findChild<QLineEdit *>();
    QVERIFY(field && field->hasFocus());
    // And shows it beside the line.
    const auto finds = [&](const char *name) {
        const bool isFound = QTest::qWaitFor([&] { return m_probe->selectedName == name; });
        const QRect row = m_files->visualRect(m_files->currentIndex());
        const QRect line = field->parentWidget()->geometry();
        return isFound && !row.translated(m_files->viewport()->pos()).intersects(line);
    };
    QTest::keyClicks(field, "N99999");
    QVERIFY(finds("n99999"));
    QTest::keyClick(field, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClicks(field, "mxf"); // begins again at the top
    QVERIFY(finds("a.mxf"));
    QTest::keyClick(field, Qt::Key_Return);
    QVERIFY(finds("b.mxf"));
    QTest::keyClicks(field, "?");
    QTRY_VERIFY(m_files->findChild<QLabel *>("label_FindResult")->text() == "Not found");
    QTest::keyClicks(field, "?"); // while it goes on, another folder comes
    showModel(m_files, nullptr);
    QTest::keyClick(field, Qt::Key_Escape);
    QVERIFY(!field->isVisible() && m_files->hasFocus());
    QCOMPARE(m_probe->selectedName, QString("b.mxf"));
}

PELLORY_TEST_MAIN(SelectionTest, QApplication)
#include "tst_selection.moc"
