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
#include <QFileDialog>
#include <QFileSystemModel>
#include <QLabel>
#include <QMenu>
#include <QSemaphore>
#include <QStandardItemModel>

class SelectionTest : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void followsHighlight();
    void outlivesItsRow();
    void flowOfAnotherRepository();
    void previews();
    void hangingFolder();
    void contextMenu();
    void targetBox();
    void finder();

private:
    QAction *action(const QString &text) const
    {
        for (QAction *candidate : m_files->actions()) {
            if (candidate->text() == text)
                return candidate;
        }
        return nullptr;
    }
    QModelIndex row(const QString &name) const
    {
        const QModelIndexList found = m_files->model()->match(
            m_files->model()->index(0, 0, m_files->rootIndex()), Qt::DisplayRole, name, 1);
        return found.value(0);
    }
    QPoint place(const QString &name) const { return m_files->visualRect(row(name)).center(); }
    void press(const QString &name, Qt::MouseButton button = Qt::LeftButton)
    {
        QTest::mousePress(m_files->viewport(), button, {}, place(name));
    }
    void release(const QString &name, Qt::MouseButton button = Qt::LeftButton)
    {
        QTest::mouseRelease(m_files->viewport(), button, {}, place(name));
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
        QTRY_COMPARE(m_probe->ui.treeView->model(),
                     static_cast<QAbstractItemModel *>(m_probe->folderProxy));
        emit m_probe->ui.treeView->clicked(m_probe->folderProxy->index(0, 0));
    }

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
    const struct
    {
        const char *name;
        std::function<void()> move;
    } ways[] = {
        {"key", [&] { QTest::keyClick(m_files, Qt::Key_Down); }},
        {"type-ahead", [&] { QTest::keyClick(m_files, 'b'); }},
        {"right button",
         [&] { press("b.mxf", Qt::RightButton), release("b.mxf", Qt::RightButton); }},
        {"drag",
         [&] {
             press("a.mxf");
             QMouseEvent move(QEvent::MouseMove, place("b.mxf"), Qt::NoButton, Qt::LeftButton, {});
             QApplication::sendEvent(m_files->viewport(), &move);
             release("b.mxf");
         }},
        {"screen reader",
         [&] {
             m_files->selectionModel()->select(row("b.mxf"), QItemSelectionModel::ClearAndSelect |
                                                                 QItemSelectionModel::Rows);
         }},
    };
    for (const bool local : {true, false}) {
        local ? showLocal() : showBucket();
        for (const auto &way : ways) {
            press("a.mxf"), release("a.mxf");
            m_files->setFocus();
            QCOMPARE(m_probe->selectedName, QString("a.mxf"));
            way.move();
            QVERIFY2(m_probe->selectedName == "b.mxf" && m_probe->selectedPath.endsWith("/b.mxf"),
                     way.name);
            m_probe->ui.button_MakeStream->click();
            QVERIFY2(QFile::remove(m_target->filePath("b.stream")), way.name);
        }
    }
    // Focus alone highlights nothing.
    showLocal();
    m_probe->ui.combo_URL->setFocus();
    m_files->setFocus(Qt::TabFocusReason);
    QCOMPARE(m_probe->selectedName, QString("b.mxf"));
    QVERIFY(m_probe->selectedPath.startsWith("s3://"));
}

void SelectionTest::outlivesItsRow()
{
    showLocal();
    press("b.mxf"), release("b.mxf");
    QVERIFY(QFile::remove(m_folder->filePath("b.mxf")));
    QTRY_COMPARE(m_files->model()->rowCount(m_files->rootIndex()), 2);
    QCOMPARE(m_probe->selectedName, QString("b.mxf"));
    QVERIFY(!m_files->selectionModel()->hasSelection());
    press("c.mxf"), release("c.mxf");
    QCOMPARE(m_probe->selectedName, QString("c.mxf"));

    // Neither the end of the model nor the filter of the next folder selects anything.
    showBucket();
    QCOMPARE(m_probe->selectedPath, m_folder->filePath("c.mxf"));
    press("a.mxf"), release("a.mxf");
    m_probe->fileProxy->setFilterFixedString("elsewhere");
    m_probe->treeModel->clear();
    QCOMPARE(m_probe->selectedName, QString("a.mxf"));
}

