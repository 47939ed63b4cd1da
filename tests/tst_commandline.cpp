// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "commandline.h"
#include "displayneed.h"
#include "streamcontent.h"
#include "testmain.h"

#include <QFileInfo>
#include <QProcess>

class CommandLineTest : public QObject
{
    Q_OBJECT
private slots:
    void address_data();
    void address();
    void target();
    void run_data();
    void run();
    void displayNeed();

private:
    void runProgram(const QStringList &arguments, int status, const QString &printed);

    QTemporaryDir m_directory;
};

namespace {

const char noAddress[] = "no address";

void writeFile(const QString &path, const QByteArray &content)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
}

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

} // namespace

void CommandLineTest::address_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char *name, const QStringList &arguments, const QString &expected) {
        QTest::newRow(name) << arguments << expected;
    };
    const QString s3 = "s3://AK:S/K@s3.amazonaws.com/";

    row("url, file, bucket", {"-f", "a", "-b", "b", "-u", "u"}, "u\\b\\a");
    row("separator in both", {"-u", "u\\", "-f", "\\a"}, "u\\\\a");
    row("empty url counts", {"-u", "", "-f", "a"}, "\\a");
    row("bucket and file", {"-k", "AK", "-s", "S/K", "-b", "b", "-f", "a"}, s3 + "b\\a");
    row("leading separators", {"-k", "AK", "-s", "S/K", "-b", "\\b", "-f", "\\a"}, s3 + "b\\a");
    row("bucket ends in one", {"-k", "AK", "-s", "S/K", "-b", "\\\\b\\", "-f", "a"}, s3 + "\\b\\a");
    row("empty key and secret", {"-b", "b", "-k", "", "-s"}, "s3://:@s3.amazonaws.com/b");

    row("second character selects", {"-url", "u", "-file.x", "a"}, "u\\a");
    row("value looks like an option", {"-u", "-f", "-f", "-u"}, "-f\\-u");
    row("no value left", {"-f", "a", "-u"}, "\\a");
    row("strangers are skipped", {"x", "-", "--u", "", "-u", "ü", "-z", "y"}, "ü");

    row("nothing", {}, noAddress);
    row("no key", {"-s", "S", "-b", "b"}, noAddress);
    row("neither bucket nor file", {"-k", "K", "-s", "S"}, noAddress);
}

void CommandLineTest::address()
{
    QFETCH(QStringList, arguments);
    QTEST(sourceAddress(readOptions(arguments)).value_or(noAddress), "expected");
}

void CommandLineTest::target()
{
    QVERIFY(readOptions({"-e", "value"}).encrypt && !readOptions({"-u", "-e", "e"}).encrypt);
    QCOMPARE(readOptions({"-t"}).target.value_or("none"), QString());
    const QString folder = m_directory.path();
    QCOMPARE(targetPath(folder, "C:\\m\\a.mxf"), folder + "\\a.mxf.stream");
    QCOMPARE(targetPath(folder + "\\", "C:\\m\\a.mxf"), folder + "\\a.mxf.stream");
    QCOMPARE(targetPath(folder, "s3://:@h.org/b/a"), folder + "\\s3://:@h.org/b/a.stream");
    QCOMPARE(targetPath(folder + "\\name", "a"), folder + "\\name.stream");
    QCOMPARE(targetPath("o\\n.stream.bak", "a"), QString("o\\n.stream.bak"));
    QCOMPARE(targetPath("", "a"), QString(".stream"));
}

// Ordered as the checks are: what fails first is reported, whatever else is wrong. "%" stands for
// the test's folder.
void CommandLineTest::run_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("printed");
    writeFile(m_directory.filePath("a.mxf"), "media");

    const auto row = [](const QString &arguments, int status, const QString &printed) {
        QTest::newRow(qPrintable(arguments)) << arguments.split(' ') << status << printed;
    };
    row("?", -1, usage() + usage());
    row("?x -u %\\a.mxf -t %\\out", 1, usage());
    row("-t %", -1, usage());
    row("-u %\\missing -t %/none/x.stream", -1, "Could not open source url\n");
    row("-u % -t %\\out", -1, "Could not open source url\n");
    row("-u %\\a.mxf -t %\\none\\x", -1, "Could not open target\n");
    row("-u % -f a.mxf -t %\\out", 1, "");
    row("-u % -f a.mxf -e -t %\\out", 1, "");
}

void CommandLineTest::run()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, status);
    QFETCH(QString, printed);
    arguments.replaceInStrings("%", m_directory.path());
    const QString path = m_directory.filePath("out.stream");
    const auto checkFile = [&] {
        if (status != 1)
            QCOMPARE(contentOf(path), QByteArray("kept"));
        else if (arguments.contains("-e"))
            QCOMPARE(decoded(contentOf(path)), m_directory.path() + "\\a.mxf");
        else
            QCOMPARE(contentOf(path), (m_directory.path() + "\\a.mxf").toUtf8());
    };

    writeFile(path, "kept");
    QString output;
    QTextStream out(&output);
    QCOMPARE(runCommandLine(arguments, out), status);
    QCOMPARE(output, printed);
    checkFile();

    writeFile(path, "kept");
    runProgram(arguments, status, printed);
    checkFile();
}

// The same through the program itself, where no display can be had.
void CommandLineTest::runProgram(const QStringList &arguments, int status, const QString &printed)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
#ifndef Q_OS_WIN // which has a display at any time, and keeps the whole status
    environment.remove("DISPLAY");
    environment.insert("QT_QPA_PLATFORM", "xcb");
    environment.insert("QT_QPA_PLATFORMTHEME", "gtk3");
    status &= 0xFF;
#endif

    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(PELLORY_PROGRAM, arguments + QStringList{"-reverse"});
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), status);
    QCOMPARE(QString::fromUtf8(process.readAllStandardOutput()).remove('\r'), printed);
    QCOMPARE(process.readAllStandardError(), QByteArray());
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

PELLORY_TEST_MAIN(CommandLineTest, QCoreApplication)
#include "tst_commandline.moc"
