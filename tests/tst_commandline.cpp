// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "commandline.h"
#include "displayneed.h"
#include "streamcontent.h"
#include "testmain.h"

#include <QProcess>

#ifndef Q_OS_WIN
#include <arpa/inet.h>
#include <csignal>
#include <sys/socket.h>
#endif

class CommandLineTest : public QObject
{
    Q_OBJECT
private slots:
    void address();
    void target();
    void run();
    void displayNeed();
    void noDisplay();
    void endsInOrder();

private:
    QTemporaryDir m_directory;
};

namespace {

const QString kNoSource = "Could not open source url\n";

QString usage()
{
    return "\nPellory: Create and Encrypt .stream files from local and cloud stored files\n"
           "\t-u <sourceurl> - The source url name and path\n"
           "\t-f <sourcefile> - The source file name\n"
           "\t-t <targetfile> - The target file name and path\n"
           "\t-k <key> - The Amazon S3 cloud storage connection key\n"
           "\t-s <secret> - The Amazon S3 cloud storage connection secret\n"
           "\t-r <region> - The Amazon S3 cloud storage connection region\n"
           "\t-b <bucket> - The Amazon S3 cloud storage source bucket\n"
           "\t-e <encrypt> - Encrypt output stream file\n"
           "Sourceurl may contain a partial path, supplemented by a bucket and/or sourcefile, or "
           "a full path to a file. Sourceurl may also be replaced by specifying a key and "
           "secret.\n"
           "Targetfile may specify a full path and file name or a directory and Pellory will "
           "attempt to create a stream file named after the source file.\n";
}

void writeFile(const QString &path, const QByteArray &content)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
}

// The program, where no display can be had unless `variables` say otherwise.
class Program : public QProcess
{
public:
    explicit Program(const QStringList &arguments,
                     [[maybe_unused]] const QMap<QString, QString> &variables = {
                         {"QT_QPA_PLATFORM", "xcb"}, {"QT_QPA_PLATFORMTHEME", "gtk3"}})
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
#ifndef Q_OS_WIN // which has a display at any time
        for (const char *name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
            environment.remove(name);
        for (auto it = variables.cbegin(); it != variables.cend(); ++it)
            environment.insert(it.key(), it.value());
#endif
        setProcessEnvironment(environment);
        start(PELLORY_PROGRAM, arguments);
    }
    // The exit status, as a signed byte, and what was printed.
    QString outcome()
    {
        if (!waitForFinished() || exitStatus() != NormalExit)
            return "crashed or hangs";
        return QString::number(qint8(exitCode())) + '|' +
               QString::fromUtf8(readAllStandardOutput()).remove('\r');
    }
};

#ifndef Q_OS_WIN
bool isCaught(qint64 process, int signal)
{
    const QByteArray status = contentOf(QString("/proc/%1/status").arg(process));
    const quint64 caught = status.mid(status.indexOf("SigCgt:\t") + 8, 16).toULongLong(nullptr, 16);
    return caught >> (signal - 1) & 1;
}
#endif

} // namespace

void CommandLineTest::address()
{
    const QString s3 = "s3://AK:S/K@s3.amazonaws.com/";
    struct Row
    {
        const char *name;
        QStringList arguments;
        QString expected;
    };
    for (const Row &row : {
             Row{"url, file, bucket", {"-f", "a", "-b", "b", "-u", "u"}, "u\\b\\a"},
             {"separator in both", {"-u", "u\\", "-f", "\\a"}, "u\\\\a"},
             {"empty url counts", {"-u", "", "-f", "a"}, "\\a"},
             {"bucket, file", {"-k", "AK", "-s", "S/K", "-b", "b", "-f", "a"}, s3 + "b\\a"},
             {"leading ones", {"-k", "AK", "-s", "S/K", "-b", "\\b", "-f", "\\a"}, s3 + "b\\a"},
             {"final one", {"-k", "AK", "-s", "S/K", "-b", "\\\\b\\", "-f", "a"}, s3 + "\\b\\a"},
             {"empty key", {"-b", "b", "-k", "", "-s"}, "s3://:@s3.amazonaws.com/b"},
             {"second character selects", {"-url", "u", "-file.x", "a"}, "u\\a"},
             {"value looks like an option", {"-u", "-f", "-f", "-u"}, "-f\\-u"},
             {"no value left", {"-f", "a", "-u"}, "\\a"},
             {"strangers are skipped", {"x", "-", "--u", "", "-u", "ü", "-z", "y"}, "ü"},
             {"nothing", {}, "none"},
             {"no key", {"-s", "S", "-b", "b"}, "none"},
             {"neither bucket nor file", {"-k", "K", "-s", "S"}, "none"},
         })
        QVERIFY2(sourceAddress(readOptions(row.arguments)).value_or("none") == row.expected,
                 row.name);
}