void SelectionTest::flowOfAnotherRepository()
{
    const QString mine("tamss://mine.example.org"), other("tamss://other.example.org");
    QComboBox *box = m_probe->ui.combo_URL;
    box->insertItems(0, {mine, other, "host - bucket"});
    box->setCurrentIndex(0);
    QStandardItem *root = makeRootItem(mine, {}, "mine.example.org", {});
    root->appendRow(makeFlowRow({"label", "id", "", ""}, {}));
    resetForTams(m_probe->treeModel);
    m_probe->treeModel->appendRow(root);
    m_probe->setBrowsing(false, true);
    m_probe->tamsEndpoint = "/Prod/";
    emit m_probe->window.finished(nullptr, true);
    QTRY_VERIFY(m_probe->ui.treeView->model() == m_probe->folderProxy);
    emit m_probe->ui.treeView->clicked(m_probe->folderProxy->index(0, 0));
    press("label"), release("label");

    const struct
    {
        const char *name;
        QString box, endpoint;
        const char *refusal; // empty: the flow's stream file is made
    } rows[] = {
        {"its own", mine, "/Prod/", ""},
        {"another", other, "/Prod/", "Choose tamss://mine.example.org there"},
        {"a bucket", "host - bucket", "/Prod/", ""},
        {"its endpoint changed", mine, "/x/", "Connect to tamss://mine.example.org and select"},
        {"a bucket after that", "host - bucket", "/x/", ""},
        {"the computer after that", box->itemText(3), "/x/", ""},
    };
    for (const auto &row : rows) {
        m_probe->tamsEndpoint = row.endpoint;
        box->setCurrentIndex(-1);
        box->setCurrentText(row.box);
        const QString refusal(row.refusal);
        for (QPushButton *button :
             {m_probe->ui.button_MakeStream, m_probe->ui.button_EncryptStream}) {
            QVERIFY2(button->isEnabled() == refusal.isEmpty(), row.name);
            QVERIFY2(button->accessibleDescription().contains(refusal), row.name);
            button->click();
            const QString path = m_target->filePath("label.stream");
            const QByteArray content = contentOf(path);
            QVERIFY2(QFile::remove(path) == refusal.isEmpty(), row.name);
            QVERIFY2(!refusal.isEmpty() || content.startsWith(":x") ||
                         content == "tamss://mine.example.org/Prod/flows/id",
                     content);
        }
    }
}

void SelectionTest::previews()
{
    const QString target = m_target->path(), missing = target + "/missing";
    const struct
    {
        const char *name;
        QString file, address, target, make, localize;
    } rows[] = {
        {"nothing selected", "", "", target, "Nothing will happen: no file is selected.",
         "Nothing will happen: no file is selected."},
        {"no target", "a.mxf", "/m/a.mxf", "", "Nothing will happen: there is no target folder.",
         "Nothing will happen: there is no target folder."},
        {"target that is not there", "a.mxf", "/m/a.mxf", missing,
         "Nothing will happen: the target " + missing + " is not a folder that is there.",
         "Nothing will happen: the target " + missing + " is not a folder that is there."},
        {"target that is a file", "a.mxf", "/m/a.mxf", m_folder->filePath("a.mxf"),
         "Nothing will happen: the target " + m_folder->filePath("a.mxf") +
             " is not a folder that is there.",
         ""},
        {"local", "&lt;a.b.mxf", "/m/&lt;a.b.mxf", target + '\\',
         "Writes " + target + "/&lt;a.stream\nfor /m/&lt;a.b.mxf",
         "Copies /m/&lt;a.b.mxf\nto " + target + "/&lt;a.b.mxf"},
        {"object", "clip.mxf", "s3://AK:S/e:c@r@nas.local:9000/rushes/day 1/clip.mxf", target,
         "Writes " + target + "/clip.stream\nfor s3://nas.local:9000/rushes/day 1/clip.mxf",
         "Copies s3://nas.local:9000/rushes/day 1/clip.mxf\nto " + target + "/clip.mxf"},
        {"taken", "old.mxf", "/m/old.mxf", target,
         "Writes " + target +
             "/old.stream\nfor /m/old.mxf\n"
             "A file of this name is already there and will be replaced.",
         "Copies /m/old.mxf\nto " + target +
             "/old.mxf\n"
             "Nothing will happen: a file of this name is already there and is kept."},
    };
    for (const char *name : {"old.stream", "old.mxf"})
        QVERIFY(fill(m_target->filePath(name), "old"));
    const Ui_MainWindow &ui = m_probe->ui;
    for (const auto &row : rows) {
        m_probe->selectedName = row.file;
        m_probe->selectedPath = row.address;
        ui.combo_TargetDir->setEditText("other");
        ui.combo_TargetDir->setEditText(row.target);
        const auto told = [](const QWidget *button) {
            return QDir::fromNativeSeparators(button->accessibleDescription());
        };
        QTRY_VERIFY2(!told(ui.button_MakeStream).contains("unknown"), row.name);
        QCOMPARE(told(ui.button_MakeStream), row.make);
        QCOMPARE(told(ui.button_EncryptStream),
                 QString(row.make).replace("\nfor", ", encrypted,\nfor"));
        QVERIFY2(row.localize.isEmpty() || told(ui.button_LocalizeFile) == row.localize, row.name);
        const QString toolTip = QDir::fromNativeSeparators(ui.button_MakeStream->toolTip());
        QVERIFY2(toolTip.contains(row.make.section('\n', 0, 0).toHtmlEscaped()), row.name);
    }
    ui.button_MakeStream->click(); // the last row's
    QVERIFY(QFile::remove(m_target->filePath("old.stream")));
    QEvent enter(QEvent::FocusIn);
    QApplication::sendEvent(ui.button_MakeStream, &enter);
    QTRY_VERIFY(!ui.button_MakeStream->accessibleDescription().contains("already there"));
}

