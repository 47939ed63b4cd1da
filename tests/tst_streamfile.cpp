// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "access.h"
#include "filename.h"
#include "streamcontent.h"
#include "streamfile.h"
#include "testmain.h"

class StreamFileTest : public QObject
{
    Q_OBJECT
private slots:
    void path_data();
    void path();
    void nameOnDisk_data();
    void nameOnDisk();
    void forms_data();
    void forms();
    void replacesLongerFileAndItsMode();
    void unwritableTargetIsReported();

private:
    QTemporaryDir m_directory;
};

namespace {

// On Windows a stream file has the rights of its folder.
#ifdef Q_OS_WIN
constexpr bool hasRightsOfItsOwn = false;
#else
constexpr bool hasRightsOfItsOwn = true;
#endif

} // namespace

void StreamFileTest::path_data()
{
    QTest::addColumn<QString>("directory");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("expected");
    QTest::newRow("separator added") << "D:\\out"
                                     << "clip"
                                     << "D:\\out\\clip.stream";
    QTest::newRow("separator there") << "D:\\out\\"
                                     << "clip"
                                     << "D:\\out\\clip.stream";
    QTest::newRow("slash is no separator") << "/out/"
                                           << "clip"
                                           << "/out/\\clip.stream";
    QTest::newRow("no directory") << ""
                                  << "clip"
                                  << "\\clip.stream";
    QTest::newRow("extension kept") << "o"
                                    << "clip.mxf"
                                    << "o\\clip.mxf.stream";
}

void StreamFileTest::path()
{
    QFETCH(QString, directory);
    QFETCH(QString, name);
    QTEST(streamFilePath(directory, name), "expected");
}

void StreamFileTest::nameOnDisk_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("posix");
    QTest::addColumn<QString>("windows");
    QTest::newRow("label") << "News 2026. ü🎬"
                           << "News 2026. ü🎬"
                           << "News 2026. ü🎬";
    QTest::newRow("ways out") << "../a\\..\\b"
                              << ".._a_.._b"
                              << ".._a_.._b";
    QTest::newRow("end of text") << QString("a") + QChar(0) + "b"
                                 << "a_b"
                                 << "a_b";
    QTest::newRow("device and stream") << "a:b<c>\"|?*\n"
                                       << "a:b<c>\"|?*\n"
                                       << "a_b_c______";
    QTest::newRow("empty") << ""
                           << ""
                           << "";
}

void StreamFileTest::nameOnDisk()
{
    QFETCH(QString, name);
    QTEST(fileNameOnDisk(name, NameRules::Posix), "posix");
    QTEST(fileNameOnDisk(name, NameRules::Windows), "windows");
}

void StreamFileTest::forms_data()
{
    QTest::addColumn<QString>("address");
    QTest::addColumn<bool>("ownerOnly");
    QTest::newRow("local") << "C:\\media\\clip.mxf" << false;
    QTest::newRow("names beyond ASCII") << "/médias/片/🎬 a+b%20.mxf" << false;
    QTest::newRow("S3 with credentials") << "s3://AK:ab/c+d@e:f@127.0.0.1:80/b/clip.mxf" << true;
    QTest::newRow("S3 with a secret alone, capitals") << "S3://:SK@h.org/b" << true;
    QTest::newRow("S3 with a key alone") << "s3://AK:@h.org/b" << true;
    QTest::newRow("S3 unsigned") << "s3://:@h.org/b/clip.mxf" << false;
    QTest::newRow("empty") << "" << false;
    QTest::newRow("longer than any buffer") << "https://h.org/" + QString(70000, 'x') << false;
}

void StreamFileTest::forms()
{
    QFETCH(QString, address);
    QFETCH(bool, ownerOnly);
    const QString path = m_directory.filePath("plain.stream");
    const QString encrypted = m_directory.filePath("encrypted.stream");
    QFile::remove(path);
    QFile::remove(encrypted);

    QVERIFY(writeStreamFile(path, address, false));
    QCOMPARE(contentOf(path), address.toUtf8());
    QCOMPARE(othersHaveAccess(path), !(ownerOnly && hasRightsOfItsOwn));

    QVERIFY(writeStreamFile(encrypted, address, true));
    QCOMPARE(decoded(contentOf(encrypted)), address);
    QVERIFY(!contentOf(encrypted).contains('\n'));
    QCOMPARE(othersHaveAccess(encrypted), !(ownerOnly && hasRightsOfItsOwn));
}

void StreamFileTest::replacesLongerFileAndItsMode()
{
    // The "\" is a separator on the disk, also where the system's own is "/".
    const QString written = m_directory.path() + "\\again.stream";
    const QString path = m_directory.filePath("again.stream");
    QVERIFY(writeStreamFile(written, QString(5000, 'x'), false));
    QVERIFY(othersHaveAccess(path));
    QVERIFY(writeStreamFile(written, "s3://AK:SK@h.org/b", false));
    QCOMPARE(contentOf(path), QByteArray("s3://AK:SK@h.org/b"));
    QCOMPARE(othersHaveAccess(path), !hasRightsOfItsOwn);
}

void StreamFileTest::unwritableTargetIsReported()
{
    QVERIFY(!writeStreamFile(m_directory.filePath("missing/a.stream"), "a", false));
    QVERIFY(!writeStreamFile(m_directory.path(), "a", true));
}

PELLORY_TEST_MAIN(StreamFileTest, QCoreApplication)
#include "tst_streamfile.moc"
