// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "hqutil.h"
#include "localpath.h"
#include "testmain.h"
#include "transfer.h"

#include <csignal>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>
#include <vector>

namespace {

// Closes a handle at the end of a test.
class Handle
{
public:
    explicit Handle(HQHANDLE handle) : m_handle(handle) {}
    ~Handle() { hqOSCloseFile(m_handle); }
    Handle(const Handle &) = delete;
    Handle &operator=(const Handle &) = delete;
    operator HQHANDLE() const { return m_handle; }

private:
    HQHANDLE m_handle;
};

HQHANDLE openToRead(const QByteArray &path)
{
    return hqOSCreateFile(path, HQ_ACCESS_READ, HQ_SHARE_READ, nullptr, HQ_OPEN_EXISTING, 0x80,
                          nullptr);
}

HQHANDLE openToWrite(const QByteArray &path)
{
    return hqOSCreateFile(path, HQ_ACCESS_WRITE, HQ_SHARE_READ, nullptr, HQ_CREATE_ALWAYS, 0,
                          nullptr);
}

QByteArray content(const QByteArray &path)
{
    QFile file(QString::fromUtf8(path));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(missing)");
}

bool fill(const QByteArray &path, const QByteArray &data)
{
    QFile file(QString::fromUtf8(path));
    return file.open(QIODevice::WriteOnly) && file.write(data) == data.size();
}

int mode(const QByteArray &path)
{
    struct stat info;
    return ::stat(path, &info) == 0 ? int(info.st_mode & 0777) : -1;
}

} // namespace

class LocalFilesTest : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void reads();
    void doesNotOpen_data();
    void doesNotOpen();
    void writesBesideAndRenames();
    void failedWriteKeepsOldFile();
    void walks();
    void copies_data();
    void copies();
    void copyKeepsExisting();
    void stoppedCopyLeavesNothing();
    void tellsAndDeletes();
    void wrongHandles();
    void servesManyThreads();

private:
    QByteArray at(const char *name) const { return m_folder->path().toUtf8() + '/' + name; }
    QStringList names() const
    {
        return QDir(m_folder->path())
            .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    }

    QScopedPointer<QTemporaryDir> m_folder;
};

void LocalFilesTest::init()
{
    m_folder.reset(new QTemporaryDir);
}

void LocalFilesTest::reads()
{
    QVERIFY(QDir(m_folder->path()).mkdir("d"));
    QVERIFY(fill(at("d/\xc3\xbc.mxf"), "0123456789"));
    const Handle file(openToRead(at("d\\\xc3\xbc.mxf")));
    QVERIFY(file != HQ_INVALID_HANDLE);
    int64_t size = 0;
    QVERIFY(hqOSGetFileSizeEx(file, &size));
    QCOMPARE(size, int64_t(10));
    char buffer[16] = {};
    uint32_t read = 99;
    const auto readAt = [&](int64_t position, uint32_t count) {
        return hqOSSeek(file, position) && hqOSReadFile(file, buffer, count, &read, nullptr);
    };
    QVERIFY(hqOSReadFile(file, buffer, 4, &read, nullptr) && read == 4);
    QVERIFY(hqOSReadFile(file, buffer, 16, &read, nullptr) && read == 6);
    QCOMPARE(QByteArray(buffer, 6), QByteArray("456789"));
    QVERIFY(readAt(1000, 1) && read == 0);
    QVERIFY(readAt(9, 16) && read == 1);
    QVERIFY(readAt(0, 10) && read == 10);
    QVERIFY(!hqOSSeek(file, -1));
    QCOMPARE(hqOSGetLastError(), 87u);
    QVERIFY(!hqOSReadFile(file, nullptr, 1, &read, nullptr) && read == 0);
    QCOMPARE(hqOSfprintf(file, "%s", "x"), -1);
    QCOMPARE(hqOSGetLastError(), 50u);

    // A name may hold what is a separator elsewhere.
    QVERIFY(fill(at("a\\b"), "x"));
    const Handle asWritten(openToRead(at("a\\b")));
    QVERIFY(asWritten != HQ_INVALID_HANDLE);
    QCOMPARE(hqLocalPath("\\a\\b/c"), QString("/a/b/c"));
}