// A share that is gone, and folders that are not.
void SelectionTest::hangingFolder()
{
    QSemaphore gone;
    std::atomic<int> looks{0};
    BackgroundWork work;
    TargetLook look(&work, [&](const TargetQuestion &question) {
        ++looks;
        if (question.folder == "gone")
            gone.acquire();
        TargetAnswer answer;
        answer.isKnown = answer.isFolder = true;
        return answer;
    });
    QStringList answers;
    connect(&look, &TargetLook::answered, this,
            [&](const TargetQuestion &question, const TargetAnswer &answer) {
                answers.append(question.folder + (answer.isKnown ? " known" : " unknown"));
            });
    look.ask({"gone", "1", ""});
    look.ask({"skipped", "", ""});
    look.ask({"here", "", ""});
    QTRY_COMPARE(answers, QStringList{"here known"}); // once the first has been given up
    look.ask({"gone", "2", ""});
    QCOMPARE(answers.last(), QString("gone unknown")); // at once
    QCOMPARE(looks.load(), 2);
    look.ask({"gone", "1", ""});
    gone.release(2);
    QTRY_COMPARE(answers.last(), QString("gone known"));
    look.ask({"gone", "3", ""});
    look.ask({"here", "", ""});
    gone.release(1);
    QTRY_COMPARE(answers.last(), QString("here known"));
    QVERIFY(!answers.contains("skipped known"));
}

void SelectionTest::contextMenu()
{
    for (const char *text :
         {"Make Stream File", "Localize File", "Encrypt Stream File", "Copy Address", "Copy Name"})
        QVERIFY2(action(text) && !action(text)->isEnabled(), text);
    QTRY_VERIFY(action("Open Target Folder")->isEnabled());
    m_probe->ui.combo_TargetDir->setEditText(m_target->filePath("missing"));
    QVERIFY(!action("Open Target Folder")->isEnabled());
    m_probe->ui.combo_TargetDir->setEditText(m_target->path());

    const auto copied = [&](const char *text) {
        action(text)->trigger();
        return QGuiApplication::clipboard()->text();
    };
    showLocal();
    press("b.mxf", Qt::RightButton), release("b.mxf", Qt::RightButton);
    QCOMPARE(copied("Copy Address"), m_folder->filePath("b.mxf"));
    action("Localize File")->trigger();
    QTRY_COMPARE(contentOf(m_target->filePath("b.mxf")), QByteArray("b.mxf"));
    showBucket();
    press("a.mxf"), release("a.mxf");
    QCOMPARE(copied("Copy Address"), QString("s3://localhost/rushes/a.mxf"));
    QCOMPARE(copied("Copy Name"), QString("a.mxf"));
    action("Encrypt Stream File")->trigger();
    QCOMPARE(decoded(contentOf(m_target->filePath("a.stream"))),
             QString("s3://AK:SK@localhost/rushes/a.mxf"));
}

