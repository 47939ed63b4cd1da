// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// The partial restore with a copy tool of the test's own, which stands beside the test's program.
#include "windowprobe.h"

#include "partialrestoredialog.h"
#include "streamcontent.h"
#include "testmain.h"

#include <QLabel>

namespace {

// Notes one line of its process id and its arguments, runs as long as there is a file "hold", and
// fails.
const QByteArray kTool = "#!/bin/sh\n"
                         "line=$$\n"
                         "for argument; do line=\"$line|$argument\"; done\n"
                         "printf '%s\\n' \"$line\" >>\"$0.log\"\n"
                         "while [ -e \"$0.hold\" ]; do sleep 0.02; done\n"
                         "exit 3\n";

const QString kFinished = "Partial restore finished";

} // namespace

class PartialRestoreTest : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void placement_data();
    void placement();
    void commandLine_data();
    void commandLine();
    void outcome_data();
    void outcome();
    void acceptDuringCopy();
    void dialogPerUse();
    void destroyedDuringCopy();

private:
    void write(const QString &suffix, const QByteArray &content, QFile::Permissions more = {})
    {
        QFile file(m_tool + suffix);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(content) == content.size());
        file.setPermissions(file.permissions() | more);
    }
    void installTool() { write("", kTool, QFile::ExeOwner); }
    void hold() { write(".hold", ""); }
    void release() { QFile::remove(m_tool + ".hold"); }
    // One line for each run of the tool.
    QList<QByteArray> runs() const
    {
        QList<QByteArray> lines = contentOf(m_tool + ".log").split('\n');
        lines.removeLast();
        return lines;
    }
    PartialRestoreDialog *openDialog(MainWindowProbe &probe)
    {
        probe.selectedPath = "/m/a.mxf";
        probe.ui.combo_TargetDir->setEditText("/out");
        probe.ui.button_PartialFile->click();
        return probe.dialog<PartialRestoreDialog>();
    }
    static QString status(const MainWindowProbe &probe)
    {
        return probe.ui.textbox_Status->toPlainText();
    }

    const QString m_tool = QCoreApplication::applicationDirPath() + "/clipforge.exe";
};

void PartialRestoreTest::init()
{
    cleanup();
}

void PartialRestoreTest::cleanup()
{
    for (const char *suffix : {"", ".log", ".hold"})
        QFile::remove(m_tool + suffix);
}

void PartialRestoreTest::placement_data()
{
    QTest::addColumn<QSize>("size");
    QTest::addColumn<QPoint>("accept");
    QTest::addColumn<QPoint>("cancel");
    QTest::newRow("initial") << QSize() << QPoint(60, 168) << QPoint(147, 168);
    QTest::newRow("larger") << QSize(401, 251) << QPoint(128, 219) << QPoint(215, 219);
}

void PartialRestoreTest::placement()
{
    QFETCH(QSize, size);
    PartialRestoreDialog dialog("s", "t", nullptr);
    dialog.show();
    QCOMPARE(dialog.size(), QSize(265, 200));
    QCOMPARE(dialog.windowTitle(), QString("Partial File Restore"));
    if (size.isValid())
        dialog.resize(size);
    const auto labels = dialog.findChildren<QLabel *>();
    const auto edits = dialog.findChildren<QLineEdit *>();
    const QStringList texts{"Timecode In: ", "Timecode Out: ", "File Name: ", "Timecode Type: "};
    const QList<QLabel *> rows{labels[0], labels[1], labels[3], labels[2]};
    auto *type = dialog.findChild<QComboBox *>();
    const QList<QWidget *> fields{edits[0], edits[1], edits[2], type};
    const QList<int> tops{35, 66, 97, 4};
    for (int i = 0; i < rows.size(); ++i) {
        QCOMPARE(rows[i]->text(), texts[i]);
        QCOMPARE(rows[i]->geometry(), QRect(4, tops[i], 120, 24));
        QCOMPARE(fields[i]->geometry(), QRect(131, tops[i], 120, 24));
    }
    QCOMPARE(type->currentText() + '|' + type->itemText(1), QString("Absolute|Timecode"));
    const auto buttons = dialog.findChildren<QPushButton *>();
    QFETCH(QPoint, accept);
    QFETCH(QPoint, cancel);
    QCOMPARE(buttons.at(0)->text() + buttons.at(1)->text(), QString("AcceptCancel"));
    QCOMPARE(buttons.at(0)->geometry(), QRect(accept, QSize(80, 24)));
    QCOMPARE(buttons.at(1)->geometry(), QRect(cancel, QSize(80, 24)));
}

