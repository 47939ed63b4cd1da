// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// The partial restore with a copy tool of the test's own, which stands beside the test's program.
#include "windowprobe.h"

#include "partialrestoredialog.h"
#include "streamcontent.h"
#include "testmain.h"

namespace {

// Reads its input to the end, notes one line of its process id, that of a process that it starts
// and its arguments, runs as long as there is a file "hold", and fails. Neither of the two ends
// when it is asked to if there is a file "deaf".
const QByteArray kTool = "#!/bin/sh\n"
                         "cat\n"
                         "[ ! -e \"$0.deaf\" ] || trap '' TERM\n"
                         "sleep 100 &\n"
                         "line=\"$$|$!\"\n"
                         "for argument; do line=\"$line|$argument\"; done\n"
                         "printf '%s\\n' \"$line\" >>\"$0.log\"\n"
                         "while [ -e \"$0.hold\" ]; do sleep 0.02; done\n"
                         "kill -KILL $!\n"
                         "exit 3\n";

const QString kFinished = "Partial restore finished";
const QString kRefused = "Partial restore refused: ";

} // namespace

class PartialRestoreTest : public QObject
{
    Q_OBJECT
private slots:
    void init() { cleanup(); }
    void cleanup();
    void commandLine();
    void outcome();
    void duringACopy();
    void destroyedDuringCopy();

private:
    void write(const QString &suffix, const QByteArray &content = {}, QFile::Permissions more = {})
    {
        QFile file(m_tool + suffix);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(content) == content.size());
        file.setPermissions(file.permissions() | more);
    }
    void installTool() { write("", kTool, QFile::ExeOwner); }
    // One line for each run of the tool, in its parts.
    QList<QByteArrayList> runs() const
    {
        QList<QByteArrayList> found;
        for (const QByteArray &line : contentOf(m_tool + ".log").split('\n'))
            found << line.split('|');
        found.removeLast();
        return found;
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

void PartialRestoreTest::cleanup()
{
    for (const char *suffix : {"", ".log", ".hold", ".deaf"})
        QFile::remove(m_tool + suffix);
}

void PartialRestoreTest::commandLine()
{
    const QString source = "D:\\media\\a b.mxf";
    const QStringList fields{"100", "250", "part.mxf"};
    const QByteArray whole = "-s|D:\\media\\a b.mxf|-t|D:\\clips\\part.mxf|-p|copy|-absin|100|"
                             "-absout|250|-fg";
    struct Row
    {
        QString source, target;
        QStringList fields;  // in, out, file name
        QByteArray expected; // empty: nothing is started
    };
    installTool();
    for (const Row &row :
         {Row{source, "D:\\clips", fields, whole},
          {source, "D:\\clips\\", fields, whole},
          {"s3://:@h.org/b/ü",
           "t",
           {"01:00:00:00", "", ""},
           "-s|s3://:@h.org/b/ü|-t|t\\|-p|copy|-absin|0|-absout|0|-fg"},
          {"s", "t", {"-007", "99999999999", "n"}, "-s|s|-t|t\\n|-p|copy|-absin|-7|-absout|0|-fg"},
          {"", "t", fields, ""},
          {"s", "", fields, ""}}) {
        QFile::remove(m_tool + ".log");
        PartialRestoreDialog dialog(row.source, row.target, nullptr);
        QString said;
        dialog.setReport([&](const QString &line) { said = line; });
        dialog.show();
        dialog.findChild<QComboBox *>()->setCurrentIndex(1); // makes no difference
        fillDialog(&dialog, row.fields, "Accept");
        QVERIFY(!dialog.isVisible());
        QCOMPARE(said.startsWith(kRefused), row.expected.isEmpty());
        QTRY_VERIFY(!dialog.isCopying());
        QCOMPARE(runs().value(0).mid(2).join('|'), row.expected);
        dialog.show();
        fillDialog(&dialog, {}, "Cancel");
        QVERIFY(!dialog.isVisible() && !dialog.isCopying());
    }
}

void PartialRestoreTest::outcome()
{
    const QString log =
        QFile::decodeName(qgetenv("XDG_STATE_HOME")) + "/Corvane/Pellory/Pellory.log";
    for (const auto &[logged, reported] :
         {std::pair("", kFinished), {"Permission denied", ""}, {"it is missing", ""}}) {
        QFile::remove(log);
        cleanup();
        if (*logged != 'i')
            write("", kTool, *logged ? QFile::Permissions() : QFile::ExeOwner);
        MainWindowProbe probe;
        PartialRestoreDialog *dialog = openDialog(probe);
        fillDialog(dialog, {"1", "2", "n"}, "Accept");
        QTRY_VERIFY(!dialog->isCopying());
        QTest::qWait(1); // what was emitted before the end has arrived
        QTRY_COMPARE(status(probe), reported);
        emit probe.window.updateStatus("Adding: x");
        QTRY_COMPARE(status(probe), QString("Count: 1 | Adding: x"));
        const QByteArray written = contentOf(log);
        QVERIFY2(written.contains("/clipforge.exe>") == (*logged != 0) && written.contains(logged),
                 written);
    }
}

// One copy at a time for each dialog, a new dialog for each use.
void PartialRestoreTest::duringACopy()
{
    installTool();
    write(".hold");
    MainWindowProbe probe;
    const auto count = [&] { return probe.window.findChildren<PartialRestoreDialog *>().size(); };
    PartialRestoreDialog *copying = openDialog(probe);
    fillDialog(copying, {"1", "2", "first"}, "Accept");
    QTRY_COMPARE(runs().size(), 1);
    copying->show();
    fillDialog(copying, {"3", "4", "second"}, "Accept");
    QVERIFY(!copying->isVisible());
    QCOMPARE(status(probe), kRefused + "the copy before has not ended");

    PartialRestoreDialog *second = openDialog(probe);
    QVERIFY(second != copying && second->isVisible() && !second->isModal());
    QCOMPARE(count(), 2);
    openDialog(probe);
    QVERIFY(!second->isVisible());
    QTRY_COMPARE(count(), 2); // the second one was not copying
    QVERIFY(QFile::remove(m_tool + ".hold"));
    QTRY_COMPARE(status(probe), kFinished);
    QTRY_VERIFY(!copying->isCopying());
    QCOMPARE(runs().size(), 1);
    fillDialog(copying, {}, "Accept");
    QTRY_COMPARE(runs().size(), 2);
    QVERIFY(runs()[1].contains("/out\\second"));
    QTRY_VERIFY(!copying->isCopying());
    openDialog(probe);
    QTRY_COMPARE(count(), 1);
}

// The tool goes with the window, and so does what the tool has started.
void PartialRestoreTest::destroyedDuringCopy()
{
    installTool();
    write(".hold");
    for (const char *manners : {".hold", ".deaf"}) {
        write(manners);
        QFile::remove(m_tool + ".log");
        QStringList processes;
        {
            MainWindowProbe probe;
            fillDialog(openDialog(probe), {}, "Accept");
            QTRY_COMPARE(runs().size(), 1);
            for (const QByteArray &id : runs()[0].mid(0, 2))
                processes << "/proc/" + id + "/exe";
            QVERIFY(QFileInfo(processes[0]).isSymLink() && QFileInfo(processes[1]).isSymLink());
        }
        for (const QString &process : processes)
            QTRY_VERIFY2(QFile::symLinkTarget(process).isEmpty(), manners); // no more than a zombie
    }
}

PELLORY_TEST_MAIN(PartialRestoreTest, QApplication)
#include "tst_partialrestore.moc"
