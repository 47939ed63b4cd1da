// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "windowprobe.h"

#include "targetdirectories.h"
#include "testmain.h"

#include <QSettings>

class TargetDirectoriesTest : public QObject
{
    Q_OBJECT
private slots:
    void init() { store({}); }
    void defaults();
    void returnKey();
    void typing();
    void remove();

private:
    static void store(const QStringList &directories)
    {
        QSettings settings("Corvane", "Pellory");
        saveTargetDirectories(settings, directories);
    }
    static QStringList stored()
    {
        return QSettings("Corvane", "Pellory").value("TargetDirectories").toStringList();
    }
};

void TargetDirectoriesTest::defaults()
{
    const QStringList expected{QDir::homePath() + "/Documents", QDir::homePath()};
    MainWindowProbe probe;
    QCOMPARE(probe.targets(), expected);
    QCOMPARE(probe.ui.combo_TargetDir->currentText(), expected.first());
    QVERIFY(stored().isEmpty());
}

void TargetDirectoriesTest::returnKey()
{
    // Texts that the settings file has to quote, and an entry that stands there twice.
    QStringList directories{"C:\\a, b", "x;y=\"z\"", " @Invalid() ", "ü/漢", "/A", "/A"};
    store(directories);
    MainWindowProbe probe;
    QCOMPARE(probe.targets(), directories);
    for (const char *text : {"/new", ""}) {
        probe.ui.combo_TargetDir->setEditText(text);
        QTest::keyClick(probe.ui.combo_TargetDir, Qt::Key_Return);
    }
    directories += QStringList{"/new", ""};
    QCOMPARE(stored(), directories);
    MainWindowProbe restarted;
    QCOMPARE(restarted.targets(), directories);
}

// Typing changes no letter of what was typed, whatever is kept, and nor does leaving the box. The
// keys go where a person's would: to the list of what fits while it is open.
void TargetDirectoriesTest::typing()
{
    MainWindowProbe probe;
    probe.window.show();
    QComboBox *box = probe.ui.combo_TargetDir;
    struct Row
    {
        const char *typed;
        QList<Qt::Key> keys;
        QString text;
        bool added;
    };
    for (const Row &row : {Row{"/keep", {Qt::Key_Return}, "/keep", true},
                           {"/KEEP/Fold", {Qt::Key_Return}, "/KEEP/Fold", true},
                           {"/KEEP/Folder", {Qt::Key_Return}, "/keep/folder", false},
                           {"/kee", {Qt::Key_Escape, Qt::Key_Tab}, "/kee", false},
                           {"/keep/", {Qt::Key_Down, Qt::Key_Return}, "/keep/folder", false}}) {
        const QStringList kept{"/keep/folder", "/keep/other"};
        box->clear();
        box->addItems(kept);
        box->setFocus();
        box->lineEdit()->clear();
        const auto press = [&](auto key) {
            QWidget *popup = QApplication::activePopupWidget();
            QTest::keyClick(popup ? popup : box, key);
        };
        for (const char *letter = row.typed; *letter; ++letter) {
            press(*letter);
            QVERIFY2(box->currentText() + (letter + 1) == row.typed, row.typed);
        }
        for (const Qt::Key key : row.keys)
            press(key);
        QVERIFY2(box->currentText() == row.text, row.typed);
        QVERIFY2(probe.targets() == (row.added ? kept + QStringList{row.text} : kept), row.typed);
    }
}

void TargetDirectoriesTest::remove()
{
    store({"/a", "/b"});
    MainWindowProbe probe;
    const QList<QPair<QString, QStringList>> steps{
        {"/A", {"/a", "/b"}}, {"/b", {"/a"}}, {"/a", {}}};
    for (const auto &[text, left] : steps) {
        probe.ui.combo_TargetDir->lineEdit()->setText(text);
        probe.ui.button_TargetDir_Remove->click();
        QCOMPARE(stored(), left);
    }
}

PELLORY_TEST_MAIN(TargetDirectoriesTest, QApplication)
#include "tst_targetdirectories.moc"
