// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "access.h"
#include "filename.h"
#include "streamcontent.h"
#include "streamfile.h"

#include <atomic>
#include <thread>
#ifndef Q_OS_WIN
#include <sys/stat.h>
#include <unistd.h>
#endif

class StreamFileTest : public QObject
{
    Q_OBJECT
private slots:
    void names();
    void forms();
    void encoder();
    void otherReaders();
    void privateFromTheStart();
    void replacesFiles();

private:
    QString at(const char *name) const { return m_directory.filePath(name); }
    QString addressIn(const QByteArray &content) const;

    QTemporaryDir m_directory;
};

namespace {

const QString kSecret = "s3://AK:SK@h.org/b";
const QByteArray kKey("0x000102030405060708090a0b0c0d0e0f\0", 35);
const QByteArray kPlain = "s3://AK:SK@s3.amazonaws.com/bucket/clip \xc3\xa9.mxf";
// The vector of docs/encrypted-form.md, computed without libsodium.
const QByteArray kText =
    "AUBBQkNERUZHSElKS0xNTk9QUVJTVFVWV08g73M_nViVzeykIJ2el9F5XKxl5orile2HKZLYukMLBad_"
    "j6Z8wxQ8NHt77BaFHIlDvzoVzIP3mJTpzosm";

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

void StreamFileTest::encoder()
{
    QCOMPARE(through(hqXCDecode, kKey, kText), kPlain);
    for (const int length : {0, 1, 2, 3, 100'000}) {
        const QByteArray plain(length, '\0');
        const QByteArray text = through(hqXCEncode, kKey, plain);
        QVERIFY2(text != through(hqXCEncode, kKey, plain), "the nonce came twice");
        QCOMPARE(through(hqXCDecode, kKey, text), plain);
    }
    // Other spellings; less than all; each letter another one.
    QByteArrayList others{kText + "=",  kText + "\n", " " + kText,
                          kText + '\0', ":x" + kText, QByteArray(kText).replace('_', '/')};
    for (int at = 0; at < kText.size(); ++at)
        others << kText.left(at) << QByteArray(kText).replace(at, 1, kText[at] == 'B' ? "A" : "B");
    for (const QByteArray &other : others)
        QVERIFY2(through(hqXCDecode, kKey, other) == "refused", other);
    QCOMPARE(through(hqXCDecode, kKey.left(34), kText), "refused"); // the key without its NUL
}

// The files of the page and bad ones.
void StreamFileTest::otherReaders()
{
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

// Not even for a moment can others read what is new.
void StreamFileTest::privateFromTheStart()
{
#ifndef Q_OS_WIN
    const QByteArray path = at("watched.stream").toUtf8();
    std::atomic<bool> ended{false};
    std::atomic<uint> modes{0};
    std::thread watcher([&] {
        struct stat info;
        for (int seen = 0; seen < 300; seen += ::stat(path, &info) == 0 && (modes |= info.st_mode))
            continue;
        ended = true;
    });
    while (!ended)
        QVERIFY(writeStreamFile(path, kSecret, false) && ::unlink(path) == 0);
    watcher.join();
    QCOMPARE(modes & 0777, 0600u);
#endif
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
    const QString pipe = at("pipe"); // which nobody reads
    QVERIFY(::mkfifo(pipe.toUtf8(), 0644) == 0 && !writeStreamFile(pipe, kSecret, false));
    // Wine forgets rights here, which Windows keeps.
    QVERIFY(writeStreamFile(written, "a", false) && !othersHaveAccess(path));
#endif
    QVERIFY(!writeStreamFile(at("missing/a.stream"), "a", false));
    for (const QString &address : {QString("a"), kSecret})
        QVERIFY(!writeStreamFile(m_directory.path(), address, true));
    QCOMPARE(QDir(m_directory.path()).entryList({".*"}, QDir::Files | QDir::Hidden), QStringList());
}

PELLORY_TEST_MAIN(StreamFileTest, QCoreApplication)
#include "tst_streamfile.moc"
