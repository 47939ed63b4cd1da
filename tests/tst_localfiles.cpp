// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "access.h"
#include "base/system.h"
#include "base/targetfile.h"
#include "copyfile.h"
#include "errorlog.h"
#include "outputfile.h"
#include "signals.h"
#include "stoptoken.h"
#include "streamcontent.h"
#include "toolprocess.h"

#ifndef Q_OS_WIN
#include "refusedcalls.h"

#include <csignal>
#include <sys/file.h>
#include <sys/stat.h>
#endif

class LocalFilesTest : public QObject
{
    Q_OBJECT
private slots:
    void init() { m_folder.reset(new QTemporaryDir); }
    void reads();
    void doesNotOpen();
    void walks();
    void copies();
    void refusals();
    void longNames();
    void fullDisk();
    void refusedCalls();
    void endedInACopy();
    void removesAbandoned();

private:
    QByteArray at(const QByteArray &name) const { return m_folder->path().toUtf8() + '/' + name; }
    QStringList names() const
    {
        return QDir(m_folder->path())
            .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    }

    QScopedPointer<QTemporaryDir> m_folder;
};

namespace {

HQHANDLE toRead(const QByteArray &path)
{
    return hqOSCreateFile(path, HQ_ACCESS_READ, 1, nullptr, HQ_OPEN_EXISTING, 0, nullptr);
}

HQHANDLE toWrite(const QByteArray &path)
{
    return hqOSCreateFile(path, HQ_ACCESS_WRITE, 1, nullptr, HQ_CREATE_ALWAYS, 0, nullptr);
}

// This program as another process: copies, or with "w" in `plan` writes, says so and waits for its
// end. Its status is the error.
class Copier : public QProcess
{
public:
    Copier(const QString &plan, const QString &source, const QString &target)
    {
        start(QCoreApplication::applicationFilePath(), {plan, source, target});
    }
    bool isWriting() { return waitForReadyRead() && readAllStandardOutput().startsWith("writing"); }
    uint error() { return waitForFinished() && exitStatus() == NormalExit ? uint(exitCode()) : 1; }

    static int run(const QByteArray &plan, const char *source, const char *target)
    {
#ifndef Q_OS_WIN
        refuseCalls(plan);
#endif
        if (plan.contains('r')) {
            QFile file;
            std::puts(hqOpenForWriting(&file, target, true) ? hq::lastLogLine().c_str() : "none");
            return 0;
        }
        if (!plan.contains('w'))
            return int(errorOf(hqOSCopyFile(source, target, 0)) & 0xff);
        const hq::StopToken token;
        const hq::EndSignals signalled([token] { token.stop(); });
        const hq::ScopedStopToken scope(token);
        const auto file = hq::TargetFile::create(target, hq::system::kUsualRights, false);
        if (!file || !file->reserve(1 << 20) || !file->writeAt(0, "half", 4))
            return 1;
        std::puts("writing");
        std::fflush(stdout);
        while (!token.isStopped())
            QThread::msleep(10);
        return int(errorOf(file->commit()) & 0xff);
    }
};

} // namespace

void LocalFilesTest::reads()
{
    // A backslash separates, unless a file bears it in its name.
    QVERIFY(QDir(m_folder->path()).mkdir("d") && fill(at("d/\xc3\xbc.mxf"), "0123456789"));
    QVERIFY(isWindows || (fill(at("a\\b"), "x") && hqOSCloseFile(toRead(at("a\\b")))));
    const HQHANDLE file = toRead(at("d\\\xc3\xbc.mxf"));
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
    QVERIFY(!hqOSSeek(file, -1) && !hqOSReadFile(file, nullptr, 1, &read, nullptr));
    QVERIFY(hqOSCloseFile(file));
    for (const HQHANDLE wrong : {file, HQ_INVALID_HANDLE, HQHANDLE(nullptr), HQHANDLE(&size)}) {
        QCOMPARE(errorOf(hqOSReadFile(wrong, buffer, 4, &read, nullptr)), 6u);
        QVERIFY(read == 0 && !hqOSSeek(wrong, 0) && !hqOSGetFileSizeEx(wrong, &size) &&
                !hqOSCloseFile(wrong));
        QCOMPARE(hqOSfprintf(wrong, "%s", "x"), -1);
    }
}