void CommandLineTest::target()
{
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
// the test's folder. In-process and through the program.
void CommandLineTest::run()
{
    const QString path = m_directory.filePath("out.stream");
    const QString source = m_directory.path() + "\\a.mxf";
    writeFile(m_directory.filePath("a.mxf"), "media");
    struct Row
    {
        const char *arguments;
        int status;
        QString printed;
    };
    for (const Row &row : {Row{"?", -1, usage() + usage()},
                           {"?x -u %\\a.mxf -t %\\out", 1, usage()},
                           {"-t %", -1, usage()},
                           {"-u %\\missing -t %/none/x.stream", -1, kNoSource},
                           {"-u % -t %\\out", -1, kNoSource},
                           {"-u %\\a.mxf -t %\\none\\x", -1, "Could not open target\n"},
                           {"-u % -f a.mxf -t %\\out", 1, ""},
                           {"-u % -f a.mxf -e -t %\\out", 1, ""}}) {
        QStringList arguments = QString(row.arguments).split(' ');
        arguments.replaceInStrings("%", m_directory.path());
        const auto fileIsRight = [&] {
            if (row.status != 1)
                return contentOf(path) == "kept";
            return arguments.contains("-e") ? decoded(contentOf(path)) == source
                                            : contentOf(path) == source.toUtf8();
        };
        writeFile(path, "kept");
        QString output;
        QTextStream out(&output);
        QVERIFY2(runCommandLine(arguments, out) == row.status, row.arguments);
        QCOMPARE(output, row.printed);
        QVERIFY2(fileIsRight(), row.arguments);

        writeFile(path, "kept");
        Program program(arguments + QStringList{"-reverse"});
        QCOMPARE(program.outcome(), QString::number(row.status) + '|' + row.printed);
        QCOMPARE(program.readAllStandardError(), QByteArray());
        QVERIFY2(fileIsRight(), row.arguments);
    }
}

void CommandLineTest::displayNeed()
{
    for (const char *words : {"-u x", "?", "--style fusion -t x"})
        QVERIFY2(runsWithoutDisplay(QByteArray(words).split(' ')), words);
    for (const char *words :
         {"-style fusion --reverse -stylesheet=x --display :0 -geometry 10x10 -qwindowgeometry 9x9 "
          "-session s -widgetcount",
          "-title -u", "-u x --platform minimal"})
        QVERIFY2(!runsWithoutDisplay(QByteArray(words).split(' ')), words);
    QVERIFY(!runsWithoutDisplay({}));
}

// The window says why it does not come, and Qt's talk of a runtime directory is not logged.
void CommandLineTest::noDisplay()
{
#ifndef Q_OS_WIN
    struct Row
    {
        const char *platform, *display, *said;
    };
    for (const Row &row : {Row{"xcb", "", "could not connect to display"},
                           {"xcb", ":77", "could not connect to display :77"},
                           {"none", "", "Could not find the Qt platform plugin \"none\""},
                           {"linuxfb:fb=/none", "", "linuxfb: Failed to initialize screen"}}) {
        Program program(
            {},
            {{"QT_QPA_PLATFORM", row.platform}, {"DISPLAY", row.display}, {"XDG_RUNTIME_DIR", ""}});
        QCOMPARE(program.outcome(), QString("-1|"));
        const QByteArray said = program.readAllStandardError();
        QVERIFY2(said.startsWith("pellory: no display") && said.contains(row.said), said);
    }
    QCOMPARE(Program({"-t", "x"}, {{"XDG_RUNTIME_DIR", ""}}).outcome(), "-1|" + usage());
    const QByteArray log = contentOf(qgetenv("XDG_STATE_HOME") + "/Corvane/Pellory/Pellory.log");
    QVERIFY2(log.contains("could not connect") && !log.contains("XDG_RUNTIME_DIR"), log);
#endif
}

void CommandLineTest::endsInOrder()
{
#ifndef Q_OS_WIN
    // A server that accepts and says nothing.
    const int server = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in place{};
    socklen_t size = sizeof place;
    place.sin_family = AF_INET;
    place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    QVERIFY(::bind(server, reinterpret_cast<sockaddr *>(&place), size) == 0 &&
            ::listen(server, 8) == 0 &&
            ::getsockname(server, reinterpret_cast<sockaddr *>(&place), &size) == 0);
    const QString address = QString("http://127.0.0.1:%1/x").arg(ntohs(place.sin_port));
    const QStringList waiting{"-u", address, "-t", m_directory.filePath("stopped")};

    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        std::signal(signal, SIG_DFL); // which children inherit
        std::signal(SIGHUP, signal == SIGTERM ? SIG_IGN : SIG_DFL);
        Program program(waiting);
        const int connection = ::accept(server, nullptr, nullptr);
        if (signal == SIGTERM) {
            ::kill(pid_t(program.processId()), SIGHUP);
            QVERIFY2(!program.waitForFinished(300), "nohup does not help");
        }
        ::kill(pid_t(program.processId()), signal);
        QCOMPARE(program.outcome(), "-1|" + kNoSource);
        ::close(connection);

        Program window({}, {{"QT_QPA_PLATFORM", "offscreen"}});
        QTRY_VERIFY_WITH_TIMEOUT(isCaught(window.processId(), signal), 30000);
        ::kill(pid_t(window.processId()), signal);
        QCOMPARE(window.outcome(), QString("0|"));
    }
    ::close(server);
    QVERIFY(!QFile::exists(waiting.last() + ".stream"));
#endif
}

PELLORY_TEST_MAIN(CommandLineTest, QCoreApplication)
#include "tst_commandline.moc"
