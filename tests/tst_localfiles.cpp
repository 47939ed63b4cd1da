// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "hqutil.h"
#include "localpath.h"
#include "streamcontent.h"
#include "testmain.h"
#include "transfer.h"

#include <csignal>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>
#include <vector>

namespace {

HQHANDLE open(const QByteArray &path, uint access, uint disposition)
{
    return hqOSCreateFile(path, access, HQ_SHARE_READ, nullptr, disposition, 0, nullptr);
}

bool fill(const QByteArray &path, const QByteArray &data)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(data) == data.size();
}

int mode(const QByteArray &path)
{
    struct stat info;
    return ::stat(path, &info) == 0 ? int(info.st_mode & 0777) : -1;
}

// 0 for success.
uint errorOf(bool done)
{
    return done ? 0 : hqOSGetLastError();
}

} // namespace

class LocalFilesTest : public QObject
{
    Q_OBJECT
private slots:
    void init() { m_folder.reset(new QTemporaryDir); }
    void reads();
    void doesNotOpen();
    void writesBesideAndRenames();
    void failedWriteKeepsOldFile();
    void walks();
    void copies();
    void refusals();
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

void LocalFilesTest::reads()
{
    // A backslash separates, unless a file bears it in its name.
    QVERIFY(QDir(m_folder->path()).mkdir("d"));
    QVERIFY(fill(at("d/\xc3\xbc.mxf"), "0123456789") && fill(at("a\\b"), "x"));
    QVERIFY(hqOSCloseFile(open(at("a\\b"), HQ_ACCESS_READ, HQ_OPEN_EXISTING)));
    QCOMPARE(hqLocalPath("\\a\\b/c"), QString("/a/b/c"));
    const HQHANDLE file = open(at("d\\\xc3\xbc.mxf"), HQ_ACCESS_READ, HQ_OPEN_EXISTING);
    int64_t size = 0;
    QVERIFY(hqOSGetFileSizeEx(file, &size) && size == 10);
    char buffer[16] = {};
    uint32_t read = 99;
    QVERIFY(hqOSReadFile(file, buffer, 4, &read, nullptr) && read == 4);
    QVERIFY(hqOSReadFile(file, buffer, 16, &read, nullptr) && read == 6);
    QCOMPARE(QByteArray(buffer, 6), QByteArray("456789"));
    QVERIFY(hqOSSeek(file, INT64_MAX) && hqOSReadFile(file, buffer, 1, &read, nullptr) &&
            read == 0);
    QVERIFY(hqOSSeek(file, 9) && hqOSReadFile(file, buffer, 16, &read, nullptr) && read == 1);
    QCOMPARE(errorOf(hqOSSeek(file, -1)), 87u);
    QVERIFY(!hqOSReadFile(file, nullptr, 1, &read, nullptr) && read == 0);
    QCOMPARE(errorOf(hqOSfprintf(file, "%s", "x") != -1), 50u);
    QVERIFY(hqOSCloseFile(file));
}

void LocalFilesTest::doesNotOpen()
{
    QVERIFY(QDir(m_folder->path()).mkdir("folder") && fill(at("file"), "x"));
    QCOMPARE(::mkfifo(at("pipe"), 0600), 0);
    const auto error = [&](const char *name, uint access, uint disposition) {
        return errorOf(open(at(name), access, disposition) != HQ_INVALID_HANDLE);
    };
    QCOMPARE(error("none", HQ_ACCESS_READ, HQ_OPEN_EXISTING), 2u);
    QCOMPARE(error("none/none", HQ_ACCESS_READ, HQ_OPEN_EXISTING), 3u);
    QCOMPARE(error("file/none", HQ_ACCESS_READ, HQ_OPEN_EXISTING), 3u);
    QCOMPARE(error("folder", HQ_ACCESS_READ, HQ_OPEN_EXISTING), 5u);
    QCOMPARE(error("pipe", HQ_ACCESS_READ, HQ_OPEN_EXISTING), 50u);
    QCOMPARE(error(QByteArray(300, 'x'), HQ_ACCESS_READ, HQ_OPEN_EXISTING), 123u);
    QCOMPARE(error("folder", HQ_ACCESS_WRITE, HQ_CREATE_ALWAYS), 5u);
    QCOMPARE(error("pipe", HQ_ACCESS_WRITE, HQ_CREATE_ALWAYS), 50u);
    QCOMPARE(error("none/none", HQ_ACCESS_WRITE, HQ_CREATE_ALWAYS), 3u);
    QCOMPARE(error("none/", HQ_ACCESS_WRITE, HQ_CREATE_ALWAYS), 123u);
    QCOMPARE(error("file", HQ_ACCESS_WRITE, HQ_OPEN_EXISTING), 50u);
    QCOMPARE(error("file", 1, HQ_OPEN_EXISTING), 87u);
    QCOMPARE(names(), QStringList({"file", "folder", "pipe"}));
}

void LocalFilesTest::writesBesideAndRenames()
{
    QVERIFY(fill(at("old"), "something longer than what comes"));
    QVERIFY(QFile::link("old", at("link")));
    const mode_t mask = ::umask(0);
    const HQHANDLE file = open(at("link"), HQ_ACCESS_WRITE, HQ_CREATE_ALWAYS);
    ::umask(mask);
    const QByteArray text(100000, 'x');
    QCOMPARE(hqOSfprintf(file, "AWSRegion=%s\r\n%s", "", text.constData()), 100012);
    QCOMPARE(contentOf(at("old")), QByteArray("something longer than what comes"));
    for (const QString &name : names().filter(".part"))
        QCOMPARE(mode(at(name.toUtf8())), 0600);
    QVERIFY(hqOSCloseFile(file));
    QCOMPARE(contentOf(at("old")), "AWSRegion=\r\n" + text);
    QCOMPARE(mode(at("old")), 0600);
    QVERIFY(QFileInfo(at("link")).isSymLink());
    QCOMPARE(names(), QStringList({"link", "old"}));
}

void LocalFilesTest::failedWriteKeepsOldFile()
{
    QVERIFY(fill(at("old"), "old"));
    rlimit before;
    QCOMPARE(::getrlimit(RLIMIT_FSIZE, &before), 0);
    const auto restore = qScopeGuard([&] { ::setrlimit(RLIMIT_FSIZE, &before); });
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit small{4096, before.rlim_max};
    QCOMPARE(::setrlimit(RLIMIT_FSIZE, &small), 0);

    const HQHANDLE file = open(at("old"), HQ_ACCESS_WRITE, HQ_CREATE_ALWAYS);
    QCOMPARE(errorOf(hqOSfprintf(file, "%5000s", "x") != -1), 112u);
    QCOMPARE(hqOSfprintf(file, "%s", "fits"), -1);
    QCOMPARE(errorOf(hqOSCloseFile(file)), 112u);
    QCOMPARE(contentOf(at("old")), QByteArray("old"));
    QCOMPARE(names(), QStringList("old"));
}

void LocalFilesTest::walks()
{
    for (const char *name : {"b", "B", "a b", "\xc3\xa4", ".hidden"})
        QVERIFY(fill(at(name), ""));
    QVERIFY(QDir(m_folder->path()).mkpath("c/deeper"));
    QVERIFY(QFile::link("c", at("to folder")) && QFile::link("nowhere", at("to nothing")));
    const auto collect = [](void *user, const char *address, unsigned int attributes) {
        auto &list = *static_cast<QByteArrayList *>(user);
        list << QByteArray(address) + (attributes & HQ_ATTRIBUTE_FOLDER ? "|" : "");
        return list.size() == 7 ? 1 : 0;
    };
    for (const char *end : {"", "/", "\\"}) {
        const QByteArray root = m_folder->path().toUtf8();
        QByteArrayList expected;
        for (const char *name : {"B", "a b", "b", "c|", "to folder|", "to nothing", "\xc3\xa4"})
            expected << root + (*end ? end : "/") + name;
        QByteArrayList found;
        QVERIFY(hqOSRecurseDirectory(&found, root + end, collect, HQ_WALK_ONE_LEVEL));
        QCOMPARE(found, expected);
    }
    QCOMPARE(errorOf(hqOSRecurseDirectory(nullptr, at("none"), collect, HQ_WALK_ONE_LEVEL)), 2u);
    QCOMPARE(errorOf(hqOSRecurseDirectory(nullptr, at("b"), collect, HQ_WALK_ONE_LEVEL)), 3u);
}

void LocalFilesTest::copies()
{
    // The last one does not tell its size beforehand.
    QVERIFY(fill(at("empty"), "") && ::chmod(at("empty"), 0640) == 0);
    QVERIFY(fill(at("large"), QByteArray("0123456789abcde").repeated(1 << 20)));
    for (const QByteArray &source : {at("empty"), at("large"), QByteArray("/proc/self/cmdline")}) {
        qint64 last = -1;
        qint64 total = -1;
        QVERIFY(hq::copyFile(source, at("target"), 0, [&](qint64 done, qint64 all) {
            QVERIFY(done >= last);
            last = done;
            total = all;
        }));
        QVERIFY(contentOf(at("target")) == contentOf(source));
        QVERIFY(source.startsWith("/proc") || mode(at("target")) == mode(source));
        QCOMPARE(last, qint64(contentOf(source).size()));
        QCOMPARE(total, last);
    }
    QCOMPARE(names(), QStringList({"empty", "large", "target"}));
}

void LocalFilesTest::refusals()
{
    QVERIFY(fill(at("source"), QByteArray(20 << 20, 'x')) && fill(at("target"), "old"));
    QVERIFY(QFile::link("nowhere", at("link")) && QDir(m_folder->path()).mkdir("sub"));
    for (const char *taken : {"target", "link", "source"})
        QCOMPARE(errorOf(hqOSCopyFile(at("source"), at(taken), 1)), 80u);
    QCOMPARE(errorOf(hqOSCopyFile(at("none"), at("target"), 0)), 2u);
    QCOMPARE(errorOf(hqOSCopyFile(at("source"), "s3://A:B@h.org/b/k", 0)), 50u);
    const hq::StopToken token;
    token.stop();
    const hq::ScopedStopToken scope(token);
    QCOMPARE(errorOf(hqOSCopyFile(at("source"), at("target"), 0)), 1223u);
    QCOMPARE(contentOf(at("target")), QByteArray("old"));

    QVERIFY(hqOSFileIsDir(at("sub\\")) && !hqOSFileIsDir(at("target")));
    QCOMPARE(errorOf(hqOSDeleteFile(at("sub"))), 5u);
    QVERIFY(hqOSFileExists(at("sub\\..\\target")) && hqOSDeleteFile(at("sub\\..\\target")));
    QCOMPARE(errorOf(hqOSDeleteFile(at("target"))), 2u);
    QCOMPARE(names(), QStringList({"link", "source", "sub"}));
}

void LocalFilesTest::wrongHandles()
{
    QVERIFY(fill(at("file"), "x"));
    const HQHANDLE closed = open(at("file"), HQ_ACCESS_READ, HQ_OPEN_EXISTING);
    QVERIFY(hqOSCloseFile(closed));
    int local = 0;
    for (const HQHANDLE handle : {closed, HQ_INVALID_HANDLE, HQHANDLE(nullptr), HQHANDLE(&local)}) {
        uint32_t read = 7;
        QCOMPARE(errorOf(hqOSReadFile(handle, &local, 4, &read, nullptr)), 6u);
        QCOMPARE(read, 0u);
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
    const HQHANDLE shared = open(at("file"), HQ_ACCESS_READ, HQ_OPEN_EXISTING);
    const HQHANDLE output = open(at("output"), HQ_ACCESS_WRITE, HQ_CREATE_ALWAYS);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 8; ++thread)
        threads.emplace_back([&] {
            char byte = 0;
            uint32_t read = 1;
            while (hqOSReadFile(shared, &byte, 1, &read, nullptr) && read == 1) {
                if (++total % 100 == 0)
                    ErrOut("%d bytes", total.load());
                hqOSfprintf(output, "%c", byte);
            }
            closed += hqOSCloseFile(output) + hqOSCloseFile(shared);
        });
    for (std::thread &thread : threads)
        thread.join();
    QCOMPARE(closed.load(), 2);
    QVERIFY(contentOf(at("output")).startsWith('x'));
}

PELLORY_TEST_MAIN(LocalFilesTest, QCoreApplication)
#include "tst_localfiles.moc"
