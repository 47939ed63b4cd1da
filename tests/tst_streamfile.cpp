// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "access.h"
#include "filename.h"
#include "streamcontent.h"
#include "streamfile.h"
#include "testmain.h"

#ifndef Q_OS_WIN
#include <atomic>
#include <fcntl.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#endif

class StreamFileTest : public QObject
{
    Q_OBJECT
private slots:
    void names();
    void forms();
    void replacesFiles();
    void privateFromTheStart();
    void pipes();
    void closedFolder();

private:
    QString at(const char *name) const { return m_directory.filePath(name); }

    QTemporaryDir m_directory;
};

namespace {

const QString kSecret = "s3://AK:SK@h.org/b";
const QString kPlain = "C:\\media\\clip.mxf";

} // namespace

void StreamFileTest::names()
{
    QCOMPARE(streamFilePath("D:\\out", "clip"), QString("D:\\out\\clip.stream"));
    QCOMPARE(streamFilePath("D:\\out\\", "clip.mxf"), QString("D:\\out\\clip.mxf.stream"));
    QCOMPARE(streamFilePath("/out/", "clip"), QString("/out/\\clip.stream"));
    QCOMPARE(streamFilePath("", "clip"), QString("\\clip.stream"));
    for (const auto &[name, posix, windows] :
         {std::tuple(QString("News 2026. ü🎬"), "News 2026. ü🎬", "News 2026. ü🎬"),
          {"../a\\..\\b", ".._a_.._b", ".._a_.._b"},
          {QString("a") + QChar(0) + "b", "a_b", "a_b"},
          {"a:b<c>\"|?*\n", "a:b<c>\"|?*\n", "a_b_c______"},
          {"clip.", "clip.", "clip_"},
          {"clip. ", "clip. ", "clip._"},
          {"Con", "Con", "Con_"},
          {"nul.tar.gz", "nul.tar.gz", "nul_.tar.gz"},
          {"AUX .mxf", "AUX .mxf", "AUX_ .mxf"},
          {"com\u00b2", "com\u00b2", "com\u00b2_"},
          {"lpt9.", "lpt9.", "lpt9_"},
          {"COM0 COM10 CONSOLE", "COM0 COM10 CONSOLE", "COM0 COM10 CONSOLE"},
          {"", "", ""}}) {
        QCOMPARE(fileNameOnDisk(name, NameRules::Posix), QString(posix));
        QCOMPARE(fileNameOnDisk(name, NameRules::Windows), QString(windows));
    }
}

void StreamFileTest::forms()
{
    for (const auto &[address, ownerOnly] : {std::pair(kPlain, false),
                                             {"/médias/片/🎬 a+b%20.mxf", false},
                                             {"s3://AK:ab/c+d@e:f@127.0.0.1:80/b/clip.mxf", true},
                                             {"S3://:SK@h.org/b", true},
                                             {"s3://AK:@h.org/b", true},
                                             {"s3://:@h.org/b/clip.mxf", false},
                                             {"", false},
                                             {"https://h.org/" + QString(70000, 'x'), false}}) {
        for (const bool encrypt : {false, true}) {
            const QString path = at("form.stream");
            QFile::remove(path);
            QVERIFY(writeStreamFile(path, address, encrypt));
            const QByteArray content = contentOf(path);
            QCOMPARE(encrypt ? decoded(content) : QString::fromUtf8(content), address);
            QVERIFY(!content.contains('\n'));
            QVERIFY2(othersHaveAccess(path) == !ownerOnly, qPrintable(address));
        }
    }
}

// Whoever has a file open that others could read never reads the secret; the names that lead to
// the file stay.
void StreamFileTest::replacesFiles()
{
    // The "\" is a separator on the disk, also where the system's own is "/".
    const QString written = m_directory.path() + "\\again.stream";
    const QString path = at("again.stream");
    for (const char *name : {"", "link.stream", "dangling.stream"}) {
        QFile::remove(path);
        const bool isDangling = QByteArray(name) == "dangling.stream";
        QVERIFY(isDangling || writeStreamFile(written, QString(5000, 'x'), false));
        QVERIFY(isDangling || othersHaveAccess(path));
#ifdef Q_OS_WIN
        if (*name)
            continue;
#else
        QVERIFY(!*name || QFile::link("again.stream", at(name)));
        QFile::remove(at("hard.stream"));
        QVERIFY(isDangling || ::link(path.toUtf8(), at("hard.stream").toUtf8()) == 0);
        QFile before(path);
        QVERIFY(before.open(QIODevice::ReadOnly) || isDangling);
#endif
        QVERIFY(writeStreamFile(*name ? at(name) : written, kSecret, false));
        QCOMPARE(contentOf(path), kSecret.toUtf8());
        QVERIFY(!othersHaveAccess(path));
#ifndef Q_OS_WIN
        QVERIFY(isDangling || before.readAll() == QByteArray(5000, 'x'));
        QVERIFY(isDangling || contentOf(at("hard.stream")) == QByteArray(5000, 'x'));
        QVERIFY(!*name || QFileInfo(at(name)).isSymLink());
#endif
    }
#ifndef Q_OS_WIN // Wine forgets rights here, which Windows keeps
    QVERIFY(writeStreamFile(written, kPlain, false) && !othersHaveAccess(path));
#endif
    QVERIFY(!writeStreamFile(at("missing/a.stream"), "a", false));
    for (const QString &address : {kPlain, kSecret})
        QVERIFY(!writeStreamFile(m_directory.path(), address, true));
    QCOMPARE(QDir(m_directory.path()).entryList({".*"}, QDir::Files | QDir::Hidden), QStringList());
}

