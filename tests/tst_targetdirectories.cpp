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
    // A text that differs in letter case only makes the entry current.
    for (const char *text : {"/new", "/NEW", ""}) {
        QLineEdit *edit = probe.ui.combo_TargetDir->lineEdit();
        edit->clear();
        QTest::keyClicks(edit, text);
        QTest::keyClick(edit, Qt::Key_Return);
        QCOMPARE(probe.ui.combo_TargetDir->currentText(), QString(*text ? "/new" : ""));
    }
    directories += QStringList{"/new", ""};
    QCOMPARE(stored(), directories);
    MainWindowProbe restarted;
    QCOMPARE(restarted.targets(), directories);
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