void LocalFilesTest::doesNotOpen()
{
    QVERIFY(QDir(m_folder->path()).mkdir("folder") && fill(at("file"), "x"));
    QMap<QByteArray, uint> reading{{"none", 2}, {"none/none", 3}, {"file/none", 3}, {"folder", 5}};
    QMap<QByteArray, uint> writing{{"folder", 5}, {"none/none", 3}, {"none/", 123}};
#ifdef Q_OS_WIN
    QCOMPARE(errorOf(toRead("NUL") != HQ_INVALID_HANDLE), 50u);
    writing["a?b"] = 123;
#else
    QCOMPARE(::mkfifo(at("pipe"), 0600), 0);
    reading["pipe"] = writing["pipe"] = 50;
    reading[QByteArray(300, 'x')] = 123;
#endif
    const QStringList before = names();
    for (const uint access : {0U, HQ_ACCESS_READ, HQ_ACCESS_READ | HQ_ACCESS_WRITE}) {
        for (const uint disposition : {0, 1, 5, 6}) {
            hqOSCreateFile(at("file"), access, 1, nullptr, disposition, 0, nullptr);
            QCOMPARE(hqOSGetLastError(), access != 0 && disposition % 6 != 0 ? 50U : 87U);
        }
    }
    for (const QByteArray &name : reading.keys())
        QVERIFY2(errorOf(toRead(at(name)) != HQ_INVALID_HANDLE) == reading[name], name);
    for (const QByteArray &name : writing.keys())
        QVERIFY2(errorOf(toWrite(at(name)) != HQ_INVALID_HANDLE) == writing[name], name);
    QCOMPARE(names(), before);
}

void LocalFilesTest::walks()
{
    QByteArrayList expected{"C", "a b", "b", "d|", "\xc3\xa4"};
    for (const char *name : {"b", "a b", "\xc3\xa4", "C"})
        QVERIFY(fill(at(name), ""));
    QVERIFY(QDir(m_folder->path()).mkpath("d/deeper"));
    if (!isWindows) {
        QVERIFY(fill(at(".hidden"), "") && QFile::link("d", at("to folder")) &&
                QFile::link("nowhere", at("to nothing")));
        expected = {"C", "a b", "b", "d|", "to folder|", "to nothing", "\xc3\xa4"};
    }
    const auto collect = [](void *user, const char *address, unsigned int attributes) {
        auto &list = *static_cast<QByteArrayList *>(user);
        list << QByteArray(address) + (attributes & HQ_ATTRIBUTE_FOLDER ? "|" : "");
        return list.size() == 7 ? 1 : 0;
    };
    for (const char *end : {"", "/", "\\"}) {
        const QByteArray root = m_folder->path().toUtf8() + end;
        const QByteArray prefix = *end ? root : root + hq::system::separator();
        QByteArrayList found;
        QVERIFY(hqOSRecurseDirectory(&found, root, collect, HQ_WALK_ONE_LEVEL));
        QCOMPARE(found, (prefix + expected.join('\n' + prefix)).split('\n'));
    }
    QCOMPARE(errorOf(hqOSRecurseDirectory(nullptr, at("none"), collect, HQ_WALK_ONE_LEVEL)), 2u);
    QCOMPARE(errorOf(hqOSRecurseDirectory(nullptr, at("b"), collect, HQ_WALK_ONE_LEVEL)), 3u);
}

void LocalFilesTest::copies()
{
    QVERIFY(fill(at("empty"), "") &&
            fill(at("large"), QByteArray("0123456789abcde").repeated(1 << 20)));
    const auto readOnly = QFile::ReadOwner | QFile::ReadUser;
    QVERIFY(QFile::setPermissions(at("empty"), readOnly));
    QByteArrayList sources{at("empty"), at("large"), at("empty")};
    if (!isWindows)
        sources << "/proc/self/cmdline"; // does not tell its size beforehand
    for (const QByteArray &source : sources) {
        qint64 last = -1;
        QVERIFY(hq::copyFile(source, at("target"), 0, [&last](qint64 done, qint64 all) {
            last = done == all ? done : -1; // of the last report, which comes in any case
        }));
        QVERIFY(contentOf(at("target")) == contentOf(source));
        QCOMPARE(last, contentOf(source).size());
        QVERIFY(isWindows || othersHaveAccess(at("target")) == othersHaveAccess(source));
    }
    QCOMPARE(names(), QStringList({"empty", "large", "target"}));
    QVERIFY(QFile::setPermissions(at("empty"), readOnly | QFile::WriteOwner));
}

