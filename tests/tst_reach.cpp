// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// What a person reaches without a mouse, with a screen reader and on other screens.
#include "windowprobe.h"

#include "adddialog.h"
#include "copyprogressdialog.h"
#include "dialogplacement.h"
#include "highdpi.h"
#include "paramdialog.h"
#include "partialrestoredialog.h"
#include "streamcontent.h"
#include "tamsdialog.h"
#include "testmain.h"
#include "testserver.h"
#include "treesortfilterproxymodel.h"
#include "url.h"
#include "warningbox.h"
#include "windowplace.h"

#include <QAccessible>
#include <QDir>
#include <QFileSystemModel>
#include <QHelpEvent>
#include <QJsonObject>
#include <QProgressBar>
#include <QScreen>
#include <QSettings>
#include <QTextDocument>
#include <QToolTip>
#include <QTreeView>

namespace {

const QString kSecret = "ab/c+d@e:f";

QWidget *keyTarget()
{
    QWidget *popup = QApplication::activePopupWidget();
    return popup ? popup : QApplication::focusWidget();
}

void press(Qt::Key key, Qt::KeyboardModifiers modifiers = {})
{
    QTest::keyClick(keyTarget(), key, modifiers);
}

void type(const QString &text)
{
    for (const QChar letter : text)
        QTest::keyClick(keyTarget(), letter.toLatin1());
}

// Goes to a name in a view by its letters, a blank among them too, as fast as a person types.
void typeAhead(const QString &name)
{
    QApplication::setKeyboardInputInterval(0);
    QTest::qSleep(2);
    type(name.left(1));
    QApplication::setKeyboardInputInterval(30'000);
    type(name.mid(1));
}

void pressSpaceLater()
{
    QApplication::setKeyboardInputInterval(0);
    QTest::qSleep(2);
    press(Qt::Key_Space);
}

bool tabTo(const QWidget *widget)
{
    for (int i = 0; i < 40 && QApplication::focusWidget() != widget; ++i)
        press(Qt::Key_Tab);
    return QApplication::focusWidget() == widget;
}

// As a window manager does after a dialog.
bool activate(QWidget *window)
{
    window->activateWindow();
    return QTest::qWaitFor([&] { return QApplication::activeWindow() == window; });
}

QString current(const QTreeView *view)
{
    return view->currentIndex().data().toString();
}

// On Linux a box's own name is its text; what it is for stands in its label.
QString spoken(QWidget *widget)
{
    QAccessibleInterface *about = QAccessible::queryAccessibleInterface(widget);
    for (const auto &[other, relation] : about->relations(QAccessible::Label)) {
        if (relation == QAccessible::Label && qobject_cast<QComboBox *>(widget))
            return other->text(QAccessible::Name).section(':', 0, 0);
    }
    return about->text(QAccessible::Name);
}

int rows(const QTreeView *view, const QModelIndex &parent)
{
    return view->model() ? view->model()->rowCount(parent) : 0;
}

} // namespace

class ReachTest : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void byKeysAlone();
    void dialogsStart();
    void copiesTakeNoKeys();
    void order();
    void names();
    void scale();
    void longTexts();
    void cutNames();
    void placeIsKept();

private:
    TestServer m_swift{"swift_server.py", {"--secret", kSecret, "--location", "eu-west-1"}};
    TestServer m_tams{"tams_server.py"};
    std::unique_ptr<TestServer> m_front;
    QTemporaryDir m_target;
};