void SelectionTest::targetBox()
{
    QLineEdit *edit = m_probe->ui.combo_TargetDir->lineEdit();
    const auto isMarked = [&] {
        const QList<QAction *> actions = edit->actions();
        return actions.first()->isVisible() && !edit->accessibleDescription().isEmpty();
    };
    const QStringList stored = m_probe->targets();
    edit->setText(m_target->filePath("missing"));
    QTRY_VERIFY(isMarked());
    edit->setText(m_target->path() + '\\');
    QTRY_VERIFY(!isMarked() && m_probe->ui.button_MakeStream->isEnabled());
    edit->setText("s3://AK:SK@localhost/rushes");
    QTRY_VERIFY(isMarked());
    showLocal();
    press("a.mxf"), release("a.mxf");
    const QString told = m_probe->ui.button_MakeStream->toolTip();
    QVERIFY2(told.contains("s3://localhost/rushes") && !told.contains("SK"), told.toUtf8());

    edit->actions().last()->trigger();
    auto *dialog = m_probe->dialog<QFileDialog>();
    QVERIFY(dialog && dialog->fileMode() == QFileDialog::Directory && dialog->isModal());
    emit dialog->fileSelected(m_folder->path());
    dialog->close();
    QCOMPARE(edit->text(), QDir::toNativeSeparators(m_folder->path()));
    QTRY_VERIFY(!isMarked());
    QCOMPARE(m_probe->targets(), stored);

    QContextMenuEvent wanted(QContextMenuEvent::Keyboard, {});
    QApplication::sendEvent(edit, &wanted);
    auto *menu = m_probe->window.findChild<QMenu *>();
    QVERIFY(menu && menu->actions().contains(edit->actions().last()));
    menu->close();
}

void SelectionTest::finder()
{
    showBucket();
    QStandardItem *root = m_probe->treeModel->item(0);
    QList<QStandardItem *> items;
    for (int i = 0; i < 100'000; ++i)
        items.append(makeEntryItem(QString("s3://AK:SK@localhost/rushes/n%1").arg(i), true, {}));
    root->appendRows(items);
    QTest::keyClick(&m_probe->window, Qt::Key_F, Qt::ControlModifier);
    auto *field = m_files->findChild<QLineEdit *>();
    QVERIFY(field && field->hasFocus());
    // And shows it beside the line.
    const auto finds = [&](const QString &name) {
        const bool isFound = QTest::qWaitFor([&] { return m_probe->selectedName == name; });
        const QRect row = m_files->visualRect(m_files->currentIndex());
        const QRect line = field->parentWidget()->geometry();
        return isFound && !row.translated(m_files->viewport()->pos()).intersects(line);
    };
    QTest::keyClicks(field, "N77777");
    QVERIFY(finds("n77777"));
    QTest::keyClick(field, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClicks(field, "N99999");
    QVERIFY(finds("n99999"));
    QTest::keyClick(field, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClicks(field, "mxf"); // begins again at the top
    QVERIFY(finds("a.mxf"));
    for (const char *name : {"b.mxf", "c.mxf", "a.mxf"}) {
        QTest::keyClick(field, Qt::Key_Return);
        QVERIFY2(finds(name), name);
    }
    QTest::keyClicks(field, "?");
    QTRY_VERIFY(m_files->findChild<QLabel *>("label_FindResult")->text() == "Not found");
    QTest::keyClicks(field, "?"); // while it goes on, another folder comes
    showModel(m_files, nullptr);
    QTest::keyClick(field, Qt::Key_Escape);
    QVERIFY(!field->isVisible() && m_files->hasFocus());
    QCOMPARE(m_probe->selectedName, QString("a.mxf"));
}

PELLORY_TEST_MAIN(SelectionTest, QApplication)
#include "tst_selection.moc"
