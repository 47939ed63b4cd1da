// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// What a person reaches without a mouse, with a screen reader and on other screens, in the window
// and in its dialogs.
#include "windowprobe.h"

#include "copyprogressdialog.h"
#include "dialogplacement.h"
#include "warningbox.h"

namespace {

void press(Qt::Key key, Qt::KeyboardModifiers modifiers = {})
{
    QTest::keyClick(QApplication::focusWidget(), key, modifiers);
}

// As a window manager does after a dialog.
bool activate(QWidget *window)
{
    window->activateWindow();
    return QTest::qWaitFor([&] { return QApplication::activeWindow() == window; });
}

// What a screen reader says. On Linux a box's own name is its text; what it is for stands in its
// label.
QString spoken(QWidget *widget)
{
    QAccessibleInterface *about = QAccessible::queryAccessibleInterface(widget);
    for (const auto &[other, relation] : about->relations(QAccessible::Label)) {
        if (relation == QAccessible::Label && qobject_cast<QComboBox *>(widget))
            return other->text(QAccessible::Name).section(':', 0, 0);
    }
    return about->text(QAccessible::Name);
}

} // namespace

class ReachTest : public QObject
{
    Q_OBJECT
private slots:
    void init() { QSettings("Corvane", "Pellory").clear(); }
    void orderAndNames();
    void dialogs();
    void longWords();
    void copiesTakeNoKeys();
    void placeIsKept();
};

// Tab goes as the eye does, and through everything that can be pressed.
void ReachTest::orderAndNames()
{
    MainWindowProbe probe;
    const Ui_MainWindow &ui = probe.ui;
    probe.window.show();
    QVERIFY(activate(&probe.window));
    ui.combo_URL->setFocus();
    QStringList names;
    do {
        names.append(spoken(QApplication::focusWidget()));
        press(Qt::Key_Tab);
    } while (!ui.combo_URL->hasFocus() && names.size() < 40);
    QCOMPARE(names.join(", "),
             QString("URL, Params, New Tams, New S3, Connect, Remove Source, Folders, Files, "
                     "Target Dir, Remove Target Dir, Make Stream File, Localize File, "
                     "Encrypt Stream File, Exit"));
    QCOMPARE(spoken(ui.textbox_Status), QString("Status"));
    QCOMPARE(spoken(ui.fileView->findChild<QLineEdit *>()), QString("Find name"));
}

// Each stands at its places and starts in its first field at each opening; one that is open comes
// to the front as it is.
void ReachTest::dialogs()
{
    MainWindowProbe probe;
    const Ui_MainWindow &ui = probe.ui;
    probe.window.show();
    // What opens it, title, size, another size, and at that one the names and places of its parts.
    const std::tuple<QPushButton *, QString, QSize, QSize, QString> rows[] = {
        {ui.button_Add, "Add URL", QSize(500, 200), QSize(500, 200),
         R"(Accept 178,168,80,24 Cancel 265,168,80,24 Key:  4,4,50,24 Key 61,4,400,24 Region:  4,66,50,24 Region 61,66,400,24 Secret:  4,35,50,24 Secret 61,35,400,24 Bucket:  4,97,50,24 Bucket 61,97,400,24 Site:  4,128,50,24 Site 61,128,400,24)"},
        {ui.button_Params, "Set Params", QSize(500, 200), QSize(601, 240),
         R"(Accept 228,208,80,24 Cancel 315,208,80,24 Key:  4,4,50,24 Key 61,4,501,24 Region:  4,66,50,24 Region 61,66,501,24 Secret:  4,35,50,24 Secret 61,35,501,24 Bucket:  4,97,50,24 Bucket 61,97,501,24)"},
        {ui.button_Tams, "Add TAMS Repository", QSize(600, 200), QSize(700, 300),
         R"(Accept 222,168,86,24 Cancel 315,168,86,24 Tams Server:  4,4,80,24 Tams Server 91,4,440,24 Api Endpoint:  4,35,80,24 Api Endpoint 91,35,440,24 OAuth Server:  4,66,80,24 OAuth Server 91,66,440,24 Client Secret:  4,128,80,24 Client Secret 91,128,440,24 Client Id:  4,97,80,24 Client Id 91,97,440,24)"},
        {ui.button_PartialFile, "Partial File Restore", QSize(265, 200), QSize(401, 251),
         R"(Accept 128,219,80,24 Cancel 215,219,80,24 Timecode In:  4,35,120,24 Timecode In 131,35,120,24 Timecode Out:  4,66,120,24 Timecode Out 131,66,120,24 Timecode Type:  4,4,120,24 Timecode Type 131,4,120,24 File Name:  4,97,120,24 File Name 131,97,120,24)"}};
    for (const auto &[button, title, size, resized, expected] : rows) {
        const QByteArray name = title.toUtf8();
        button->click();
        auto *dialog = probe.dialog<QDialog>();
        const auto fields = dialog->findChildren<QLineEdit *>();
        const QLineEdit *field = fields.first();
        QVERIFY2(activate(dialog) && field->hasFocus() && !dialog->isModal(), name);
        QCOMPARE(dialog->windowTitle(), title);
        QCOMPARE(dialog->size(), size);
        dialog->resize(resized);
        const auto places = [dialog] {
            QStringList found;
            for (auto *part :
                 dialog->findChildren<QWidget *>(QString(), Qt::FindDirectChildrenOnly)) {
                const QRect place = part->geometry();
                found += spoken(part) + QString::asprintf(" %d,%d,%d,%d", place.x(), place.y(),
                                                          place.width(), place.height());
            }
            return found.join(' ');
        };
        QTRY_COMPARE(places(), expected);
        press(Qt::Key_Space);
        press(Qt::Key_Tab);
        dialog->setWindowState(Qt::WindowMinimized);
        showInFront(dialog);
        QVERIFY2(activate(dialog) && !dialog->isMinimized() && !field->hasFocus(), name);
        press(Qt::Key_Escape);
        QVERIFY2(!dialog->isVisible() && activate(&probe.window), name);
        if (button != ui.button_Add && button != ui.button_Tams)
            continue;
        // What was typed stays now, and goes with the buttons, which come after the last field.
        for (const bool cancel : {true, false}) {
            button->click();
            QVERIFY2(dialog == probe.dialog<QDialog>() && activate(dialog), name);
            QVERIFY2(field->text() == (cancel ? " " : ""), name);
            for (const QLineEdit *edit : fields) {
                QVERIFY2(edit->hasFocus(), name);
                press(Qt::Key_X);
                press(Qt::Key_Tab);
            }
            if (cancel)
                press(Qt::Key_Tab);
            press(Qt::Key_Space);
            QVERIFY2(!dialog->isVisible() && activate(&probe.window), name);
            for (const QLineEdit *edit : fields)
                QVERIFY2(edit->text().isEmpty(), name);
        }
    }
    QCOMPARE(probe.sources.size(), 1);
}

