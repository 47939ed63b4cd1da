// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "streamcontent.h"
#include "windowprobe.h"

#include "testmain.h"
#include "treeitems.h"
#include "treesortfilterproxymodel.h"
#include "windowsettings.h"

#include <QFileSystemModel>
#include <QStandardItemModel>

class MainWindowTest : public QObject
{
    Q_OBJECT
private slots:
    void init() { WindowSettings().clear(); }
    void startAndExit();
    void localClicks();
    void remoteClicks();
    void targetDirectories();
    void settingsFile();
    void typedTargets();
};

void MainWindowTest::startAndExit()
{
    MainWindowProbe probe;
    const Ui_MainWindow &ui = probe.ui;
    probe.window.show();
    QCOMPARE(probe.window.windowTitle(), QString("Pellory"));
    QTRY_COMPARE(ui.treeView->model()->rowCount(), QDir::drives().size());
    QVERIFY(!ui.fileView->model());
    for (const QPushButton *button : ui.centralwidget->findChildren<QPushButton *>())
        QCOMPARE(button->isVisible(), button != ui.button_PartialFile);
    ui.button_Params->click();
    ui.button_URL_Remove->click();
    QVERIFY(probe.window.findChildren<QDialog *>().isEmpty());
    QCOMPARE(probe.urlTexts(), QStringList{probe.driveModel->myComputer().toString()});
    QCOMPARE(ui.textbox_Status->height(), 20);
    emit probe.window.updateStatus("Adding: b//<b>x</b>");
    QTRY_COMPARE(ui.textbox_Status->toPlainText(), QString("Count: 1 | Adding: b//<b>x</b>"));
    QTimer::singleShot(0, ui.button_Exit, &QPushButton::click);
    QTimer::singleShot(10'000, qApp, [] { QCoreApplication::exit(1); });
    QCOMPARE(QCoreApplication::exec(), 0);
}

void MainWindowTest::localClicks()
{
    QTemporaryDir folder;
    QVERIFY(QFile(folder.filePath("clip.final.mxf")).open(QIODevice::WriteOnly));
    QVERIFY(QDir(folder.path()).mkdir("sub"));
    MainWindowProbe probe;
    QTreeView *files = probe.ui.fileView;
    const QModelIndex shown = probe.driveModel->index(folder.path());
    for (int round = 0; round < 2; ++round) {
        emit probe.ui.treeView->clicked(shown);
        QTRY_COMPARE(files->model()->rowCount(files->rootIndex()), 1);
    }
    QCOMPARE(probe.window.findChildren<QFileSystemModel *>().size(), 2);
    emit files->clicked(files->model()->index(0, 3, files->rootIndex()));
    emit files->clicked(QModelIndex());
    QCOMPARE(probe.selectedName, QString("clip.final.mxf"));
    QCOMPARE(probe.selectedPath, folder.filePath("clip.final.mxf"));
#ifndef Q_OS_WIN // which does not remove a folder that is shown
    QVERIFY(folder.remove());
    emit probe.ui.treeView->clicked(shown);
    QVERIFY(!files->model());
#endif
}

void MainWindowTest::remoteClicks()
{
    MainWindowProbe probe;
    resetForS3(probe.treeModel);
    const QString address("s3://AK:SK@localhost/rushes");
    QStandardItem *root = makeRootItem("rushes", address.split('/'), address, {});
    QStandardItem *folder = makeEntryItem(address + "/folder", false, {});
    QStandardItem *empty = makeEntryItem(address + "/void", false, {});
    markListed(empty);
    root->appendRows({folder, empty});
    probe.treeModel->appendRow(root);
    probe.setBrowsing(false, false);
    emit probe.window.finished(nullptr, true);
    QTreeView *tree = probe.ui.treeView;
    QTRY_COMPARE(tree->model(), static_cast<QAbstractItemModel *>(probe.folderProxy));
    probe.window.show();
    const QModelIndex top = probe.folderProxy->index(0, 0);
    for (const bool expanded : {true, false}) {
        const QPoint place = tree->visualRect(top).center();
        QTest::mouseClick(tree->viewport(), Qt::LeftButton, {}, place);
        QTest::mouseDClick(tree->viewport(), Qt::LeftButton, {}, place);
        QCOMPARE(tree->isExpanded(top), expanded);
        QVERIFY(!tree->viewport()->findChild<QLineEdit *>());
    }
    // Opened by a key, it looks the same.
    tree->setColumnWidth(0, 500);
    QTest::keyClick(tree, Qt::Key_Right);
    QVERIFY(tree->isExpanded(top) && tree->columnWidth(0) < 500);

    // The end of a folder's listing shows its files, whatever was clicked meanwhile.
    QTreeView *files = probe.ui.fileView;
    folder->appendRow(makeEntryItem(address + "/folder/z", true, {}));
    emit probe.window.finished(folder, false);
    QTRY_VERIFY(files->model() && files->model()->index(0, 0, files->rootIndex()).data() == "z");
    QCOMPARE(tree->currentIndex().data().toString(), QString("folder"));
    // Neither a drag nor a menu leaves the tree on another folder than the one that is shown.
    const QModelIndex other = probe.folderProxy->mapFromSource(empty->index());
    const QPoint place = tree->visualRect(other).center();
    QTest::mousePress(tree->viewport(), Qt::RightButton, {}, place);
    QCOMPARE(tree->currentIndex(), other);
    QTest::mouseRelease(tree->viewport(), Qt::RightButton, {}, place);
    QTRY_COMPARE(tree->currentIndex().data().toString(), QString("folder"));
    QTest::mouseClick(tree->viewport(), Qt::LeftButton, {}, place);
    QTest::qWait(1);
    QCOMPARE(tree->currentIndex(), other);
    QVERIFY(!files->model());
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

// Typing changes no letter of what was typed, whatever is kept, and nor does leaving the box. The
// keys go where a person's would: to the list of what fits while it is open.
void MainWindowTest::typedTargets()
{
    MainWindowProbe probe;
    probe.window.show();
    QVERIFY(QTest::qWaitForWindowActive(&probe.window));
    QComboBox *box = probe.ui.combo_TargetDir;
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
        QVERIFY2(probe.targets() == (isAdded ? kept + QStringList{text} : kept), typed);
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

PELLORY_TEST_MAIN(MainWindowTest, QApplication)
#include "tst_mainwindow.moc"