void LocalFilesTest::doesNotOpen_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<uint>("access");
    QTest::addColumn<uint>("disposition");
    QTest::addColumn<uint>("error");
    const uint read = HQ_ACCESS_READ;
    const uint write = HQ_ACCESS_WRITE;
    QTest::newRow("missing") << QByteArray("none") << read << 3u << 2u;
    QTest::newRow("missing folder") << QByteArray("none/none") << read << 3u << 3u;
    QTest::newRow("file as folder") << QByteArray("file/none") << read << 3u << 3u;
    QTest::newRow("folder") << QByteArray("folder") << read << 3u << 5u;
    QTest::newRow("pipe") << QByteArray("pipe") << read << 3u << 50u;
    QTest::newRow("device") << QByteArray("/dev/zero") << read << 3u << 50u;
    QTest::newRow("too long") << QByteArray(300, 'x') << read << 3u << 123u;
    QTest::newRow("write over a folder") << QByteArray("folder") << write << 2u << 5u;
    QTest::newRow("write over a pipe") << QByteArray("pipe") << write << 2u << 50u;
    QTest::newRow("write in no folder") << QByteArray("none/none") << write << 2u << 3u;
    QTest::newRow("write without a name") << QByteArray("none/") << write << 2u << 123u;
    QTest::newRow("write existing") << QByteArray("file") << write << 3u << 50u;
    QTest::newRow("both") << QByteArray("file") << (read | write) << 3u << 50u;
    QTest::newRow("unknown access") << QByteArray("file") << 1u << 3u << 87u;
    QTest::newRow("unknown disposition") << QByteArray("file") << read << 9u << 87u;
}

void LocalFilesTest::doesNotOpen()
{
    QFETCH(QByteArray, name);
    QFETCH(uint, access);
    QFETCH(uint, disposition);
    QVERIFY(QDir(m_folder->path()).mkdir("folder") && fill(at("file"), "x"));
    QCOMPARE(::mkfifo(at("pipe"), 0600), 0);
    const QByteArray path = name.startsWith('/') ? name : at(name);
    QCOMPARE(hqOSCreateFile(path, access, 1, nullptr, disposition, 0, nullptr), HQ_INVALID_HANDLE);
    QTEST(hqOSGetLastError(), "error");
    QCOMPARE(names(), QStringList({"file", "folder", "pipe"}));
}

void LocalFilesTest::writesBesideAndRenames()
{
    QVERIFY(fill(at("old"), "something longer than what comes"));
    QVERIFY(QFile::link("old", QString::fromUtf8(at("link"))));
    const mode_t mask = ::umask(0);
    const HQHANDLE file = openToWrite(at("link"));
    ::umask(mask);
    const QByteArray text(100000, 'x');
    QCOMPARE(hqOSfprintf(file, "AWSRegion=%s\r\n", ""), 12);
    QCOMPARE(hqOSfprintf(file, "%s", text.constData()), 100000);
    QCOMPARE(content(at("old")), QByteArray("something longer than what comes"));
    for (const QString &name : names().filter(".part"))
        QCOMPARE(mode(at(name.toUtf8())), 0600);
    QVERIFY(hqOSCloseFile(file));
    QCOMPARE(content(at("old")), "AWSRegion=\r\n" + text);
    QCOMPARE(mode(at("old")), 0600);
    QVERIFY(QFileInfo(QString::fromUtf8(at("link"))).isSymLink());
    QCOMPARE(names(), QStringList({"link", "old"}));
}

void LocalFilesTest::failedWriteKeepsOldFile()
{
    QVERIFY(fill(at("old"), "old"));
    rlimit before;
    QCOMPARE(::getrlimit(RLIMIT_FSIZE, &before), 0);
    const auto restore = qScopeGuard([&] { ::setrlimit(RLIMIT_FSIZE, &before); });
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit small = before;
    small.rlim_cur = 4096;
    QCOMPARE(::setrlimit(RLIMIT_FSIZE, &small), 0);

    const HQHANDLE file = openToWrite(at("old"));
    QCOMPARE(hqOSfprintf(file, "%5000s", "x"), -1);
    QCOMPARE(hqOSGetLastError(), 112u);
    QCOMPARE(hqOSfprintf(file, "%s", "fits"), -1);
    QVERIFY(!hqOSCloseFile(file));
    QCOMPARE(hqOSGetLastError(), 112u);
    QCOMPARE(content(at("old")), QByteArray("old"));
    QCOMPARE(names(), QStringList("old"));
}

