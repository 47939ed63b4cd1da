// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "access.h"
#include "base/system.h"
#include "hqutil.h"
#include "testmain.h"
#include "transfer.h"

// What paths, names, rights and folders are on Windows only.
class WindowsFilesTest : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void doesNotOpen();
    void longPaths();
    void copiesReadOnly();
    void ownerOnly();
    void walks();
    void directories();

private:
    QByteArray at(const QByteArray &name) const { return m_folder->path().toUtf8() + '/' + name; }

    QScopedPointer<QTemporaryDir> m_folder;
};

namespace {

HQHANDLE open(const QByteArray &path, uint access, uint disposition)
{
    return hqOSCreateFile(path, access, HQ_SHARE_READ, nullptr, disposition, 0, nullptr);
}

bool write(const QByteArray &path, const char *text)
{
    const HQHANDLE file = open(path, HQ_ACCESS_WRITE, HQ_CREATE_ALWAYS);
    const bool written = hqOSfprintf(file, "%s", text) == int(strlen(text));
    return hqOSCloseFile(file) && written;
}

QByteArray content(const QByteArray &path)
{
    const HQHANDLE file = open(path, HQ_ACCESS_READ, HQ_OPEN_EXISTING);
    char buffer[64];
    uint32_t read = 0;
    const bool done = hqOSReadFile(file, buffer, sizeof buffer, &read, nullptr);
    return hqOSCloseFile(file) && done ? QByteArray(buffer, int(read)) : QByteArray("(missing)");
}

int collect(void *user, const char *address, unsigned int attributes)
{
    *static_cast<QByteArrayList *>(user)
        << QByteArray(address) + (attributes & HQ_ATTRIBUTE_FOLDER ? "|" : "");
    return 0;
}

} // namespace

void WindowsFilesTest::init()
{
    m_folder.reset(new QTemporaryDir);
    QVERIFY(QDir(m_folder->path()).mkdir("d"));
    QVERIFY(write(at("d/\xc3\xbc \xe7\x89\x87.mxf"), "0123456789"));
}

void WindowsFilesTest::doesNotOpen()
{
    QCOMPARE(open("NUL", HQ_ACCESS_READ, HQ_OPEN_EXISTING), HQ_INVALID_HANDLE);
    QCOMPARE(hqOSGetLastError(), 50u);
    QCOMPARE(open(at("a?b"), HQ_ACCESS_WRITE, HQ_CREATE_ALWAYS), HQ_INVALID_HANDLE);
    QCOMPARE(hqOSGetLastError(), 123u);
}

// Around the 260 characters at which the calls without "\\?\" end, and far behind them.
void WindowsFilesTest::longPaths()
{
    const QByteArray part(20, 'x');
    QByteArray folder = at("long");
    while (folder.size() < 600) {
        QVERIFY(hq::system::makeFolders(folder.toStdString()));
        const int rest = std::clamp(258 - folder.size(), 1, 100);
        for (int length = rest; length < rest + 3; ++length) {
            const QByteArray path = folder + '\\' + QByteArray(length, 'n');
            QVERIFY2(write(path, "long"), QByteArray::number(path.size()));
            QCOMPARE(content(path), QByteArray("long"));
            QVERIFY(hqOSCopyFile(path, path + 'c', 1) && hqOSDeleteFile(path + 'c'));
        }
        QByteArrayList found;
        QVERIFY(hqOSRecurseDirectory(&found, folder, collect, HQ_WALK_ONE_LEVEL));
        QCOMPARE(found.size(), 3);
        QVERIFY(hqOSFileIsDir(folder));
        for (const QByteArray &file : found)
            QVERIFY(hqOSDeleteFile(file));
        folder += '/' + part;
    }
}

void WindowsFilesTest::copiesReadOnly()
{
    QVERIFY(write(at("source"), "media"));
    QVERIFY(QFile::setPermissions(QString::fromUtf8(at("source")), QFile::ReadOwner));
    QVERIFY(hqOSCopyFile(at("source"), at("target"), 1));
    QVERIFY(!hqOSCopyFile(at("source"), at("target"), 1));
    QCOMPARE(hqOSGetLastError(), 80u);
    QVERIFY(hq::copyFile(at("source"), at("target"), 0, {}));
    QCOMPARE(content(at("target")), QByteArray("media"));
    QVERIFY(QFile::setPermissions(QString::fromUtf8(at("source")),
                                  QFile::ReadOwner | QFile::WriteOwner));
}

void WindowsFilesTest::ownerOnly()
{
    QFile shared(QString::fromUtf8(at("shared")));
    QVERIFY(shared.open(QIODevice::WriteOnly));
    QVERIFY(othersHaveAccess(shared.fileName())); // so the look can tell
    for (const QString &place : {m_folder->path(), shared.fileName()})
        QVERIFY(hq::system::takeFromOthers(place.toStdString()) && !othersHaveAccess(place));
    QVERIFY(write(at("private"), "AWSSecretKey="));
    QVERIFY(!othersHaveAccess(QString::fromUtf8(at("private"))));
    QCOMPARE(content(at("private")), QByteArray("AWSSecretKey="));
}

void WindowsFilesTest::walks()
{
    for (const char *name : {"b", "a b", "\xc3\xa4", "C"})
        QVERIFY(write(at(name), ""));
    for (const char *end : {"", "/", "\\"}) {
        const QByteArray given = m_folder->path().toUtf8() + end;
        const QByteArray prefix = *end ? given : given + "\\";
        QByteArrayList found;
        QVERIFY(hqOSRecurseDirectory(&found, given, collect, HQ_WALK_ONE_LEVEL));
        QByteArrayList expected;
        for (const char *name : {"C", "a b", "b", "d|", "\xc3\xa4"})
            expected << prefix + name;
        QCOMPARE(found, expected);
    }
    QByteArrayList none;
    QVERIFY(!hqOSRecurseDirectory(&none, at("b"), collect, HQ_WALK_ONE_LEVEL));
    QCOMPARE(hqOSGetLastError(), 3u);
    QVERIFY(!hqOSRecurseDirectory(&none, at("none"), collect, HQ_WALK_ONE_LEVEL));
    QCOMPARE(hqOSGetLastError(), 2u);
    QVERIFY(none.isEmpty());
}

void WindowsFilesTest::directories()
{
    // "\Corvane\Pellory\" has 17 characters; 259 in all fit the caller's buffer.
    for (const int length : {60, 259, 260}) {
        const QByteArray root = at(QByteArray(length - 17 - at("").size(), 'x'));
        qputenv("APPDATA", root);
        char buffer[HQ_CONFIG_DIR_SIZE] = "old";
        QCOMPARE(hqOSGetConfigDir(buffer, 0), length < 260 ? 1 : 0);
        QCOMPARE(QByteArray(buffer), length < 260 ? root + "\\Corvane\\Pellory\\" : QByteArray());
        QCOMPARE(QDir(QString::fromUtf8(root + "/Corvane/Pellory")).exists(), length < 260);
    }
    qputenv("LOCALAPPDATA", at("state"));
    ErrLogSetFileName("Pellory");
    ErrOut("Unable to open <%s>", "s3://AK:SECRET@h.org/b");
    QFile log(QString::fromUtf8(at("state/Corvane/Pellory/Pellory.log")));
    QVERIFY(log.open(QIODevice::ReadOnly));
    QVERIFY(log.readAll().contains("<s3://AK:***@h.org/b>"));
}

PELLORY_TEST_MAIN(WindowsFilesTest, QCoreApplication)
#include "tst_windowsfiles.moc"
