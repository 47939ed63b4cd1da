// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "windowprobe.h"

#include "testmain.h"
#include "treeitems.h"
#include "treesortfilterproxymodel.h"

#include <QFileSystemModel>
#include <QSemaphore>
#include <QStandardItemModel>

class MainWindowTest : public QObject
{
    Q_OBJECT
private slots:
    void methodIndices();
    void form();
    void firstStart();
    void localBrowsing();
    void remoteClicks();
    void doubleClick();
    void statusLine();
    void destroyedDuringWork();
};

void MainWindowTest::methodIndices()
{
    const QByteArray expected = R"(
updateStatus(QString) finished(QStandardItem*,bool) on_button_Params_clicked()
on_button_MakeStream_clicked() on_button_LocalizeFile_clicked() on_button_EncryptStream_clicked()
on_button_PartialFile_clicked() on_button_Connect_clicked() on_button_URL_Remove_clicked()
onAddUrl(QString,QString,QString,QString,QString)
onUpdateUrl(QString,QString,QString,QString,URL*,int) on_treeView_clicked(QModelIndex) addTarget()
on_fileView_clicked(QModelIndex) on_button_TargetDir_Remove_clicked()
on_treeView_doubleClicked(QModelIndex) on_updateStatus(QString) on_finished(QStandardItem*,bool)
on_button_Add_clicked() on_button_tams_clicked()
onAddTams(QString,QString,QString,QString,QString))";
    const QMetaObject &meta = MainWindow::staticMetaObject;
    QByteArrayList methods;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
        methods.append(meta.method(i).methodSignature());
    QCOMPARE(methods, expected.simplified().split(' '));
}

// The widgets in the order in which the form makes them: class, name, text, layout, place.
void MainWindowTest::form()
{
    const QString expected = R"(
QLabel label_URL 'URL:' horizontalLayout 0, QComboBox combo_URL '' horizontalLayout 1,
QPushButton button_Params 'Params' horizontalLayout 2,
QPushButton button_Tams 'New Tams' horizontalLayout 3,
QPushButton button_Add 'New S3' horizontalLayout 4,
QPushButton button_Connect 'Connect' horizontalLayout 5,
QPushButton button_URL_Remove 'Remove' horizontalLayout 7,
QTreeView treeView '' horizontalLayout_2 0, QTreeView fileView '' horizontalLayout_2 1,
QTextEdit textbox_Status '' verticalLayout 2,
QLabel label_TargetDir 'Target Dir:' horizontalLayout_3 0,
QComboBox combo_TargetDir '' horizontalLayout_3 1,
QPushButton button_TargetDir_Remove 'Remove' horizontalLayout_3 2,
QPushButton button_EncryptStream 'Encrypt Stream File' gridLayout 1:0,
QPushButton button_PartialFile 'Partial File Restore' gridLayout 1:1,
QPushButton button_Exit 'Exit' gridLayout 1:3,
QPushButton button_LocalizeFile 'Localize File' gridLayout 0:1,
QPushButton button_MakeStream 'Make Stream File' gridLayout 0:0)";
    MainWindowProbe probe;
    const QWidget *parent = probe.ui.centralwidget;
    QStringList found;
    for (auto *widget : parent->findChildren<QWidget *>(QString(), Qt::FindDirectChildrenOnly)) {
        for (const QLayout *layout : parent->findChildren<QLayout *>()) {
            const int index = layout->indexOf(widget);
            QString place = QString::number(index);
            if (const auto *grid = qobject_cast<const QGridLayout *>(layout)) {
                int row = 0, column = 0, rows = 0, columns = 0;
                grid->getItemPosition(index, &row, &column, &rows, &columns);
                place = QString("%1:%2").arg(row).arg(column);
            }
            const QStringList words{widget->metaObject()->className(), widget->objectName(),
                                    "'" + widget->property("text").toString() + "'",
                                    layout->objectName(), place};
            if (index >= 0)
                found.append(words.join(' '));
        }
    }
    QCOMPARE(found.join(", "), expected.simplified());
}