void LocalFilesTest::walks()
{
    const QDir folder(m_folder->path());
    for (const char *name : {"b", "B", "a b", "\xc3\xa4", ".hidden", "a"})
        QVERIFY(fill(at(name), ""));
    QVERIFY(folder.mkdir("c") && folder.mkdir(".git") && fill(at("c/deeper"), ""));
    QVERIFY(QFile::link("c", QString::fromUtf8(at("to folder"))));
    QVERIFY(QFile::link("nowhere", QString::fromUtf8(at("to nothing"))));

    const auto collect = [](void *user, const char *address, unsigned int attributes) {
        auto &list = *static_cast<QByteArrayList *>(user);
        list << QByteArray(address) + (attributes & HQ_ATTRIBUTE_FOLDER ? "|" : "");
        return list.size() == 8 ? 1 : 0;
    };
    const QByteArray root = m_folder->path().toUtf8();
    for (const char *end : {"", "/", "\\"}) {
        const QByteArray given = root + end;
        const QByteArray prefix = *end ? given : given + "/";
        QByteArrayList expected;
        for (const char *name :
             {"B", "a", "a b", "b", "c|", "to folder|", "to nothing", "\xc3\xa4"})
            expected << prefix + name;
        QByteArrayList found;
        QVERIFY(hqOSRecurseDirectory(&found, given, collect, HQ_WALK_ONE_LEVEL));
        QCOMPARE(found, expected);
    }
    QByteArrayList none;
    QVERIFY(!hqOSRecurseDirectory(&none, at("none"), collect, HQ_WALK_ONE_LEVEL));
    QCOMPARE(hqOSGetLastError(), 2u);
    QVERIFY(!hqOSRecurseDirectory(&none, at("a"), collect, HQ_WALK_ONE_LEVEL));
    QCOMPARE(hqOSGetLastError(), 3u);
    QVERIFY(none.isEmpty());
}

void LocalFilesTest::copies_data()
{
    QTest::addColumn<QByteArray>("source");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("small") << QByteArray("abc");
    QTest::newRow("several steps") << QByteArray("0123456789abcde").repeated(1 << 20);
    QTest::newRow("no size known beforehand") << QByteArray("/proc/self/status");
}

void LocalFilesTest::copies()
{
    QFETCH(QByteArray, source);
    const bool isPath = source.startsWith('/');
    const QByteArray path = isPath ? source : at("source");
    QVERIFY(isPath || fill(path, source));
    QVERIFY(isPath || ::chmod(path, 0640) == 0);
    QVERIFY(fill(at("target"), "old"));
    qint64 last = -1;
    qint64 total = -1;
    QVERIFY(hq::copyFile(path, at("target"), 0, [&](qint64 done, qint64 all) {
        QVERIFY(done >= last);
        last = done;
        total = all;
    }));
    const QByteArray copied = content(at("target"));
    QCOMPARE(last, qint64(copied.size()));
    QCOMPARE(total, last);
    if (isPath) {
        QVERIFY(copied.startsWith("Name:"));
    } else {
        QVERIFY(copied == source);
        QCOMPARE(mode(at("target")), 0640);
    }
    QCOMPARE(names().filter("part"), QStringList());
}

void LocalFilesTest::copyKeepsExisting()
{
    QVERIFY(fill(at("source"), "new") && fill(at("target"), "old"));
    QVERIFY(QFile::link("nowhere", QString::fromUtf8(at("link"))));
    for (const char *taken : {"target", "link", "source"}) {
        QVERIFY(!hqOSCopyFile(at("source"), at(taken), 1));
        QCOMPARE(hqOSGetLastError(), 80u);
    }
    QCOMPARE(content(at("target")), QByteArray("old"));
    QVERIFY(hqOSCopyFile(at("source"), at("free"), 1));
    QCOMPARE(content(at("free")), QByteArray("new"));
    QVERIFY(!hqOSCopyFile(at("none"), at("target"), 0));
    QCOMPARE(hqOSGetLastError(), 2u);
    QVERIFY(!hqOSCopyFile(at("source"), "s3://A:B@h.org/b/k", 0));
    QCOMPARE(hqOSGetLastError(), 50u);
    QCOMPARE(names(), QStringList({"free", "link", "source", "target"}));
}

