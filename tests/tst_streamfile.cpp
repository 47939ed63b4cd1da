// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "access.h"
#include "filename.h"
#include "streamcontent.h"
#include "streamfile.h"
#include "testmain.h"

#include <QProcess>

#ifndef Q_OS_WIN
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

class StreamFileTest : public QObject
{
    Q_OBJECT
private slots:
    void names();
    void forms();
    void otherReaders();
    void replacesFiles();
    void pipes();
    void closedFolder();

private:
    QString at(const char *name) const { return m_directory.filePath(name); }
    QString addressIn(const QByteArray &content) const;

    QTemporaryDir m_directory;
};

namespace {

const QString kSecret = "s3://AK:SK@h.org/b";

} // namespace

// What the readers of docs/examples, which share no code with the program, find in a stream file.
QString StreamFileTest::addressIn(const QByteArray &content) const
{
    QList<QStringList> readers{{PELLORY_READER}};
    if (!isWindows) // Wine starts no Linux program
        readers << QStringList{PELLORY_PYTHON, PELLORY_DOCS "/examples/read_stream.py"};
    QStringList found;
    fill(at("read.stream"), content);
    for (const QStringList &reader : readers) {
        QProcess process;
        process.start(reader[0], reader.mid(1) + QStringList{at("read.stream")});
        const bool done = process.waitForFinished() && process.exitCode() == 0;
        found += done ? QString::fromUtf8(process.readAllStandardOutput()).trimmed() : "refused";
    }
    return found[0] == found.last() ? found[0] : "the readers differ: " + found.join(", ");
}

void StreamFileTest::names()
{
    for (const auto &[name, posix, windows] :
         {std::tuple(QString("News 2026. ü🎬"), "News 2026. ü🎬", "News 2026. ü🎬"),
          {"../a\\..\\b", ".._a_.._b", ".._a_.._b"},
          {QString("a") + QChar(0) + "b", "a_b", "a_b"},
          {"a:b<c>\"|?*\n", "a:b<c>\"|?*\n", "a_b_c______"},
          {"clip. ", "clip. ", "clip._"},
          {"nul.tar.gz", "nul.tar.gz", "nul_.tar.gz"},
          {"com\u00b2", "com\u00b2", "com\u00b2_"},
          {"COM0 COM10 CONSOLE", "COM0 COM10 CONSOLE", "COM0 COM10 CONSOLE"}}) {
        QCOMPARE(fileNameOnDisk(name, NameRules::Posix), QString(posix));
        QCOMPARE(fileNameOnDisk(name, NameRules::Windows), QString(windows));
    }
}

void StreamFileTest::forms()
{
    for (const auto &[address, ownerOnly] :
         {std::pair(QString("C:\\media\\片\\🎬 a+b%20.mxf"), false),
          {"s3://AK:ab/c+d@e:f@127.0.0.1:80/b/clip.mxf", true},
          {"s3://AK:@h.org/b", true},
          {"s3://:@h.org/b/clip.mxf", false},
          {"https://h.org/" + QString(70000, 'x'), false}}) {
        for (const bool encrypt : {false, true}) {
            const QString path = at("form.stream");
            QFile::remove(path);
            QVERIFY(writeStreamFile(path, address, encrypt));
            const QByteArray content = contentOf(path);
            QVERIFY(encrypt ? content.startsWith(":x") : content == address.toUtf8());
            QCOMPARE(addressIn(content), address);
            QVERIFY2(othersHaveAccess(path) == !ownerOnly, qPrintable(address));
        }
    }
}

// The program's files, those of the page and bad ones.
void StreamFileTest::otherReaders()
{
    const QString source = at("clip é.mxf"), written = at("written.stream");
    QVERIFY(fill(source, "media"));
    for (const char *option : {"-", "-e"}) {
        QCOMPARE(QProcess::execute(PELLORY_PROGRAM, {option, "-u", source, "-t", written}), 1);
        QCOMPARE(contentOf(written).startsWith(":x"), option[1] == 'e');
        QCOMPARE(addressIn(contentOf(written)), source);
    }
    QList<QPair<QByteArray, QString>> rows{
        {":x", "refused"},
        {":xAUBBQkNERUZHSElKS0xNTk9QUVJTVFVWVwyREbPLRkmKtEgTWjLGbCkl7SU8", "refused"}};
    // A file stands below its address, both indented.
    const QRegularExpression form("^    (\\S.*)\n\n    (:x\\S+)$",
                                  QRegularExpression::MultilineOption);
    auto files = form.globalMatch(contentOf(PELLORY_DOCS "/encrypted-form.md"));
    for (; files.hasNext(); files.next())
        rows.append({files.peekNext().captured(2).toUtf8(), files.peekNext().captured(1)});
    QCOMPARE(rows.size(), 4);
    for (const auto &[content, address] : rows)
        QCOMPARE(addressIn(content), address);
}