void MainWindowTest::firstStart()
{
    MainWindowProbe probe;
    const Ui_MainWindow &ui = probe.ui;
    probe.window.show();
    QCOMPARE(probe.window.windowTitle(), QString("Pellory"));
    QCOMPARE(probe.window.size(), QSize(868, 600));
    QCOMPARE(ui.button_Add->minimumWidth(), 92); // the style's 80, with spacing and border
    const QString computer = probe.driveModel->myComputer().toString();
    QCOMPARE(probe.urlTexts(), QStringList{computer});
    QCOMPARE(ui.treeView->model(), probe.driveModel);
    QVERIFY(!ui.treeView->rootIndex().isValid());
    QTRY_COMPARE(probe.driveModel->rowCount(), QDir::drives().size());
    QCOMPARE(int(probe.driveModel->filter()), 0x6001);
    QVERIFY(!ui.fileView->model());
    for (const QPushButton *button : ui.centralwidget->findChildren<QPushButton *>())
        QCOMPARE(button->isVisible(), button != ui.button_PartialFile);
    QCOMPARE(ui.textbox_Status->height(), 20);
    QCOMPARE(ui.textbox_Status->geometry().right(), ui.fileView->geometry().right());
    ui.button_Params->click();
    ui.button_URL_Remove->click();
    QVERIFY(probe.window.findChildren<QDialog *>().isEmpty());
    QCOMPARE(probe.urlTexts(), QStringList{computer});
}

void MainWindowTest::localBrowsing()
{
    QTemporaryDir folder;
    QDir(folder.path()).mkdir("sub");
    for (const char *name : {"clip.final.mxf", "notes.txt", "sub/deep.mov"})
        QVERIFY(QFile(folder.filePath(name)).open(QIODevice::WriteOnly));

    MainWindowProbe probe;
    QTreeView *files = probe.ui.fileView;
    const auto rows = [&] { return files->model()->rowCount(files->rootIndex()); };
    emit probe.ui.treeView->clicked(probe.driveModel->index(folder.path()));
    QTRY_COMPARE(rows(), 2);
    emit files->clicked(files->model()->index(0, 3, files->rootIndex()));
    QCOMPARE(probe.selectedName, QString("clip.final.mxf"));
    QCOMPARE(probe.selectedPath, folder.filePath("clip.final.mxf"));

    const QModelIndex sub = probe.driveModel->index(folder.filePath("sub"));
    emit probe.ui.treeView->clicked(sub);
    QTRY_COMPARE(rows(), 1);
    QCOMPARE(probe.window.findChildren<QFileSystemModel *>().size(), 2);
    emit files->clicked(QModelIndex());
    QCOMPARE(probe.selectedName, QString("clip.final.mxf"));

#ifndef Q_OS_WIN // which does not remove a folder that is shown
    const QModelIndex gone = probe.driveModel->index(folder.path());
    QVERIFY(folder.remove());
    emit probe.ui.treeView->clicked(gone);
    QVERIFY(!files->model());
#endif
}

// A bucket with the folders "clip" (one file), "clip/deep" (none yet) and "void" (only a folder).
struct Bucket
{
    explicit Bucket(MainWindowProbe &probe)
    {
        resetForS3(probe.treeModel);
        const QString address("s3://AK:SK@localhost/rushes");
        root = makeRootItem("rushes", address.split('/'), address, {});
        clip = makeEntryItem(address + "/clip", false, {});
        deep = makeEntryItem(address + "/clip/deep", false, {});
        empty = makeEntryItem(address + "/void", false, {});
        markListed(clip);
        markListed(empty);
        clip->appendRows({makeEntryItem(address + "/clip/a.mxf", true, {}), deep});
        root->appendRows({clip, empty, makeEntryItem(address + "/top.mov", true, {})});
        probe.setBrowsing(false, false);
        probe.treeModel->appendRow(root);
        emit probe.window.finished(nullptr, true);
        QTRY_COMPARE(probe.ui.treeView->model(),
                     static_cast<QAbstractItemModel *>(probe.folderProxy));
    }
    QStandardItem *root, *clip, *deep, *empty;
};

