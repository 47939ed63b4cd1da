// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// The partial restore with a copy tool of the test's own, which stands beside the test's program.
#include "windowprobe.h"

#include "partialrestoredialog.h"

// Reads its input to the end, notes its arguments and the ids of its process and of one that it
// starts, runs as long as there is a file "hold", and fails. Neither process ends when it is asked
// to if there is a file "deaf".
static const QByteArray kTool = R"(#!/bin/sh
cat
[ ! -e "$0.deaf" ] || trap '' TERM
sleep 100 &
for argument; do printf '%s|' "$argument" >>"$0.arguments"; done
echo "$$ $!" >"$0.ids"
while [ -e "$0.hold" ]; do sleep 0.02; done
kill -KILL $!
exit 3
)";

class PartialRestoreTest : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void commandLine();
    void duringACopy();

private:
    static PartialRestoreDialog *accept(MainWindowProbe &probe, const QStringList &fields)
    {
        probe.ui.button_PartialFile->click();
        fillDialog(probe.dialog<PartialRestoreDialog>(), fields);
        return probe.dialog<PartialRestoreDialog>();
    }

    const QString m_tool = QCoreApplication::applicationDirPath() + "/clipforge.exe";
};

void PartialRestoreTest::init()
{
    cleanup(); // of a run that was ended
    QVERIFY(fill(m_tool, kTool));
    QVERIFY(QFile::setPermissions(m_tool, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
}

void PartialRestoreTest::cleanup()
{
    for (const char *suffix : {"", ".arguments", ".ids", ".hold", ".deaf"})
        QFile::remove(m_tool + suffix);
}

void PartialRestoreTest::commandLine()
{
    // Source, target, fields (in, out, file name), the tool's arguments, what is told.
    const std::tuple<QString, QString, QString, QByteArray, QString> rows[] = {
        {"D:\\a b.mxf", "D:\\clips", "100/250/part.mxf",
         "-s|D:\\a b.mxf|-t|D:\\clips\\part.mxf|-p|copy|-absin|100|-absout|250|-fg|", "finished"},
        {"", "t", "100/250/n", "not readable", "refused: no file was selected"},
        {"s3://:@h.org/b/ü", "t\\", "01:00:00:00//",
         "-s|s3://:@h.org/b/ü|-t|t\\|-p|copy|-absin|0|-absout|0|-fg|", "finished"},
        {"s", "", "100/250/n", "not readable", "refused: there is no target directory"}};
    MainWindowProbe probe;
    for (const auto &[source, target, fields, arguments, told] : rows) {
        QFile::remove(m_tool + ".arguments");
        probe.selectedPath = source;
        probe.ui.combo_TargetDir->setEditText(target);
        const PartialRestoreDialog *dialog = accept(probe, fields.split('/'));
        QVERIFY(!dialog->isVisible());
        QTRY_COMPARE(probe.ui.textbox_Status->toPlainText(), "Partial restore " + told);
        QTRY_VERIFY(!dialog->isCopying());
        QCOMPARE(contentOf(m_tool + ".arguments"), arguments);
    }
    QTRY_COMPARE(probe.window.findChildren<PartialRestoreDialog *>().size(), 1);
}

// One copy at a time for each dialog. The tool goes with the window, and so does what the tool has
// started.
void PartialRestoreTest::duringACopy()
{
    for (const char *manners : {".hold", ".deaf"}) {
        QVERIFY(fill(m_tool + manners, {}));
        QFile::remove(m_tool + ".ids");
        auto probe = std::make_unique<MainWindowProbe>();
        probe->selectedPath = "/m/a.mxf";
        PartialRestoreDialog *copying = accept(*probe, {});
        QTRY_VERIFY(contentOf(m_tool + ".ids").endsWith('\n'));
        fillDialog(copying, {});
        QCOMPARE(probe->ui.textbox_Status->toPlainText(),
                 QString("Partial restore refused: the copy before has not ended"));
        QStringList processes;
        for (const QByteArray &id : contentOf(m_tool + ".ids").trimmed().split(' '))
            processes << "/proc/" + id + "/exe";
        QVERIFY(QFileInfo(processes[0]).isSymLink() && QFileInfo(processes[1]).isSymLink());
        probe.reset();
        for (const QString &process : processes)
            QTRY_VERIFY2(QFile::symLinkTarget(process).isEmpty(), manners); // no more than a zombie
    }
}

PELLORY_TEST_MAIN(PartialRestoreTest, QApplication)
#include "tst_partialrestore.moc"