// Whoever has a file open that others could read never reads the secret; the names that lead to
// the file stay.
void StreamFileTest::replacesFiles()
{
    // The "\" is a separator on the disk, also where the system's own is "/".
    const QString written = m_directory.path() + "\\again.stream", path = at("again.stream");
    const QByteArray old(5000, 'x');
    QVERIFY(writeStreamFile(written, old, false) && othersHaveAccess(path));
    QVERIFY(writeStreamFile(written, kSecret, false) && !othersHaveAccess(path));
    QCOMPARE(contentOf(path), kSecret.toUtf8());
#ifndef Q_OS_WIN
    QVERIFY(QFile::link("again.stream", at("link.stream")));
    for (const bool isDangling : {true, false}) {
        QFile::remove(path);
        QFile before(path);
        QVERIFY(isDangling || (writeStreamFile(path, old, false) && before.open(QFile::ReadOnly) &&
                               ::link(path.toUtf8(), at("hard.stream").toUtf8()) == 0));
        QVERIFY(writeStreamFile(at("link.stream"), kSecret, false) && !othersHaveAccess(path));
        QCOMPARE(contentOf(path), kSecret.toUtf8());
        QVERIFY(isDangling || (before.readAll() == old && contentOf(at("hard.stream")) == old));
        QVERIFY(QFileInfo(at("link.stream")).isSymLink());
    }
    // Wine forgets rights here, which Windows keeps.
    QVERIFY(writeStreamFile(written, "a", false) && !othersHaveAccess(path));
#endif
    QVERIFY(!writeStreamFile(at("missing/a.stream"), "a", false));
    for (const QString &address : {QString("a"), kSecret})
        QVERIFY(!writeStreamFile(m_directory.path(), address, true));
    QCOMPARE(QDir(m_directory.path()).entryList({".*"}, QDir::Files | QDir::Hidden), QStringList());
}

void StreamFileTest::pipes()
{
#ifndef Q_OS_WIN
    const QByteArray path = at("pipe").toUtf8();
    QVERIFY(::mkfifo(path, 0644) == 0 && !writeStreamFile(path, kSecret, false)); // nobody reads
    const int end = ::open(path, O_RDONLY | O_NONBLOCK);
    char content[100] = {};
    QVERIFY(writeStreamFile(path, kSecret, false));
    QVERIFY(::read(end, content, 99) > 0);
    ::close(end);
    QCOMPARE(QString(content), kSecret);
    QVERIFY(othersHaveAccess(path)); // nothing is kept in it
#endif
}

// Where no file can be made beside it, an old file is filled all the same.
void StreamFileTest::closedFolder()
{
#ifndef Q_OS_WIN
    const uid_t nobody = 65534; // root is kept out by no mode
    const QByteArray folder = at("closed").toUtf8(), path = folder + "/wide.stream";
    QVERIFY(QDir().mkpath(folder) && writeStreamFile(path, "old", false));
    QVERIFY(::geteuid() != 0 || ::chown(path, nobody, nobody) == 0);
    QVERIFY(::chmod(m_directory.path().toUtf8(), 0711) == 0 && ::chmod(folder, 0555) == 0);
    QVERIFY(::geteuid() != 0 || ::seteuid(nobody) == 0);
    const bool isWritten = writeStreamFile(path, kSecret, false);
    QVERIFY(::seteuid(::getuid()) == 0 && ::chmod(folder, 0755) == 0 && isWritten);
    QCOMPARE(contentOf(path), kSecret.toUtf8());
    QVERIFY(!othersHaveAccess(path));
#endif
}

PELLORY_TEST_MAIN(StreamFileTest, QCoreApplication)
#include "tst_streamfile.moc"