// None of them begins a transfer.
void LocalFilesTest::refusals()
{
    QVERIFY(fill(at("source"), "media") && fill(at("target"), "old"));
    QVERIFY(QDir(m_folder->path()).mkdir("sub"));
    QVERIFY(isWindows || QFile::link("nowhere", at("link")));
    const QByteArray unread = isWindows ? at("source") : "/proc/self/mem"; // reading it would fail
    for (const auto &[source, target, keep, error] :
         {std::tuple(at("none"), at("target"), 0, 2u),
          {unread, at("target"), 1, 80},
          {unread, at(QByteArray(256, 'n')), 1, 123},
          {unread, at(isWindows ? "target" : "link"), 1, 80},
          {unread, at(QByteArray(256, 'n')), 0, 123},
          {at("source"), "s3://A:B@h.org/b/k", 0, 50}}) {
        QCOMPARE(errorOf(hqOSCopyFile(source, target, keep)), error);
    }
    QCOMPARE(contentOf(at("target")), QByteArray("old"));
    QVERIFY(hqOSFileIsDir(at("sub\\")) && !hqOSFileIsDir(at("target")));
    QCOMPARE(errorOf(hqOSDeleteFile(at("sub"))), 5u);
    QVERIFY(hqOSFileExists(at("sub\\..\\target")) && hqOSDeleteFile(at("sub\\..\\target")));
    QCOMPARE(errorOf(hqOSDeleteFile(at("target"))), 2u);
    QCOMPARE(names().mid(isWindows ? 0 : 1), QStringList({"source", "sub"}));
}

// Up to the longest name; on Windows also around the 260 characters at which calls without "\\?\"
// end, and far behind them.
void LocalFilesTest::longNames()
{
    QVERIFY(fill(at("source"), "media"));
    std::vector<QByteArray> paths;
    for (int size = 240; size <= 255; ++size)
        paths.push_back(at(QByteArray(size, 'n')));
    for (QByteArray folder = at("long"); isWindows && folder.size() < 600;
         folder += '/' + QByteArray(20, 'x')) {
        QVERIFY(hq::system::makeFolders(folder.toStdString()) && hqOSFileIsDir(folder));
        for (int size = 0; size < 3; ++size)
            paths.push_back(folder + '\\' +
                            QByteArray(std::clamp(258 - int(folder.size()), 1, 100) + size, 'n'));
    }
    for (const QByteArray &path : paths) {
        for (const int keep : {1, 0}) // new, replaced
            QVERIFY2(hqOSCopyFile(at("source"), path, keep), QByteArray::number(path.size()));
        const HQHANDLE file = toWrite(path);
        QVERIFY2(hqOSfprintf(file, "%s", "x") == 1 && hqOSCloseFile(file) && hqOSDeleteFile(path),
                 QByteArray::number(path.size()));
    }
}

void LocalFilesTest::fullDisk()
{
#ifndef Q_OS_WIN
    QVERIFY(fill(at("old"), "old") && fill(at("source"), QByteArray(8 << 20, 'x')));
    const FullDisk full(4096);
    const HQHANDLE file = toWrite(at("old"));
    QCOMPARE(errorOf(hqOSfprintf(file, "%5000s", "x") != -1), 112u);
    for (const bool closes : {false, true}) { // the first failure stays the reason
        QVERIFY(!hqOSFileExists(at("none")));
        QCOMPARE(errorOf(closes ? hqOSCloseFile(file) : hqOSfprintf(file, "%s", "fits") >= 0),
                 112u);
    }
    QCOMPARE(errorOf(hqOSCopyFile(at("source"), at("old"), 0)), 112u);
    QCOMPARE(contentOf(at("old")), QByteArray("old"));
    QCOMPARE(names(), QStringList({"old", "source"}));
#endif
}

// File systems without one call or the other, and a disk that fails when the content is synced.
void LocalFilesTest::refusedCalls()
{
#ifdef __linux__
    QVERIFY(fill(at("source"), QByteArray("0123456789abcde").repeated(1 << 18)));
    for (const char *plan : {"t", "n", "o", "l", "to", "tol", "s", "ts"}) {
        QFile::remove(at("target"));
        for (int i = 0; i < 2; ++i) { // new, replaced
            const uint expected = strchr(plan, 's') ? 1117 & 0xff : 0;
            QVERIFY2(Copier(plan, at("source"), at("target")).error() == expected, plan);
            QVERIFY2(expected || contentOf(at("target")) == contentOf(at("source")), plan);
        }
        QVERIFY2(names().size() == (strchr(plan, 's') ? 1 : 2), plan);
    }
    // What is written for its owner and cannot be kept from others is told.
    for (const auto &[plan, told] : {std::pair("rc", "that other users can read\n"),
                                     {"r", "not replaced: who had it open can read them\n"}}) {
        QVERIFY(fill(at("shared"), "old"));
        Copier writer(plan, "", at("shared"));
        QVERIFY(writer.error() == 0 && writer.readAllStandardOutput().endsWith(told));
        QVERIFY(othersHaveAccess(at("shared")) == (strlen(plan) > 1));
    }
#endif
}

