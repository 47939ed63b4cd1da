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
    void roundTrip_data();
    void roundTrip();

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
    static void typeAndReturn(MainWindowProbe &probe, const QString &text)
    {
        QLineEdit *edit = probe.ui.combo_TargetDir->lineEdit();
        edit->clear();
        QTest::keyClicks(edit, text);
        QTest::keyClick(edit, Qt::Key_Return);
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
    store({"/media/A", "/media/A", "D:\\out"});
    MainWindowProbe probe;
    QCOMPARE(probe.targets(), (QStringList{"/media/A", "/media/A", "D:\\out"}));
    typeAndReturn(probe, "/new");
    const QStringList grown{"/media/A", "/media/A", "D:\\out", "/new"};
    QCOMPARE(probe.targets(), grown);
    QCOMPARE(stored(), grown);
    // A text that differs in letter case only makes the entry current.
    typeAndReturn(probe, "/NEW");
    QCOMPARE(stored(), grown);
    QCOMPARE(probe.ui.combo_TargetDir->currentText(), QString("/new"));
    typeAndReturn(probe, "");
    QCOMPARE(stored(), grown + QStringList{""});
    MainWindowProbe restarted;
    QCOMPARE(restarted.targets(), grown + QStringList{""});
}

void TargetDirectoriesTest::remove()
{
    store({"/a", "/b"});
    MainWindowProbe probe;
    probe.ui.combo_TargetDir->lineEdit()->setText("/A");
    probe.ui.button_TargetDir_Remove->click();
    QCOMPARE(stored(), (QStringList{"/a", "/b"}));
    probe.ui.combo_TargetDir->lineEdit()->setText("/b");
    probe.ui.button_TargetDir_Remove->click();
    QCOMPARE(stored(), QStringList{"/a"});
    probe.ui.combo_TargetDir->lineEdit()->setText("/a");
    probe.ui.button_TargetDir_Remove->click();
    QVERIFY(stored().isEmpty());
    MainWindowProbe restarted;
    QCOMPARE(restarted.targets().size(), 2);
}

void TargetDirectoriesTest::roundTrip_data()
{
    QTest::addColumn<QStringList>("directories");
    QTest::newRow("one empty text") << QStringList{""};
    QTest::newRow("separators") << QStringList{"C:\\a, b", "x;y=\"z\"", " @Invalid() ", "ü/漢"};
}

void TargetDirectoriesTest::roundTrip()
{
    QFETCH(QStringList, directories);
    store(directories);
    MainWindowProbe probe;
    QCOMPARE(probe.targets(), directories);
}

PELLORY_TEST_MAIN(TargetDirectoriesTest, QApplication)
#include "tst_targetdirectories.moc"
