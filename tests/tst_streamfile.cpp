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
    void names();
    void forms_data();
    void forms();
    void replacesLongerFileAndItsMode();

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

void StreamFileTest::names()
{
    QCOMPARE(streamFilePath("D:\\out", "clip"), QString("D:\\out\\clip.stream"));
    QCOMPARE(streamFilePath("D:\\out\\", "clip.mxf"), QString("D:\\out\\clip.mxf.stream"));
    QCOMPARE(streamFilePath("/out/", "clip"), QString("/out/\\clip.stream"));
    QCOMPARE(streamFilePath("", "clip"), QString("\\clip.stream"));

    struct Row
    {
        QString name, posix, windows;
    };
    for (const Row &row : {Row{"News 2026. ü🎬", "News 2026. ü🎬", "News 2026. ü🎬"},
                           Row{"../a\\..\\b", ".._a_.._b", ".._a_.._b"},
                           Row{QString("a") + QChar(0) + "b", "a_b", "a_b"},
                           Row{"a:b<c>\"|?*\n", "a:b<c>\"|?*\n", "a_b_c______"}}) {
        QCOMPARE(fileNameOnDisk(row.name, NameRules::Posix), row.posix);
        QCOMPARE(fileNameOnDisk(row.name, NameRules::Windows), row.windows);
    }
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
    QVERIFY(!writeStreamFile(m_directory.filePath("missing/a.stream"), "a", false));
    QVERIFY(!writeStreamFile(m_directory.path(), "a", true));
}

PELLORY_TEST_MAIN(StreamFileTest, QCoreApplication)
#include "tst_streamfile.moc"
