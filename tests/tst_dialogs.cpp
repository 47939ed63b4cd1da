// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "windowprobe.h"

#include "adddialog.h"
#include "paramdialog.h"
#include "partialrestoredialog.h"
#include "tamsdialog.h"
#include "testmain.h"
#include "url.h"

class DialogsTest : public QObject
{
    Q_OBJECT
private slots:
    void places();
    void reuse();
};

// Labels, fields and buttons in the order of their creation, each as "text left,top widthxheight".
static QStringList layoutOf(const QDialog *dialog)
{
    QStringList lines;
    for (const auto *widget :
         dialog->findChildren<QWidget *>(QString(), Qt::FindDirectChildrenOnly)) {
        const QRect place = widget->geometry();
        lines.append(
            widget->property("text").toString() +
            QString::asprintf("%d,%d %dx%d", place.x(), place.y(), place.width(), place.height()));
    }
    return lines;
}

void DialogsTest::places()
{
    MainWindowProbe probe;
    URL source("K", "S", "R", "B", "", false);
    AddDialog add(&probe.window);
    ParamDialog params(&probe.window, 0, &source);
    TamsDialog tams(&probe.window);
    PartialRestoreDialog restore("s", "t", &probe.window);
    struct Row
    {
        QDialog *dialog;
        QString title;
        QSize size, resized;
        QStringList places; // at the second size
    };
    for (const Row &row :
         {Row{&add,
              "Add URL",
              {500, 200},
              {500, 200},
              {"Accept178,168 80x24", "Cancel265,168 80x24", "Key: 4,4 50x24", "61,4 400x24",
               "Region: 4,66 50x24", "61,66 400x24", "Secret: 4,35 50x24", "61,35 400x24",
               "Bucket: 4,97 50x24", "61,97 400x24", "Site: 4,128 50x24", "61,128 400x24"}},
          {&params,
           "Set Params",
           {500, 200},
           {601, 240},
           {"Accept228,208 80x24", "Cancel315,208 80x24", "Key: 4,4 50x24", "K61,4 501x24",
            "Region: 4,66 50x24", "R61,66 501x24", "Secret: 4,35 50x24", "S61,35 501x24",
            "Bucket: 4,97 50x24", "B61,97 501x24"}},
          {&tams,
           "Add TAMS Repository",
           {600, 200},
           {700, 300}, // refused
           {"Accept222,168 86x24", "Cancel315,168 86x24", "Tams Server: 4,4 80x24", "91,4 440x24",
            "Api Endpoint: 4,35 80x24", "91,35 440x24", "OAuth Server: 4,66 80x24", "91,66 440x24",
            "Client Secret: 4,128 80x24", "91,128 440x24", "Client Id: 4,97 80x24",
            "91,97 440x24"}},
          {&restore,
           "Partial File Restore",
           {265, 200},
           {401, 251},
           {"Accept128,219 80x24", "Cancel215,219 80x24", "Timecode In: 4,35 120x24",
            "131,35 120x24", "Timecode Out: 4,66 120x24", "131,66 120x24",
            "Timecode Type: 4,4 120x24", "131,4 120x24", "File Name: 4,97 120x24",
            "131,97 120x24"}}}) {
        row.dialog->show();
        QCOMPARE(row.dialog->windowTitle(), row.title);
        QCOMPARE(row.dialog->size(), row.size);
        row.dialog->resize(row.resized);
        QTRY_COMPARE(layoutOf(row.dialog), row.places);
        for (const QLabel *label : row.dialog->findChildren<QLabel *>()) {
            const int width = label->fontMetrics().horizontalAdvance(label->text().trimmed());
            QVERIFY2(width <= label->width(), qPrintable(label->text()));
        }
    }
    const auto *type = restore.findChild<QComboBox *>();
    QCOMPARE(type->currentText() + '|' + type->itemText(1), QString("Absolute|Timecode"));
}

// What was typed stays when the dialog is closed and goes when one of its buttons is pressed.
template <class Dialog>
static void checkReuse(MainWindowProbe &probe, QPushButton *opener)
{
    opener->click();
    auto *dialog = probe.dialog<Dialog>();
    QVERIFY(dialog->isVisible() && !dialog->isModal());
    const auto texts = [&] {
        QString all;
        for (const QLineEdit *field : dialog->template findChildren<QLineEdit *>())
            all += field->text();
        return all;
    };
    fillDialog(dialog, {"a", "b", "c", "d", "e"}, "none");
    QTest::keyClick(dialog, Qt::Key_Escape);
    QVERIFY(!dialog->isVisible());
    opener->click();
    QCOMPARE(texts(), QString("abcde"));
    for (const char *button : {"Cancel", "Accept"}) {
        fillDialog(dialog, {"a", "b", "c", "d", "e"}, button);
        QVERIFY(!dialog->isVisible());
        QCOMPARE(texts(), QString());
        opener->click();
    }
    QCOMPARE(probe.window.findChildren<Dialog *>().size(), 1);
}

void DialogsTest::reuse()
{
    MainWindowProbe probe;
    checkReuse<AddDialog>(probe, probe.ui.button_Add);
    QCOMPARE(probe.sources.size(), 1);
    QCOMPARE(probe.sources[0]->getUrl(), QString("s3://a:c@e/d"));
    checkReuse<TamsDialog>(probe, probe.ui.button_Tams);
}

PELLORY_TEST_MAIN(DialogsTest, QApplication)
#include "tst_dialogs.moc"
