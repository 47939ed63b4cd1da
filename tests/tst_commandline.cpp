// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "access.h"
#include "commandline.h"
#include "streamcontent.h"

#include <csignal>

class CommandLineTest : public QObject
{
    Q_OBJECT
private slots:
    void arguments();
    void run();
    void noDisplay();
    void endsInOrder();

private:
    QTemporaryDir m_directory;
};

namespace {

// What was printed, with "usage" for each usage text.
QString shortened(QString printed)
{
    QString start;
    while (QCryptographicHash::hash(printed.left(803).toUtf8(), QCryptographicHash::Sha1).toHex() ==
           "43f535daa9a265f846ea859fe6c8bf7aa26580e3") {
        printed.remove(0, 803);
        start += "usage";
    }
    return start + printed;
}

// The program, where no display can be had unless `variables` say otherwise.
class Program : public QProcess
{
public:
    explicit Program(const QStringList &arguments, const QStringList &variables = {})
    {
        const QStringList none{"DISPLAY=", "WAYLAND_DISPLAY=", "QT_QPA_PLATFORM=xcb",
                               "QT_QPA_PLATFORMTHEME=gtk3"};
        if (!isWindows) // which has a display at any time
            setEnvironment(systemEnvironment() + none + variables);
        start(PELLORY_PROGRAM, arguments);
    }
    bool catches(int signal) const
    {
        const QByteArray status = contentOf(QString("/proc/%1/status").arg(processId()));
        const QByteArray mask = status.mid(status.indexOf("SigCgt:\t") + 8, 16);
        return mask.toULongLong(nullptr, 16) >> (signal - 1) & 1;
    }
    // The exit status, as a signed byte, and what was printed.
    QString outcome()
    {
        if (!waitForFinished() || exitStatus() != NormalExit)
            return "crashed or hangs";
        return QString::number(qint8(exitCode())) + '|' +
               shortened(QString::fromUtf8(readAllStandardOutput()).remove('\r'));
    }
};

} // namespace

// Source address, then target.
void CommandLineTest::arguments()
{
    for (const auto &[arguments, expected] :
         {std::pair("-f a -b b -u u", "u\\b\\a"),
          {"-u u\\ -f \\a", "u\\\\a"}, // separators in both
          {"-u  -f a", "\\a"},         // an empty url counts
          {"-k AK -s S/K -b \\b -f \\a", "s3://AK:S/K@s3.amazonaws.com/b\\a"},
          {"-b b -k  -s", "s3://:@s3.amazonaws.com/b"},
          {"-url u -file.x a", "u\\a"}, // the second character selects
          {"-u -f -f -u", "-f\\-u"},    // values that look like options
          {"", "none"},
          {"-k K -s S", "none"}})
        QVERIFY2(sourceAddress(readOptions(QString(arguments).split(' '))).value_or("none") ==
                     expected,
                 arguments);
    QVERIFY(readOptions({"-e", "value"}).encrypt && !readOptions({"-u", "-e", "e"}).encrypt);
    QCOMPARE(readOptions({"-t"}).target.value_or("none"), QString());
    const QString folder = m_directory.path();
    for (const auto &[given, address, expected] :
         {std::tuple(folder, "C:\\m\\a.mxf", folder + "\\a.mxf.stream"),
          {folder + "\\", "C:\\m\\a.mxf", folder + "\\a.mxf.stream"},
          {folder, "s3://:@h.org/b/a", folder + "\\s3://:@h.org/b/a.stream"},
          {folder + "\\name", "a", folder + "\\name.stream"},
          {"o\\n.stream.bak", "a", "o\\n.stream.bak"},
          {"", "a", ".stream"}})
        QCOMPARE(targetPath(given, address), expected);
}

