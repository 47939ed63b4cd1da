// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// The window: what it shows and keeps, what the actions act on, and what it tells of it beforehand.
#include "windowprobe.h"

#include "targetlook.h"
#include "treeitems.h"
#include "treesortfilterproxymodel.h"
#include "treeviews.h"
#include "windowsettings.h"

static const QString kBucket("s3://AK:SK@localhost/rushes");

class MainWindowTest : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void startAndExit();
    void localClicks();
    void remoteClicks();
    void targetDirectories();
    void settingsFile();
    void typedTargets();
    void followsHighlight();
    void previews();
    void hangingFolder();
    void finder();

private:
    void showLocal()
    {
        QTreeView *tree = m_probe->ui.treeView;
        tree->setCurrentIndex(m_probe->driveModel->index(m_folder->path()));
        QTest::keyClick(tree, Qt::Key_Space);
        QTRY_VERIFY(m_files->model() && m_files->model()->rowCount(m_files->rootIndex()) == 3);
    }
    void showBucket()
    {
        m_probe->treeModel->clear();
        QStandardItem *root = makeRootItem("rushes", kBucket.split('/'), kBucket, {});
        for (const char *name : {"a.mxf", "b.mxf", "c.mxf"})
            root->appendRow(makeEntryItem(kBucket + '/' + name, true, {}));
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

void MainWindowTest::init()
{
    WindowSettings().clear();
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

void MainWindowTest::startAndExit()
{
    MainWindowProbe &probe = *m_probe;
    const Ui_MainWindow &ui = probe.ui;
    QCOMPARE(probe.window.windowTitle(), QString("Pellory"));
    QCOMPARE(probe.window.size(), QSize(868, 600));
    QTRY_COMPARE(ui.treeView->model()->rowCount(), QDir::drives().size());
    QVERIFY(!ui.fileView->model());
    for (const QPushButton *button : ui.centralwidget->findChildren<QPushButton *>())
        QCOMPARE(button->isVisible(), button != ui.button_PartialFile);
    ui.button_Params->click();
    ui.button_URL_Remove->click();
    QVERIFY(probe.window.findChildren<QDialog *>().isEmpty());
    QCOMPARE(probe.urlTexts(), QStringList{probe.driveModel->myComputer().toString()});
    QCOMPARE(ui.textbox_Status->height(), 20);
    for (int i = 0; i < 99; ++i)
        emit probe.window.updateStatus("Adding: b//<b>x</b>");
    QTRY_COMPARE(ui.textbox_Status->toPlainText(), QString("Count: 99 | Adding: b//<b>x</b>"));
    QTimer::singleShot(0, ui.button_Exit, &QPushButton::click);
    QTimer::singleShot(10'000, qApp, [] { QCoreApplication::exit(1); });
    QCOMPARE(QCoreApplication::exec(), 0);
}

// Files alone; one whose name the column cuts is told whole, as it is.
void MainWindowTest::localClicks()
{
    const QString name = "&amp; " + QString(100, 'x'); // found by typing, too
    QVERIFY(QDir(m_folder->path()).mkdir("sub") &&
            QFile::rename(m_folder->filePath("c.mxf"), m_folder->filePath(name)));
    showLocal();
    m_files->setColumnWidth(1, 77);
    showLocal();
    QCOMPARE(m_probe->window.findChildren<QFileSystemModel *>().size(), 2);
    QCOMPARE(m_files->columnWidth(1), 77);
    const QModelIndex row = m_probe->row(m_files, name);
    const QPoint place = m_files->visualRect(row).center();
    QHelpEvent event(QEvent::ToolTip, place, m_files->viewport()->mapToGlobal(place));
    QApplication::sendEvent(m_files->viewport(), &event);
    QTextDocument tip;
    tip.setHtml(QToolTip::text());
    QCOMPARE(tip.toPlainText().remove(QChar(0x200b)), name);
    QApplication::setKeyboardInputInterval(30'000); // however slow the machine is
    const QSignalSpy clicks(m_files, &QTreeView::clicked);
    QTest::keyClicks(m_files, "&amp; x");
    QVERIFY(m_files->currentIndex() == row && clicks.isEmpty());
    emit m_files->clicked(row.siblingAtColumn(3));
    emit m_files->clicked(QModelIndex());
    QCOMPARE(m_probe->selectedName, name);
    QCOMPARE(m_probe->selectedPath, m_folder->filePath(name));
#ifndef Q_OS_WIN // which does not remove a folder that is shown
    QVERIFY(m_folder->remove());
    emit m_probe->ui.treeView->clicked(m_probe->driveModel->index(m_folder->path()));
    QVERIFY(!m_files->model());
#endif
}

void MainWindowTest::remoteClicks()
{
    showBucket();
    MainWindowProbe &probe = *m_probe;
    QStandardItem *folder = makeEntryItem(kBucket + "/folder", false, {});
    QStandardItem *empty = makeEntryItem(kBucket + "/void", false, {});
    markListed(empty);
    probe.treeModel->item(0)->appendRows({folder, empty});
    QTreeView *tree = probe.ui.treeView;
    const QModelIndex top = probe.folderProxy->index(0, 0);
    for (const bool expanded : {true, false}) {
        const QPoint place = tree->visualRect(top).center();
        QTest::mouseClick(tree->viewport(), Qt::LeftButton, {}, place);
        QTest::mouseDClick(tree->viewport(), Qt::LeftButton, {}, place);
        QCOMPARE(tree->isExpanded(top), expanded);
        QVERIFY(!tree->viewport()->findChild<QLineEdit *>() && tree->model()->rowCount(top) == 2);
    }
    // Opened by a key, it looks the same.
    tree->setColumnWidth(0, 500);
    QTest::keyClick(tree, Qt::Key_Right);
    QVERIFY(tree->isExpanded(top) && tree->columnWidth(0) < 500);

    // The end of a folder's listing shows its files, whatever was clicked meanwhile.
    folder->appendRow(makeEntryItem(kBucket + "/folder/z", true, {}));
    emit probe.window.finished(folder, false);
    QTRY_VERIFY(m_files->model() &&
                m_files->model()->index(0, 0, m_files->rootIndex()).data() == "z");
    QCOMPARE(tree->currentIndex().data().toString(), QString("folder"));
    // Neither a drag nor a menu leaves the tree on another folder than the one that is shown.
    const QModelIndex other = probe.folderProxy->mapFromSource(empty->index());
    const QPoint place = tree->visualRect(other).center();
    QTest::mousePress(tree->viewport(), Qt::RightButton, {}, place);
    QCOMPARE(tree->currentIndex(), other);
    QTest::mouseRelease(tree->viewport(), Qt::RightButton, {}, place);
    QTRY_COMPARE(tree->currentIndex().data().toString(), QString("folder"));
    QTest::mouseClick(tree->viewport(), Qt::LeftButton, {}, place);
    bool hasTurned = false;
    QTimer::singleShot(0, [&] { hasTurned = true; }); // behind what would move it
    QTRY_VERIFY(hasTurned);
    QCOMPARE(tree->currentIndex(), other);
    QVERIFY(!m_files->model());

    // By itself the proxy filters the whole tree.
    TreeSortFilterProxyModel whole(fileKind);
    whole.setSourceModel(probe.treeModel);
    for (const auto &[filter, rows] : {std::pair("", 4), {"rush", 3}, {"old", 1}, {"RUSH", 0}}) {
        whole.setFilterFixedString(filter);
        QCOMPARE(whole.rowCount(whole.index(0, 0)), rows);
    }
}

void MainWindowTest::targetDirectories()
{
    const auto stored = [] { return WindowSettings().value("TargetDirectories").toStringList(); };
    {
        const MainWindowProbe first;
        QCOMPARE(first.targets(), (QStringList{QDir::homePath() + "/Documents", QDir::homePath()}));
        QCOMPARE(first.ui.combo_TargetDir->currentIndex(), 0);
        QVERIFY(stored().isEmpty());
    }
    // Texts that the settings file has to quote, and an entry that stands there twice.
    QStringList directories{"C:\\a, b", "x;y=\"z\"", " @Invalid() ", "ü/漢", "/A", "/A"};
    WindowSettings().setValue("TargetDirectories", directories);
    for (const QString text : {"/new", ""}) {
        const MainWindowProbe restarted;
        QCOMPARE(restarted.targets(), directories);
        restarted.ui.combo_TargetDir->setEditText(text);
        QTest::keyClick(restarted.ui.combo_TargetDir, Qt::Key_Return);
        directories += text;
        QCOMPARE(stored(), directories);
    }
    const MainWindowProbe probe;
    for (const QString text : {"/NEW", "/new"}) {
        probe.ui.combo_TargetDir->setEditText(text);
        probe.ui.button_TargetDir_Remove->click();
        directories.removeOne(text);
        QCOMPARE(stored(), directories);
    }
}

// What Qt 5 wrote in escapes, and what it and Qt 6 write now: the same bytes.
void MainWindowTest::settingsFile()
{
#ifndef Q_OS_WIN // has a registry
    const QByteArray now(
        "[General]\nTargetDirectories=/Käse, /漢😀a, \"C:\\\\b, c\"\n\n[Window]\n"
        "Maximized=true\nPlace=@Rect(1 2 300 400)\ntreeView\\columnsLocal=9, 8\n"
        "treeView\\columnsS3=@Variant(\\0\\0\\0\\t\\0\\0\\0\\x1\\0\\0\\0\\x2\\0\\0\\0{)\n");
    QByteArray before = now;
    before.replace("ä", "\\xe4").replace("漢😀a", "\\x6f22\\xd83d\\xde00\\x61");
    for (const QByteArray &form : {before, now}) {
        QVERIFY(fill(WindowSettings().fileName(), form));
        MainWindowProbe probe;
        QCOMPARE(probe.targets(), (QStringList{"/Käse", "/漢😀a", "C:\\b, c"}));
        QCOMPARE(WindowSettings().value("Window/Place").toRect(), QRect(1, 2, 300, 400));
        QCOMPARE(WindowSettings().value("Window/treeView/columnsS3").toList(), QVariantList{123});
        probe.ui.combo_TargetDir->setEditText("none");
        probe.ui.button_TargetDir_Remove->click();
        QCOMPARE(contentOf(WindowSettings().fileName()), now);
    }
#endif
}

// Typing changes no letter of what was typed, whatever is kept, and nor does leaving the box. The
// keys go where a person's would: to the list of what fits while it is open.
void MainWindowTest::typedTargets()
{
    QComboBox *box = m_probe->ui.combo_TargetDir;
    // What is typed, the keys after it, the text that it comes to and whether that is added.
    const std::tuple<const char *, QList<Qt::Key>, QString, bool> rows[] = {
        {"/keep", {Qt::Key_Return}, "/keep", true},
        {"/KEEP/Folder", {Qt::Key_Return}, "/keep/folder", false},
        {"/kee", {Qt::Key_Escape, Qt::Key_Tab}, "/kee", false},
        {"/keep/", {Qt::Key_Down, Qt::Key_Return}, "/keep/folder", false}};
    for (const auto &[typed, keys, text, isAdded] : rows) {
        const QStringList kept{"/keep/folder", "/keep/other"};
        box->clear();
        box->addItems(kept);
        box->setFocus();
        box->clearEditText();
        const auto press = [&](auto key) {
            QWidget *popup = QApplication::activePopupWidget();
            QTest::keyClick(popup ? popup : box, key);
        };
        for (const char *letter = typed; *letter; ++letter) {
            press(*letter);
            QVERIFY2(box->currentText() + (letter + 1) == typed, typed);
        }
        for (const Qt::Key key : keys)
            press(key);
        QVERIFY2(box->currentText() == text, typed);
        QVERIFY2(m_probe->targets() == (isAdded ? kept + QStringList{text} : kept), typed);
    }
    box->lineEdit()->actions().last()->trigger(); // "Browse..."
    emit m_probe->dialog<QFileDialog>()->fileSelected("/chosen");
    QVERIFY(box->currentText().endsWith("chosen"));
}

void MainWindowTest::followsHighlight()
{
    showLocal();
    m_probe->click(m_files, "a.mxf");
    QTest::keyClick(m_files, Qt::Key_Down);
    m_probe->ui.button_MakeStream->click();
    QCOMPARE(contentOf(inTarget("b.stream")), m_folder->filePath("b.mxf").toUtf8());
    m_probe->runActions(m_files, "Localize File");
    QTRY_COMPARE(contentOf(inTarget("b.mxf")), QByteArray("b.mxf"));
    // The selection outlives its row.
    QVERIFY(QFile::remove(m_folder->filePath("b.mxf")));
    QTRY_COMPARE(m_files->model()->rowCount(m_files->rootIndex()), 2);
    QVERIFY(!m_files->selectionModel()->hasSelection());

    showBucket();
    m_probe->ui.combo_URL->setFocus();
    m_files->setFocus(Qt::TabFocusReason);
    QCOMPARE(m_probe->selectedPath, m_folder->filePath("b.mxf")); // focus alone highlights nothing
    m_probe->click(m_files, "c.mxf", Qt::RightButton);
    m_probe->runActions(m_files, "Copy Name");
    QCOMPARE(QGuiApplication::clipboard()->text(), QString("c.mxf"));
    m_probe->runActions(m_files, "Copy Address");
    QCOMPARE(QGuiApplication::clipboard()->text(), QString("s3://localhost/rushes/c.mxf"));
    m_probe->runActions(m_files, "Encrypt Stream File");
    QCOMPARE(decoded(contentOf(inTarget("c.stream"))), kBucket + "/c.mxf");
}

void MainWindowTest::previews()
{
    const QString target = m_target->path() + '/';
    const QString noFolder =
        "Nothing will happen: the target s3://nas.local/b is not a folder that is there.";
    const QString nothing = "Nothing will happen: ", noFile = nothing + "no file is selected.";
    const QString noTarget = nothing + "there is no target folder.";
    const QString isThere = "\nA file of this name is already there and will be replaced.";
    const QString isKept = '\n' + nothing + "a file of this name is already there and is kept.";
    QVERIFY(fill(inTarget("b.stream"), "") && fill(inTarget("c.mxf"), ""));
    const struct
    {
        QString file, address, target, make, localize;
    } rows[] = {
        {"", "", target, noFile, noFile},
        {"a.mxf", "/m/a.mxf", "", noTarget, noTarget},
        {"b.mxf", "/m/b.mxf", target, "Writes " + target + "b.stream\nfor /m/b.mxf" + isThere,
         "Copies /m/b.mxf\nto " + target + "b.mxf"},
        {"c.mxf", "/m/c.mxf", target, "Writes " + target + "c.stream\nfor /m/c.mxf",
         "Copies /m/c.mxf\nto " + target + "c.mxf" + isKept},
        {"a.mxf", "/m/a.mxf", "s3://AK:SK@nas.local/b", noFolder, noFolder},
        {"&lt;a.b.mxf", "s3://AK:S/e:c@r@nas.local:9000/rushes/day 1/&lt;a.b.mxf",
         m_target->path() + '\\',
         "Writes " + target + "&lt;a.stream\nfor s3://nas.local:9000/rushes/day 1/&lt;a.b.mxf",
         "Copies s3://nas.local:9000/rushes/day 1/&lt;a.b.mxf\nto " + target + "&lt;a.b.mxf"},
    };
    const Ui_MainWindow &ui = m_probe->ui;
    const auto told = [](const QString &text) { return QDir::fromNativeSeparators(text); };
    for (const auto &row : rows) {
        m_probe->selectedName = row.file;
        m_probe->selectedPath = row.address;
        for (const QString &text : {QString("/"), row.target}) // a change tells it
            ui.combo_TargetDir->setEditText(text);
        QTRY_COMPARE(told(ui.button_MakeStream->accessibleDescription()), row.make);
        QCOMPARE(told(ui.button_LocalizeFile->accessibleDescription()), row.localize);
        QCOMPARE(told(ui.button_EncryptStream->accessibleDescription()),
                 QString(row.make).replace("\nfor", ", encrypted,\nfor"));
        const QString escaped = row.make.section('\n', 0, 0).toHtmlEscaped();
        QVERIFY(told(ui.button_MakeStream->toolTip()).contains(escaped));
        const QAction *mark = ui.combo_TargetDir->lineEdit()->actions().first();
        QCOMPARE(mark->isVisible(), row.make == noFolder);
    }
}

// A share that is gone, and folders that are not.
void MainWindowTest::hangingFolder()
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
    QTest::qWait(2100); // the limit of those who have answered is over
    look.ask({"here", "", ""});
    QTRY_COMPARE(answers.last(), QString("here known"));
}

void MainWindowTest::finder()
{
    showBucket();
    QList<QStandardItem *> items;
    for (int i = 0; i < 100'000; ++i)
        items.append(makeEntryItem(kBucket + QString("/n%1").arg(i), true, {}));
    m_probe->treeModel->item(0)->appendRows(items);
    QTest::keyClick(&m_probe->window, Qt::Key_F, Qt::ControlModifier);
    auto *field = m_files->findChild<QLineEdit *>();
    QVERIFY(field && field->hasFocus());
    QTest::keyClicks(field, "N99999");
    QTRY_COMPARE(m_probe->selectedName, QString("n99999"));
    const QRect row = m_files->visualRect(m_files->currentIndex());
    const QRect line = field->parentWidget()->geometry();
    QVERIFY(!row.translated(m_files->viewport()->pos()).intersects(line));
    QTest::keyClick(field, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClicks(field, "mxf"); // begins again at the top
    QTRY_COMPARE(m_probe->selectedName, QString("a.mxf"));
    QTest::keyClick(field, Qt::Key_Return);
    QTRY_COMPARE(m_probe->selectedName, QString("b.mxf"));
    QTest::keyClicks(field, "?");
    QTRY_VERIFY(m_files->findChild<QLabel *>("label_FindResult")->text() == "Not found");
    QTest::keyClicks(field, "?"); // while it goes on, another folder comes
    showModel(m_files, nullptr);
    QTRY_VERIFY(m_files->findChild<QLabel *>("label_FindResult")->text() == "Not found");
    QTest::keyClick(field, Qt::Key_Escape);
    QVERIFY(!field->isVisible() && m_files->hasFocus());
    QCOMPARE(m_probe->selectedName, QString("b.mxf"));
}

PELLORY_TEST_MAIN(MainWindowTest, QApplication)
#include "tst_mainwindow.moc"