// A word that is wider than a box is broken, where the box's own text would stand.
void ReachTest::longWords()
{
    MainWindowProbe probe;
    const auto *box = openWarning(&probe.window, "Title", "<b>" + QString(300, 'x'));
    QTRY_VERIFY(box->isVisible() && box->width() < 700);
    const auto *icon = box->findChild<QLabel *>("qt_msgboxex_icon_label");
    const auto *label = box->findChildren<QLabel *>().last();
    QVERIFY(label->text().startsWith("<b>xxx") && label->textFormat() == Qt::PlainText);
    QVERIFY(label->x() > icon->geometry().right() && label->y() == icon->y());
}

void ReachTest::copiesTakeNoKeys()
{
    MainWindowProbe probe;
    probe.window.show();
    QPointer<CopyProgressDialog> copies[2];
    hq::StopToken tokens[2];
    for (int i = 0; i < 2; ++i) {
        copies[i] = new CopyProgressDialog("clip.mxf", &probe.window);
        copies[i]->stopOnCancel(tokens[i]);
    }
    QTRY_VERIFY(copies[0]->isVisible() && copies[1]->isVisible());
    QVERIFY(copies[0]->testAttribute(Qt::WA_ShowWithoutActivating));
    QVERIFY(activate(copies[1]));
    QCOMPARE(spoken(QApplication::focusWidget()), QString("Progress of clip.mxf"));
    for (const Qt::Key key : {Qt::Key_Space, Qt::Key_Return, Qt::Key_Enter})
        press(key);
    QVERIFY(activate(&probe.window));
    copies[0]->amount()->done = 5; // of how many is not known
    copies[0]->amount()->total = -1;
    QTRY_VERIFY(copies[0]->maximum() == 0 &&
                copies[0]->labelText().startsWith("clip.mxf\n5 bytes, "));
    for (int i = 2; --i >= 0;) {
        QVERIFY(!tokens[i].isStopped());
        press(Qt::Key_Escape, Qt::ShiftModifier);
        QVERIFY(tokens[i].isStopped());
        QTRY_VERIFY(!copies[i]);
    }
}

// A window that is never shown writes nothing; what is stored is made to fit the screen.
void ReachTest::placeIsKept()
{
    MainWindowProbe().ui.treeView->setColumnWidth(0, 333);
    QCOMPARE(QSettings("Corvane", "Pellory").childGroups(), QStringList());
    MainWindowProbe().window.show();
    QVERIFY(!QSettings("Corvane", "Pellory").contains("Window/Place")); // nobody changed it
    const int bar = QApplication::style()->pixelMetric(QStyle::PM_TitleBarHeight);
    const QRect room = QGuiApplication::primaryScreen()->availableGeometry().adjusted(0, bar, 0, 0);
    // What a person makes of the window, and where it is found the next time.
    const std::pair<QRect, QRect> rows[] = {{{5, 60, 790, 500}, {5, 60, 790, 500}},
                                            {{-90, 0, 780, 500}, {0, bar, 780, 500}},
                                            {{9, 99, 9000, 9000}, room}};
    for (const auto &[made, found] : rows) {
        for (const bool again : {false, true}) {
            MainWindowProbe probe;
            probe.window.show();
            QVERIFY(!again || probe.window.geometry() == found);
            QVERIFY(!again || probe.ui.treeView->columnWidth(0) == made.x() + 200);
            probe.ui.treeView->setColumnWidth(0, made.x() + 200);
            probe.window.setGeometry(again ? found : made);
        }
    }
    QVERIFY(QSettings("Corvane", "Pellory").contains("Window/Place"));
}

PELLORY_TEST_MAIN(ReachTest, QApplication)
#include "tst_reach.moc"