void MainWindowTest::remoteClicks()
{
    MainWindowProbe probe;
    const Bucket bucket(probe);
    QTreeView *files = probe.ui.fileView;
    const auto click = [&](const QStandardItem *item) {
        emit probe.ui.treeView->clicked(probe.folderProxy->mapFromSource(item->index()));
    };
    const auto shown = [&] {
        return files->model() ? files->model()->index(0, 0, files->rootIndex()).data().toString()
                              : QString("no model");
    };
    click(bucket.clip);
    QCOMPARE(shown(), QString("a.mxf"));
    click(bucket.empty);
    QCOMPARE(shown(), QString("no model"));
    click(bucket.root);
    QCOMPARE(shown(), QString("top.mov"));

    click(bucket.deep); // not listed yet
    QCOMPARE(shown(), QString("no model"));
    click(bucket.root);

    // The end of a folder's listing shows its files, whatever was clicked meanwhile.
    bucket.deep->appendRow(makeEntryItem("s3://AK:SK@localhost/rushes/clip/deep/z", true, {}));
    emit probe.window.finished(bucket.deep, false);
    QTRY_COMPARE(shown(), QString("z"));
    QTreeView *tree = probe.ui.treeView;
    QCOMPARE(tree->currentIndex().data().toString(), QString("deep"));

    // Neither a drag nor a menu leaves it on another folder than the one that is shown.
    probe.window.show();
    const QModelIndex other = probe.folderProxy->mapFromSource(bucket.empty->index());
    const QPoint place = tree->visualRect(other).center();
    QTest::mousePress(tree->viewport(), Qt::RightButton, {}, place);
    QCOMPARE(tree->currentIndex(), other);
    QTest::mouseRelease(tree->viewport(), Qt::RightButton, {}, place);
    QTRY_COMPARE(tree->currentIndex().data().toString(), QString("deep"));
    QTest::mouseClick(tree->viewport(), Qt::LeftButton, {}, place);
    QTest::qWait(1);
    QCOMPARE(tree->currentIndex(), other);
    QCOMPARE(shown(), QString("no model"));
}

void MainWindowTest::doubleClick()
{
    MainWindowProbe probe;
    const Bucket bucket(probe);
    probe.window.show();
    QTreeView *tree = probe.ui.treeView;
    const QModelIndex root = probe.folderProxy->index(0, 0);
    for (const bool expanded : {true, false}) {
        const QPoint place = tree->visualRect(root).center();
        QTest::mouseClick(tree->viewport(), Qt::LeftButton, {}, place);
        QTest::mouseDClick(tree->viewport(), Qt::LeftButton, {}, place);
        QCOMPARE(tree->isExpanded(root), expanded);
        QVERIFY(!tree->viewport()->findChild<QLineEdit *>());
    }
    // Opened by a key, it looks the same.
    tree->setColumnWidth(0, 500);
    QTest::keyClick(tree, Qt::Key_Right);
    QVERIFY(tree->isExpanded(root) && tree->columnWidth(0) < 500);
}

void MainWindowTest::statusLine()
{
    MainWindowProbe probe;
    for (const char *line : {"Adding: b//<b>x</b>", "Adding: b//y", "Finished"})
        emit probe.window.updateStatus(line);
    QTRY_COMPARE(probe.ui.textbox_Status->toPlainText(), QString("Count: 2 | Finished"));
    emit probe.window.updateStatus("Adding: b//<b>z</b>");
    QTRY_COMPARE(probe.ui.textbox_Status->toPlainText(), QString("Count: 3 | Adding: b//<b>z</b>"));
}

void MainWindowTest::destroyedDuringWork()
{
    for (int round = 0; round < 20; ++round) {
        QSemaphore started;
        std::atomic<int> ended{0};
        int delivered = 0;
        auto probe = std::make_unique<MainWindowProbe>();
        const hq::StopToken first = probe->work.start([&](const BackgroundWork::Link &link) {
            started.release();
            while (hq::sleepUnlessStopped(1000))
                ;
            link.post([&delivered] { ++delivered; });
            ++ended;
        });
        probe->work.start([&](const BackgroundWork::Link &link) {
            started.release();
            while (hq::sleepUnlessStopped(1))
                link.post([&delivered, &probe] { delivered += probe != nullptr; });
            ++ended;
        });
        started.acquire(2);
        if (round % 2) {
            first.stop();
            QTRY_COMPARE(ended.load(), 1);
            QTRY_VERIFY(delivered > 0);
        }
        const int before = delivered;
        probe.reset();
        QCOMPARE(ended.load(), 2);
        QCoreApplication::processEvents();
        QCOMPARE(delivered, before);
    }
}

PELLORY_TEST_MAIN(MainWindowTest, QApplication)
#include "tst_mainwindow.moc"