// Looked at from another thread all the time.
void StreamFileTest::privateFromTheStart()
{
#ifndef Q_OS_WIN
    const QByteArray path = at("watched.stream").toUtf8();
    std::atomic<bool> ended{false};
    std::atomic<int> seen{0};
    std::atomic<uint> modes{0};
    std::thread watcher([&] {
        struct stat info;
        while (!ended) {
            if (::stat(path, &info) == 0) {
                ++seen;
                modes |= info.st_mode & 0777;
            }
        }
    });
    for (int i = 0; i < 1000000 && seen < 300; ++i) {
        writeStreamFile(path, kSecret, false);
        ::unlink(path);
    }
    ended = true;
    watcher.join();
    QVERIFY(seen >= 300);
    QCOMPARE(modes.load(), 0600u);
#endif
}

void StreamFileTest::pipes()
{
#ifndef Q_OS_WIN
    const QByteArray path = at("pipe").toUtf8();
    QCOMPARE(::mkfifo(path, 0644), 0);
    for (const QString &address : {kPlain, kSecret + QString(200000, 'x')}) {
        QVERIFY(!writeStreamFile(path, address, false)); // nobody reads
        QFile reader(path);
        const int end = ::open(path, O_RDONLY | O_NONBLOCK);
        QVERIFY(reader.open(end, QIODevice::ReadOnly) && ::fcntl(end, F_SETFL, 0) == 0);
        std::thread writer([&] { writeStreamFile(path, address, false); });
        QByteArray content; // more than a pipe takes at once
        while (content.size() < address.size())
            content += reader.read(address.size());
        writer.join();
        ::close(end);
        QCOMPARE(QString(content), address);
        QVERIFY(othersHaveAccess(path)); // nothing is kept in it
    }
#endif
}

// Where no file can be made beside it, an old file is filled all the same.
void StreamFileTest::closedFolder()
{
#ifndef Q_OS_WIN
    constexpr uid_t kNobody = 65534;
    const QByteArray folder = at("closed").toUtf8(), path = folder + "/wide.stream";
    QVERIFY(QDir().mkpath(folder) && QDir().mkpath(at("state")));
    QVERIFY(writeStreamFile(path, "old", false));
    for (const QByteArray &name : {m_directory.path().toUtf8(), at("state").toUtf8(), path})
        QCOMPARE(::chmod(name, name == path ? 0666 : 0777), 0);
    QCOMPARE(::chmod(folder, 0555), 0);
    qputenv("XDG_STATE_HOME", at("state").toUtf8());
    struct stat before, after;
    QCOMPARE(::stat(path, &before), 0);
    const bool isRoot = ::geteuid() == 0; // whom no mode keeps out
    if (isRoot)
        QVERIFY(::chown(path, kNobody, kNobody) == 0 && ::seteuid(kNobody) == 0);
    const bool isWritten = writeStreamFile(path, kSecret, false);
    if (isRoot)
        QCOMPARE(::seteuid(0), 0);
    QVERIFY(isWritten && ::stat(path, &after) == 0);
    QCOMPARE(contentOf(path), kSecret.toUtf8());
    QVERIFY(before.st_ino == after.st_ino && !othersHaveAccess(path));
    QCOMPARE(::chmod(folder, 0755), 0);
    const QByteArray log = contentOf(at("state/Corvane/Pellory/Pellory.log"));
    QVERIFY2(log.contains("could be narrowed but not replaced") && !log.contains("SK"), log);
#endif
}

PELLORY_TEST_MAIN(StreamFileTest, QCoreApplication)
#include "tst_streamfile.moc"