// Ordered as the checks are: what fails first is reported, whatever else is wrong. "%" stands for
// the test's folder.
void CommandLineTest::run()
{
    const QString path = m_directory.filePath("out.stream");
    const QString source = m_directory.path() + "\\a.mxf";
    QVERIFY(fill(m_directory.filePath("a.mxf"), "media"));
    for (const auto &[words, status, printed] :
         {std::tuple("?", -1, "usageusage"),
          {"?x -u %\\a.mxf -t %\\out", 1, "usage"},
          {"-t %", -1, "usage"},
          {"-u %\\missing -t %/none/x.stream", -1, "Could not open source url\n"},
          {"-u % -t %\\out", -1, "Could not open source url\n"},
          {"-u %\\a.mxf -t %\\none\\x", -1, "Could not open target\n"},
          {"-u % -f a.mxf -t %\\out", 1, ""},
          {"-u % -f a.mxf -e -t %\\out", 1, ""}}) {
        QStringList arguments = QString(words).split(' ');
        arguments.replaceInStrings("%", m_directory.path());
        QByteArray expected = "kept";
        if (status == 1)
            expected = source.toUtf8();
        QVERIFY(fill(path, "kept"));
        Program program(arguments + QStringList{"-reverse"});
        QCOMPARE(program.outcome(), QString::number(status) + '|' + printed);
        QCOMPARE(program.readAllStandardError(), QByteArray());
        const QByteArray written = contentOf(path);
        QCOMPARE(arguments.contains("-e") ? decoded(written).toUtf8() : written, expected);
    }
}

// The window says why it does not come, and Qt's talk of a runtime directory is not logged.
void CommandLineTest::noDisplay()
{
#ifndef Q_OS_WIN
    for (const auto &[variables, expected] :
         {std::pair("XDG_RUNTIME_DIR=", "could not connect to display"),
          {"QT_QPA_PLATFORM=linuxfb:fb=/none", "linuxfb: Failed to initialize screen"}}) {
        Program program({"--reverse"}, {variables});
        QCOMPARE(program.outcome(), QString("-1|"));
        const QByteArray said = program.readAllStandardError();
        QVERIFY2(said.startsWith("pellory: no display") && said.contains(expected), said);
    }
    QCOMPARE(Program({"-t", "x"}, {"XDG_RUNTIME_DIR="}).outcome(), QString("-1|usage"));
    QCOMPARE(Program({"?"}).outcome(), QString("-1|usageusage"));
    const QByteArray log = contentOf(qgetenv("XDG_STATE_HOME") + "/Corvane/Pellory/Pellory.log");
    QVERIFY2(log.contains("could not connect") && !log.contains("XDG_RUNTIME_DIR") &&
                 !log.contains("on_button_tams"),
             log);
#endif
}

void CommandLineTest::endsInOrder()
{
#ifndef Q_OS_WIN
    QProcess server; // accepts and says nothing
    server.start(PELLORY_PYTHON,
                 {"-c", "import socket\n"
                        "listener = socket.create_server(('127.0.0.1', 0))\n"
                        "print(listener.getsockname()[1], flush=True)\n"
                        "taken = []\n"
                        "while taken.append(listener.accept()) is None: print(flush=True)\n"});
    QVERIFY(server.waitForReadyRead());
    const QStringList waiting{"-u", "http://127.0.0.1:" + server.readLine().trimmed() + "/x", "-t",
                              m_directory.filePath("stopped")};
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        std::signal(signal, SIG_DFL); // which children inherit
        std::signal(SIGHUP, signal == SIGTERM ? SIG_IGN : SIG_DFL);
        Program program(waiting);
        QVERIFY(server.waitForReadyRead() && !server.readAll().isEmpty());
        QTRY_VERIFY_WITH_TIMEOUT(program.catches(signal), 30000);
        QVERIFY(program.catches(SIGHUP) == (signal != SIGTERM)); // nohup stays what it is
        ::kill(pid_t(program.processId()), signal);
        QCOMPARE(program.outcome(), QString("-1|Could not open source url\n"));

        Program window({}, {"QT_QPA_PLATFORM=offscreen"});
        QTRY_VERIFY_WITH_TIMEOUT(window.catches(signal), 30000);
        ::kill(pid_t(window.processId()), signal);
        QCOMPARE(window.outcome(), QString("0|"));
    }
    server.kill();
    QVERIFY(server.waitForFinished() && !QFile::exists(waiting.last() + ".stream"));
#endif
}

PELLORY_TEST_MAIN(CommandLineTest, QCoreApplication)
#include "tst_commandline.moc"