void LocalFilesTest::stoppedCopyLeavesNothing()
{
    QVERIFY(fill(at("source"), QByteArray(20 << 20, 'x')) && fill(at("target"), "old"));
    const hq::StopToken token;
    token.stop();
    const hq::ScopedStopToken scope(token);
    QVERIFY(!hqOSCopyFile(at("source"), at("target"), 0));
    QCOMPARE(hqOSGetLastError(), 1223u);
    QCOMPARE(content(at("target")), QByteArray("old"));
    QCOMPARE(names(), QStringList({"source", "target"}));
}

void LocalFilesTest::tellsAndDeletes()
{
    QVERIFY(QDir(m_folder->path()).mkdir("folder") && fill(at("folder/file"), ""));
    QVERIFY(hqOSFileIsDir(at("folder\\")) && hqOSFileExists(at("folder")));
    QVERIFY(!hqOSFileIsDir(at("folder/file")) && hqOSFileExists(at("folder\\file")));
    QVERIFY(!hqOSDeleteFile(at("folder")));
    QCOMPARE(hqOSGetLastError(), 5u);
    QVERIFY(hqOSDeleteFile(at("folder\\file")) && !hqOSFileExists(at("folder/file")));
    QVERIFY(!hqOSDeleteFile(at("folder/file")));
    QCOMPARE(hqOSGetLastError(), 2u);
    QVERIFY(!hqOSFileExists(nullptr) && !hqOSFileIsDir(nullptr) && !hqOSDeleteFile(nullptr));
    QCOMPARE(hqOSGetLastError(), 87u);
}

void LocalFilesTest::wrongHandles()
{
    QVERIFY(fill(at("file"), "x"));
    const HQHANDLE closed = openToRead(at("file"));
    QVERIFY(hqOSCloseFile(closed));
    int local = 0;
    for (const HQHANDLE handle : {closed, HQ_INVALID_HANDLE, HQHANDLE(nullptr), HQHANDLE(&local)}) {
        uint32_t read = 7;
        int64_t size = 7;
        QVERIFY(!hqOSReadFile(handle, &local, 4, &read, nullptr) && read == 0);
        QCOMPARE(hqOSGetLastError(), 6u);
        QVERIFY(!hqOSGetFileSizeEx(handle, &size) && size == 7);
        QVERIFY(!hqOSSeek(handle, 0) && !hqOSCloseFile(handle));
        QCOMPARE(hqOSfprintf(handle, "%s", "x"), -1);
    }
}

// Threads read, close and write through shared handles; the thread sanitizer watches.
void LocalFilesTest::servesManyThreads()
{
    QVERIFY(fill(at("file"), QByteArray(4000, 'x')));
    std::atomic<int> total{0};
    std::atomic<int> closed{0};
    const HQHANDLE shared = openToRead(at("file"));
    const HQHANDLE output = openToWrite(at("output"));
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 8; ++thread)
        threads.emplace_back([&] {
            char byte = 0;
            uint32_t read = 1;
            while (hqOSReadFile(shared, &byte, 1, &read, nullptr) && read == 1) {
                total += byte == 'x';
                if (total % 100 == 0)
                    ErrOut("%d bytes", total.load());
                hqOSfprintf(output, "%c", byte);
            }
            closed += hqOSCloseFile(output);
            closed += hqOSCloseFile(shared);
        });
    for (std::thread &thread : threads)
        thread.join();
    QCOMPARE(closed.load(), 2);
    QVERIFY(total > 0);
    QVERIFY(!content(at("output")).isEmpty());
}

PELLORY_TEST_MAIN(LocalFilesTest, QCoreApplication)
#include "tst_localfiles.moc"