void LocalFilesTest::endedInACopy()
{
    QVERIFY(fill(at("source"), "media"));
    const QStringList before = names();
#ifdef Q_OS_WIN
    Copier copier("w", at("source"), at("target"));
    QVERIFY(copier.isWriting());
    QVERIFY(hqOSCopyFile(at("source"), at("other"), 1)); // does not disturb it
    copier.kill();
    QVERIFY(copier.waitForFinished() && QFile::remove(at("other")));
    QTRY_COMPARE(names(), before);
    // What a tool has started goes with it.
    hq::ToolProcess tool;
    tool.start("cmd", {"/c", QDir::toNativeSeparators(QCoreApplication::applicationFilePath()), "w",
                       at("source"), at("target")});
    QTRY_COMPARE(names().size(), 2);
    tool.endAll(100);
    QTRY_COMPARE(names(), before);
#else
    struct sigaction action;
    std::signal(SIGTERM, SIG_DFL);
    std::make_unique<hq::EndSignals>([] {}).reset();
    QVERIFY(::sigaction(SIGTERM, nullptr, &action) == 0 && action.sa_handler == SIG_DFL);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGKILL}) {
        for (const char *plan : {"w", "wt"}) {
            std::signal(signal, SIG_DFL); // which the child inherits
            Copier copier(plan, at("source"), at("target"));
            QVERIFY2(copier.isWriting(), plan);
            // What is under way is not taken for abandoned.
            QVERIFY(hqOSCopyFile(at("source"), at("other"), 1) && QFile::remove(at("other")));
            QCOMPARE(names().size(), strchr(plan, 't') ? 2 : 1);
            ::kill(pid_t(copier.processId()), signal);
            QCOMPARE(copier.error(), signal == SIGKILL ? 1 : 1223 & 0xff);
            QCOMPARE(names().size(), strchr(plan, 't') && signal == SIGKILL ? 2 : 1);
            QVERIFY(hqOSCopyFile(at("source"), at("other"), 1) && QFile::remove(at("other")));
            QCOMPARE(names(), before);
        }
    }
#endif
}

// The leftovers of a process that died and nothing else.
void LocalFilesTest::removesAbandoned()
{
    const QStringList others{"a.mxf.pellory-abc123.part", ".a.mxf.pellory-abc12.part",
                             ".A.mxf.pellory-Abc124.part", ".a.mxf.abc123.part"};
    for (const QString &name :
         others + QStringList{".a.mxf.pellory-abc123.part", ".\xc3\xbc.pellory-000000.part"})
        QVERIFY(fill(at(name.toUtf8()), "x"));
    QVERIFY(fill(at(".open.pellory-abc123.part"), "x"));
    QFile held(at(".open.pellory-abc123.part"));
    QVERIFY(held.open(QIODevice::ReadOnly));
    QStringList expected = others + QStringList{".open.pellory-abc123.part", "copy"};
#ifndef Q_OS_WIN
    QCOMPARE(::flock(held.handle(), LOCK_EX | LOCK_NB), 0);
    QVERIFY(QFile::link("a.mxf.pellory-abc123.part", at(".link.pellory-abc123.part")));
    expected << ".link.pellory-abc123.part";
#endif
#ifdef __linux__
    // Where another machine may be at work, what looks new and is not of this one stays.
    const timespec past[2]{};
    QVERIFY(fill(at(".old.pellory-abc123.part"), "") &&
            ::utimensat(AT_FDCWD, at(".old.pellory-abc123.part"), past, 0) == 0);
    Copier killed("wtf", at("copy"), at("killed"));
    QVERIFY(killed.isWriting());
    killed.kill();
    QVERIFY(killed.waitForFinished());
    QCOMPARE(Copier("f", at(".a.mxf.pellory-abc12.part"), at("copy")).error(), 0u);
    QCOMPARE(names().filter(".old.") + names().filter(".killed."), QStringList());
    QVERIFY(names().contains(".a.mxf.pellory-abc123.part"));
#endif
    QVERIFY(hqOSCopyFile(at(".a.mxf.pellory-abc12.part"), at("copy"), 0));
    QStringList found = names();
    found.sort();
    expected.sort();
    QCOMPARE(found, expected);
}

int main(int argc, char **argv)
{
    TestHome home;
    QCoreApplication application(argc, argv);
    if (argc == 4)
        return Copier::run(argv[1], argv[2], argv[3]);
    LocalFilesTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_localfiles.moc"