void PartialRestoreTest::commandLine_data()
{
    QTest::addColumn<QString>("source");
    QTest::addColumn<QString>("target");
    QTest::addColumn<QStringList>("fields");  // in, out, file name
    QTest::addColumn<QByteArray>("expected"); // empty: nothing is started
    const QString source = "D:\\media\\a b.mxf";
    const QStringList fields{"100", "250", "part.mxf"};
    const QByteArray whole = "-s|D:\\media\\a b.mxf|-t|D:\\clips\\part.mxf|-p|copy|-absin|100|"
                             "-absout|250|-fg";
    QTest::newRow("whole") << source << "D:\\clips" << fields << whole;
    QTest::newRow("target ends in a separator") << source << "D:\\clips\\" << fields << whole;
    QTest::newRow("no numbers, no name")
        << "s3://:@h.org/b/ü" << QString("t") << QStringList{"01:00:00:00", "", ""}
        << QByteArray("-s|s3://:@h.org/b/ü|-t|t\\|-p|copy|-absin|0|-absout|0|-fg");
    QTest::newRow("signs, zeros, too large")
        << QString("s") << QString("t") << QStringList{"-007", "99999999999", "n"}
        << QByteArray("-s|s|-t|t\\n|-p|copy|-absin|-7|-absout|0|-fg");
    QTest::newRow("no source") << QString() << QString("t") << fields << QByteArray();
    QTest::newRow("no target") << QString("s") << QString() << fields << QByteArray();
}

void PartialRestoreTest::commandLine()
{
    QFETCH(QString, source);
    QFETCH(QString, target);
    QFETCH(QStringList, fields);
    QFETCH(QByteArray, expected);
    installTool();
    PartialRestoreDialog dialog(source, target, nullptr);
    dialog.show();
    dialog.findChild<QComboBox *>()->setCurrentIndex(1); // makes no difference
    fillDialog(&dialog, fields, "Accept");
    QVERIFY(!dialog.isVisible());
    QTRY_VERIFY(!dialog.isCopying());
    const QByteArray line = runs().value(0);
    QCOMPARE(line.mid(line.indexOf('|') + 1), expected);
    dialog.show();
    fillDialog(&dialog, {}, "Cancel");
    QVERIFY(!dialog.isVisible() && !dialog.isCopying());
}

void PartialRestoreTest::outcome_data()
{
    QTest::addColumn<QString>("tool");
    QTest::addColumn<QString>("reported");
    QTest::newRow("fails") << "fails" << kFinished;
    QTest::newRow("does not start") << "does not start"
                                    << "";
    QTest::newRow("missing") << "missing"
                             << "";
}

void PartialRestoreTest::outcome()
{
    QFETCH(QString, tool);
    QFETCH(QString, reported);
    if (tool != "missing")
        write("", kTool, tool == "fails" ? QFile::ExeOwner : QFile::Permissions());
    MainWindowProbe probe;
    PartialRestoreDialog *dialog = openDialog(probe);
    fillDialog(dialog, {"1", "2", "n"}, "Accept");
    QTRY_VERIFY(!dialog->isCopying());
    QTest::qWait(1); // what was emitted before the end has arrived
    QTRY_COMPARE(status(probe), reported);
    emit probe.window.updateStatus("Adding: x");
    QTRY_COMPARE(status(probe), QString("Count: 1 | Adding: x"));
}

void PartialRestoreTest::acceptDuringCopy()
{
    installTool();
    hold();
    MainWindowProbe probe;
    PartialRestoreDialog *dialog = openDialog(probe);
    fillDialog(dialog, {"1", "2", "first"}, "Accept");
    QTRY_COMPARE(runs().size(), 1);
    dialog->show();
    fillDialog(dialog, {"3", "4", "second"}, "Accept");
    QVERIFY(!dialog->isVisible());
    release();
    QTRY_COMPARE(status(probe), kFinished);
    QTRY_VERIFY(!dialog->isCopying());
    QCOMPARE(runs().size(), 1);
    fillDialog(dialog, {}, "Accept");
    QTRY_COMPARE(runs().size(), 2);
    QVERIFY(runs()[1].contains("|/out\\second|"));
}

void PartialRestoreTest::dialogPerUse()
{
    installTool();
    hold();
    MainWindowProbe probe;
    const auto count = [&] { return probe.window.findChildren<PartialRestoreDialog *>().size(); };
    PartialRestoreDialog *copying = openDialog(probe);
    fillDialog(copying, {}, "Accept");
    QTRY_COMPARE(runs().size(), 1);
    PartialRestoreDialog *second = openDialog(probe);
    QVERIFY(second != copying && second->isVisible() && !second->isModal());
    QCOMPARE(count(), 2);
    openDialog(probe);
    QVERIFY(!second->isVisible());
    QTRY_COMPARE(count(), 2); // the second one was not copying
    release();
    QTRY_COMPARE(status(probe), kFinished);
    QTRY_VERIFY(!copying->isCopying());
    openDialog(probe);
    QTRY_COMPARE(count(), 1);
}

void PartialRestoreTest::destroyedDuringCopy()
{
    installTool();
    hold();
    QByteArray processId;
    {
        MainWindowProbe probe;
        fillDialog(openDialog(probe), {}, "Accept");
        QTRY_COMPARE(runs().size(), 1);
        processId = runs()[0].split('|')[0];
        QVERIFY(QFile::exists("/proc/" + processId));
    }
    QVERIFY(!QFile::exists("/proc/" + processId));
}

PELLORY_TEST_MAIN(PartialRestoreTest, QApplication)
#include "tst_partialrestore.moc"