void ReachTest::initTestCase()
{
    for (TestServer *server : {&m_swift, &m_tams})
        QVERIFY2(server->start(), server->error());
    m_front = std::make_unique<TestServer>("tls_front.py",
                                           QStringList{"--port", QString::number(m_tams.port())});
    QVERIFY2(m_front->start(), m_front->error());
    qputenv("CURL_CA_BUNDLE", m_front->ready()["caFile"].toString().toUtf8());
    qputenv("https_proxy",
            "http://127.0.0.1:" + QByteArray::number(m_front->ready()["proxyPort"].toInt()));
    m_swift.command("bucket", {{"bucket", "rushes"}});
    m_swift.command(
        "put", {{"bucket", "rushes"},
                {"objects", QJsonObject{{"day 1/clip 01.mxf", ""}, {"day 1/clip 02.mxf", ""}}}});
    m_tams.command("reset", {{"flows", R"([{"id": "f1", "label": "clip 01"},
                                           {"id": "f2", "label": "clip 02"}])"}});
    QVERIFY2((m_swift.error() + m_tams.error()).isEmpty(), m_swift.error() + m_tams.error());
}

// From the start to a stream file of each kind of source.
void ReachTest::byKeysAlone()
{
    QTemporaryDir folder;
    QDir(folder.path()).mkdir("sub");
    for (const char *name : {"clip 01.mxf", "clip 02.mxf"})
        QVERIFY(QFile(folder.filePath(name)).open(QIODevice::WriteOnly));
    // No kept folder begins like the typed one: offscreen the list would take the activation.
    QSettings("Corvane", "Pellory").setValue("TargetDirectories", QStringList("none"));
    MainWindowProbe probe;
    const Ui_MainWindow &ui = probe.ui;
    probe.window.show();
    QVERIFY(activate(&probe.window));
    QVERIFY(tabTo(ui.combo_TargetDir));
    press(Qt::Key_A, Qt::ControlModifier);
    type(m_target.path());
    press(Qt::Key_Return);
    const auto makesStreamFile = [&](const QString &address) {
        const bool reached = tabTo(ui.button_MakeStream);
        press(Qt::Key_Space);
        const QByteArray content = contentOf(m_target.filePath("clip 02.stream"));
        QFile::remove(m_target.filePath("clip 02.stream"));
        return reached && content == address.toUtf8();
    };

    QTRY_VERIFY(rows(ui.treeView, {}) > 0);
    QVERIFY(tabTo(ui.treeView));
    press(Qt::Key_Home);
    press(Qt::Key_Right);
    for (const QString &part : folder.path().split('/', Qt::SkipEmptyParts)) {
        // Folders arrive in batches, and open only when it is known what they are.
        const auto hasArrived = [&] {
            const QModelIndex first = probe.driveModel->index(0, 0, ui.treeView->currentIndex());
            const auto found = probe.driveModel->match(first, Qt::DisplayRole, part, 1,
                                                       Qt::MatchExactly | Qt::MatchCaseSensitive);
            return !found.isEmpty() && probe.driveModel->hasChildren(found.first());
        };
        QTRY_VERIFY2(hasArrived(), qPrintable(part));
        typeAhead(part);
        QCOMPARE(current(ui.treeView), part);
        press(Qt::Key_Right);
    }
    QCOMPARE(probe.driveModel->filePath(ui.treeView->currentIndex()), folder.path());
    press(Qt::Key_Return);
    QTRY_COMPARE(rows(ui.fileView, ui.fileView->rootIndex()), 2);
    QVERIFY(tabTo(ui.fileView));
    typeAhead("clip 02");
    QCOMPARE(probe.selectedName, QString("clip 02.mxf")); // as highlighted
    press(Qt::Key_Return);
    QVERIFY(makesStreamFile(folder.filePath("clip 02.mxf")));

    const QString site = QString("127.0.0.1:%1").arg(m_swift.port());
    const QString flow = "tamss://tams.amazonaws.com";
    // Button of the dialog, what is typed into its fields in their order, the way to the files
    // and the address.
    const std::tuple<QPushButton *, QStringList, QStringList, QString> sources[] = {
        {ui.button_Add,
         {"TESTER", "eu-west-1", kSecret, "rushes", site},
         {"rushes", "day 1"},
         "s3://TESTER:" + kSecret + '@' + site + "/rushes/day 1/clip 02.mxf"},
        {ui.button_Tams,
         {"https://tams.amazonaws.com", "", "login.amazonaws.com/token", "word", "client"},
         {flow},
         flow + "/Prod/flows/f2"}};
    for (const auto &[button, fields, way, address] : sources) {
        QVERIFY(tabTo(button));
        press(Qt::Key_Space);
        QVERIFY(activate(probe.window.findChildren<QDialog *>().last()));
        for (const QString &field : fields) {
            type(field);
            press(Qt::Key_Tab);
        }
        press(Qt::Key_Space); // "Accept" comes after the last field
        QVERIFY(activate(&probe.window));
        QVERIFY(tabTo(ui.combo_URL));
        typeAhead(button == ui.button_Add ? "127.0" : "tamss");
        QVERIFY(tabTo(ui.button_Connect));
        press(Qt::Key_Space);
        QTRY_COMPARE(ui.treeView->model(), static_cast<QAbstractItemModel *>(probe.folderProxy));
        QVERIFY(tabTo(ui.treeView));
        for (const QString &name : way) {
            QTRY_COMPARE(current(ui.treeView), name);
            press(Qt::Key_Right);
            if (name != way.last())
                press(Qt::Key_Down);
        }
        pressSpaceLater();
        QTRY_COMPARE(rows(ui.fileView, ui.fileView->rootIndex()), 2);
        QVERIFY(tabTo(ui.fileView));
        typeAhead("clip 02");
        QCOMPARE(current(ui.fileView).left(7), QString("clip 02"));
        pressSpaceLater();
        QVERIFY(makesStreamFile(address));
    }
}

// The cursor stands in the first field at each opening, and a dialog that is open comes to the
// front as it is.
void ReachTest::dialogsStart()
{
    MainWindowProbe probe;
    QMetaObject::invokeMethod(&probe.window, "onAddUrl", Q_ARG(QString, "K"), Q_ARG(QString, "S"),
                              Q_ARG(QString, ""), Q_ARG(QString, "b"), Q_ARG(QString, ""));
    probe.ui.button_PartialFile->show();
    probe.window.show();
    for (QPushButton *button : {probe.ui.button_Add, probe.ui.button_Params, probe.ui.button_Tams,
                                probe.ui.button_PartialFile}) {
        const QByteArray name = button->text().toUtf8();
        button->click();
        auto *dialog = probe.window.findChildren<QDialog *>().last();
        auto *field = dialog->findChild<QLineEdit *>();
        QVERIFY2(activate(dialog) && field->hasFocus(), name);
        type(" ");
        QVERIFY2(dialog->isVisible() && field->text() == " ", name);
        press(Qt::Key_Tab);
        dialog->setWindowState(Qt::WindowMinimized);
        showInFront(dialog);
        QVERIFY2(activate(dialog) && !dialog->isMinimized(), name);
        QVERIFY2(dialog->focusWidget() && !field->hasFocus(), name);
        press(Qt::Key_Escape);
        QVERIFY2(!dialog->isVisible() && activate(&probe.window), name);
        dialog->show();
        QVERIFY2(activate(dialog) && field->hasFocus(), name);
        dialog->hide();
    }
}

void ReachTest::copiesTakeNoKeys()
{
    MainWindowProbe probe;
    probe.window.show();
    QVERIFY(activate(&probe.window));
    QPointer<CopyProgressDialog> copies[2];
    hq::StopToken tokens[2];
    for (int i = 0; i < 2; ++i) {
        copies[i] = new CopyProgressDialog("clip.mxf", &probe.window);
        copies[i]->stopOnCancel(tokens[i]);
    }
    QVERIFY(tabTo(probe.ui.combo_TargetDir));
    QTRY_VERIFY(copies[0]->isVisible() && copies[1]->isVisible());
    QVERIFY(copies[0]->testAttribute(Qt::WA_ShowWithoutActivating));
    for (QWidget *window :
         {static_cast<QWidget *>(&probe.window), static_cast<QWidget *>(copies[1])}) {
        QVERIFY(activate(window));
        for (const Qt::Key key : {Qt::Key_Space, Qt::Key_Return, Qt::Key_Enter})
            QTest::keyClick(window->focusWidget(), key);
    }
    QVERIFY(!tokens[0].isStopped() && !tokens[1].isStopped());
    QVERIFY(activate(&probe.window));
    for (int i = 2; --i >= 0;) {
        press(Qt::Key_Escape, Qt::ShiftModifier);
        QVERIFY(tokens[i].isStopped() && tokens[0].isStopped() == (i == 0));
        QTRY_VERIFY(!copies[i]);
    }
    press(Qt::Key_Escape, Qt::ShiftModifier);
    QVERIFY(probe.window.isVisible());
}

// Tab goes as the eye does.
void ReachTest::order()
{
    MainWindowProbe probe;
    const Ui_MainWindow &ui = probe.ui;
    probe.window.show();
    QVERIFY(activate(&probe.window));
    ui.combo_URL->setFocus();
    for (QWidget *next : std::initializer_list<QWidget *>{
             ui.button_Params, ui.button_Tams, ui.button_Add, ui.button_Connect,
             ui.button_URL_Remove, ui.treeView, ui.fileView, ui.combo_TargetDir,
             ui.button_TargetDir_Remove, ui.button_MakeStream, ui.button_LocalizeFile,
             ui.button_EncryptStream, ui.button_Exit, ui.combo_URL}) {
        press(Qt::Key_Tab);
        QVERIFY2(next->hasFocus(), qPrintable(next->objectName()));
    }
}

// What a screen reader says of everything that can have the focus or shows how far something is.
void ReachTest::names()
{
    MainWindowProbe probe;
    URL source("K", "S", "R", "B", "", false);
    AddDialog add(&probe.window);
    ParamDialog params(&probe.window, 0, &source);
    TamsDialog tams(&probe.window);
    PartialRestoreDialog restore("s", "t", &probe.window);
    CopyProgressDialog copy("clip.mxf", &probe.window);
    const std::pair<const QWidget *, QStringList> rows[] = {
        {probe.ui.centralwidget,
         {"Connect", "Encrypt Stream File", "Exit", "Files", "Find name", "Folders",
          "Localize File", "Make Stream File", "New S3", "New Tams", "Params",
          "Partial File Restore", "Remove Source", "Remove Target Dir", "Status", "Target Dir",
          "URL"}},
        {&add, {"Accept", "Bucket", "Cancel", "Key", "Region", "Secret", "Site"}},
        {&params, {"Accept", "Bucket", "Cancel", "Key", "Region", "Secret"}},
        {&tams,
         {"Accept", "Api Endpoint", "Cancel", "Client Id", "Client Secret", "OAuth Server",
          "Tams Server"}},
        {&restore,
         {"Accept", "Cancel", "File Name", "Timecode In", "Timecode Out", "Timecode Type"}},
        {&copy, {"Cancel", "Progress of clip.mxf"}}};
    for (const auto &[window, expected] : rows) {
        QStringList names;
        for (QWidget *widget : window->findChildren<QWidget *>()) {
            const bool counts = widget->focusPolicy() != Qt::NoFocus ||
                                qobject_cast<QTextEdit *>(widget) ||
                                qobject_cast<QProgressBar *>(widget);
            if (counts)
                names.append(spoken(widget));
        }
        names.removeDuplicates(); // a box and its parts
        names.sort();
        QVERIFY2(names == expected, qPrintable(names.join(", ")));
    }
}

// Whatever the environment says of the scale is left alone.
void ReachTest::scale()
{
    for (const char *variable : {"QT_SCALE_FACTOR", "QT_SCREEN_SCALE_FACTORS",
                                 "QT_ENABLE_HIGHDPI_SCALING", "QT_AUTO_SCREEN_SCALE_FACTOR", ""}) {
        QCoreApplication::setAttribute(Qt::AA_EnableHighDpiScaling, false);
        if (*variable)
            qputenv(variable, "0");
        scaleWithScreen();
        if (*variable)
            qunsetenv(variable);
        QVERIFY2(QCoreApplication::testAttribute(Qt::AA_EnableHighDpiScaling) == !*variable,
                 variable);
    }
    QCOMPARE(QGuiApplication::highDpiScaleFactorRoundingPolicy(),
             Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);
}

void ReachTest::longTexts()
{
    const QString target = "/<b>" + QString(42, 'm');
    QSettings("Corvane", "Pellory").setValue("TargetDirectories", QStringList(target));
    MainWindowProbe probe;
    for (int i = 0; i < 34; ++i)
        QMetaObject::invokeMethod(
            &probe.window, "onAddUrl", Q_ARG(QString, "K"), Q_ARG(QString, "S"), Q_ARG(QString, ""),
            Q_ARG(QString, QString(25, 'M') + QString::number(i)), Q_ARG(QString, ""));
    probe.window.show();
    QCOMPARE(probe.window.size(), QSize(868, 600));
    for (QComboBox *box : {probe.ui.combo_URL, probe.ui.combo_TargetDir}) {
        const QByteArray name = box->objectName().toUtf8();
        QVERIFY2(box->toolTip() == box->currentText() && box->toolTip().size() > 40, name);
        box->showPopup();
        QAbstractItemView *list = box->view();
        QVERIFY2(list->viewport()->height() / list->sizeHintForRow(0) == std::min(12, box->count()),
                 name);
        QVERIFY2(list->viewport()->width() >= list->sizeHintForColumn(0), name);
        QVERIFY2(box->screen()->availableGeometry().contains(list->parentWidget()->geometry()),
                 name);
        if (const QLineEdit *edit = box->lineEdit()) {
            QCOMPARE(edit->palette().color(QPalette::Text), QColor(Qt::black));
            box->hidePopup();
            QCOMPARE(edit->palette().color(QPalette::Text), QColor(Qt::white));
        }
        box->hidePopup();
    }
    const QString text = "Unable to delete file <" + QString(500, 'x') + ">";
    openWarning(&probe.window, "title", text);
    auto *box = probe.dialog<QMessageBox>();
    QCOMPARE(box->text(), text);
    QVERIFY2(box->width() < 800, QByteArray::number(box->width()));
}

// A name that its column cuts shows whole, as it is; the widths that a person gave stay.
void ReachTest::cutNames()
{
    QTemporaryDir folder;
    const QString name = "<b>" + QString(100, 'x');
    QVERIFY(QFile(folder.filePath(name)).open(QIODevice::WriteOnly));
    MainWindowProbe probe;
    probe.window.show();
    QTreeView *files = probe.ui.fileView;
    const auto click = [&] {
        emit probe.ui.treeView->clicked(probe.driveModel->index(folder.path()));
    };
    click();
    QTRY_COMPARE(rows(files, files->rootIndex()), 1);
    const auto tip = [&] {
        const QPoint place =
            files->visualRect(files->model()->index(0, 0, files->rootIndex())).topLeft() +
            QPoint(30, 3);
        QHelpEvent event(QEvent::ToolTip, place, files->viewport()->mapToGlobal(place));
        QApplication::sendEvent(files->viewport(), &event);
        QTextDocument shown;
        shown.setHtml(QToolTip::text());
        return shown.toPlainText().remove(QChar(0x200b));
    };
    QCOMPARE(tip(), name);
    files->setColumnWidth(0, 1500);
    files->setColumnWidth(1, 77);
    click();
    QCOMPARE(files->columnWidth(0), 1500);
    QCOMPARE(files->columnWidth(1), 77);
}

// A window that is never shown reads and writes nothing; what is stored is made to fit the screen.
void ReachTest::placeIsKept()
{
    const auto keys = [] { return QSettings("Corvane", "Pellory").childGroups(); };
    const QRect screen(0, 0, 800, 800);
    QSettings("Corvane", "Pellory").clear();
    {
        MainWindowProbe probe;
        probe.window.resize(300, 300);
        probe.ui.treeView->setColumnWidth(0, 333);
    }
    QCOMPARE(keys(), QStringList());
    const auto shown = [&](const QRect &change, int width) {
        MainWindowProbe probe;
        probe.window.show();
        const QRect found = probe.window.geometry();
        if (probe.ui.treeView->columnWidth(0) != (width ? width : 240))
            return QRect();
        probe.ui.treeView->setColumnWidth(0, 123);
        if (change.isValid())
            probe.window.setGeometry(change);
        return found;
    };
    QCOMPARE(shown({}, 0).size(), QSize(868, 600));
    QCOMPARE(shown({}, 123).size(), QSize(868, 600)); // nobody changed it
    const QRect place(5, 60, 790, 500);
    shown(place, 123);
    QCOMPARE(shown(QRect(5000, 5000, 900, 2000), 123), place);
    QVERIFY(QGuiApplication::primaryScreen()->availableGeometry().contains(shown({}, 123)));
    const std::pair<QRect, QRect> rows[] = {{{10, 50, 700, 500}, {10, 50, 700, 500}},
                                            {{-90, 0, 700, 500}, {0, 24, 700, 500}},
                                            {{700, 700, 700, 500}, {100, 300, 700, 500}},
                                            {{9, 99, 9000, 9000}, {0, 24, 800, 776}}};
    for (const auto &[stored, expected] : rows)
        QCOMPARE(clampedTo(screen, 24, stored), expected);
}

PELLORY_TEST_MAIN(ReachTest, QApplication)
#include "tst_reach.moc"
