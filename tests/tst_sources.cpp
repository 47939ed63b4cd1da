// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "access.h"
#include "windowprobe.h"

#include "adddialog.h"
#include "configdirectory.h"
#include "paramdialog.h"
#include "s3entries.h"
#include "tamsdialog.h"
#include "tamsentries.h"
#include "testmain.h"
#include "url.h"

#include <QAction>
#include <QTextStream>

class SourcesTest : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void entryLines();
    void strangeFiles();
    void s3Life();
    void tooLongPath();
    void edit();
    void keepsSite();
    void tamsHosts();
    void tamsLife();
    void refusedFiles();
    void removeFirstOfTwins();
    void ownName();

private:
    void write(const QString &name, const QByteArray &content)
    {
        QFile file(m_directory + name);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(content) == content.size());
    }
    QByteArray read(const QString &name)
    {
        QFile file(m_directory + name);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : "missing";
    }
    bool ownerOnly(const QString &name) { return !othersHaveAccess(m_directory + name); }
    QString m_directory;
};

void SourcesTest::init()
{
    QDir(configDirectory()).removeRecursively();
    m_directory = configDirectory();
    QVERIFY(m_directory.endsWith(QDir::separator()));
}

void SourcesTest::entryLines()
{
    const auto read = [&](const QByteArray &lines) {
        write("bucket.csv", lines);
        const auto entries = readS3Entries(m_directory);
        if (entries.isEmpty())
            return QString("none");
        const S3Entry &entry = entries.first();
        return QStringList{entry.key, entry.secret, entry.region, entry.site}.join('|');
    };
    const QString amazon("|s3.amazonaws.com");
    QCOMPARE(read("AWSAccessKeyId=AK\r\nAWSSecretKey=SK\r\nAWSRegion=r\r\n"), "AK|SK|r" + amazon);
    QCOMPARE(read("AWSAccessKeyId=\r\nAWSSecretKey=\r\n"), "||" + amazon);
    QCOMPARE(read("AWSAccessKeyId=AK\nAWSRegion=r\n"), QString("none"));
    QCOMPARE(read("#KeyId=x\n%SecretKey=x\nAccessKeyId=AK\nSite=s\n"), QString("AK|||s"));
    QCOMPARE(read("a=1AccessKeyId\nSecretKey=S"), "1AccessKeyId|S|" + amazon);
    QCOMPARE(read("SecretKey=AccessKeyId=x\nSite=s"), QString("AccessKeyId|||s"));
    QCOMPARE(read("AccessKeyId=a=b=c\nSecretKey=S"), "a|S|" + amazon);
    QCOMPARE(read("AccessKeyId=a\nAccessKeyId=b"), "b||" + amazon);
    QCOMPARE(read("accesskeyid=a\nSECRETKEY=b"), QString("none"));
    QCOMPARE(read("AccessKeyId\nSecretKey"), "||" + amazon);
    QCOMPARE(read("AccessKeyId=\xff\xfe\nSecretKey=\xc3\xa9"),
             "\xef\xbf\xbd\xef\xbf\xbd|\xc3\xa9|" + amazon);
    QCOMPARE(read(""), QString("none"));
}

void SourcesTest::strangeFiles()
{
    QVERIFY(QDir().mkpath(m_directory + "folder.csv"));
    QVERIFY(QDir().mkpath(m_directory + "folder.amazonaws.com.json"));
    write("long.csv", QByteArray(1 << 20, 'x'));
    write("late.csv", QByteArray(1 << 20, '\n') + "AccessKeyId=a\nSecretKey=b");
    for (const char *name : {"Beta.csv", "alpha.csv", ".hidden.csv", "b.amazonaws.com.json",
                             "A.amazonaws.com.json", "other.example.org.json"})
        write(name, "AccessKeyId=a\nSecretKey=b");
    MainWindowProbe probe;
    const QString computer = probe.urlTexts().last();
    QCOMPARE(probe.urlTexts(),
             (QStringList{"s3.amazonaws.com - alpha", "s3.amazonaws.com - Beta",
                          "s3.amazonaws.com - late", "tamss://A.amazonaws.com",
                          "tamss://b.amazonaws.com", "tamss://folder.amazonaws.com", computer}));
    QCOMPARE(probe.ui.combo_URL->currentIndex(), 6);
}

void SourcesTest::s3Life()
{
    {
        MainWindowProbe probe;
        probe.ui.button_Add->click();
        fillDialog(probe.dialog<AddDialog>(),
                   {"K=ü", "eu-west-1", "a/b:c@d", "rushes", "nas.local"}, "Accept");
        QCOMPARE(probe.urlTexts().first(), QString("nas.local - rushes"));
        QCOMPARE(probe.sources[0]->getUrl(), QString("s3://K=ü:a/b:c@d@nas.local/rushes"));
        QCOMPARE(
            read("rushes.csv"),
            QByteArray("AWSAccessKeyId=K=ü\r\nAWSSecretKey=a/b:c@d\r\nAWSRegion=eu-west-1\r\n"));
        QVERIFY(ownerOnly("rushes.csv"));
        // The same bucket again: the newer entry takes the file, both stand in the box.
        probe.ui.button_Add->click();
        fillDialog(probe.dialog<AddDialog>(), {"K2", "", "S2", "rushes", ""}, "Accept");
        QCOMPARE(probe.ui.combo_URL->currentIndex(), 1);
        QCOMPARE(read("rushes.csv"),
                 QByteArray("AWSAccessKeyId=K2\r\nAWSSecretKey=S2\r\nAWSRegion=\r\n"));
        // One of two sources with this bucket goes: the file stays.
        probe.ui.combo_URL->setCurrentIndex(0);
        probe.ui.button_URL_Remove->click();
        QCOMPARE(probe.sources.size(), 1);
    }
    MainWindowProbe restarted;
    QCOMPARE(restarted.sources.size(), 1);
    QCOMPARE(restarted.sources[0]->getUrl(), QString("s3://K2:S2@s3.amazonaws.com/rushes"));
    restarted.ui.combo_URL->setCurrentIndex(0);
    restarted.ui.button_URL_Remove->click();
    QCOMPARE(restarted.urlTexts().size(), 1);
    QCOMPARE(read("rushes.csv"), QByteArray("missing"));
}

void SourcesTest::tooLongPath()
{
    const int room = 259 - m_directory.toUtf8().size() - 4;
    for (const int size : {room, room + 1, 4000}) {
        const S3Entry entry{"K", "S", "", QString(size, 'b'), ""};
        QCOMPARE(writeS3Entry(m_directory.toUtf8(), entry) == -1, size != room);
    }
    QCOMPARE(entryNames(m_directory, "*.csv").size(), 1);
}

void SourcesTest::edit()
{
    write("a.csv", "AccessKeyId=KA\nSecretKey=SA\nSite=nas.local");
    write("b.csv", "AccessKeyId=KB\nSecretKey=SB");
    write("c.amazonaws.com.json", "{}");
    MainWindowProbe probe;
    probe.ui.combo_URL->setCurrentIndex(2);
    probe.ui.button_Params->click();
    QVERIFY(!probe.dialog<ParamDialog>());
    QList<ParamDialog *> dialogs;
    for (const int index : {0, 1, 1}) {
        probe.ui.combo_URL->setCurrentIndex(index);
        probe.ui.button_Params->click();
        dialogs.append(probe.dialog<ParamDialog>());
    }
    fillDialog(dialogs[0], {"K2", "r2", "S2", "a2"}, "Accept");
    QCOMPARE(probe.urlTexts().first(), QString("nas.local - a2"));
    QCOMPARE(probe.sources[0]->getUrl(), QString("s3://K2:S2@nas.local/a2"));
    QCOMPARE(read("a.csv"), QByteArray("AccessKeyId=KA\nSecretKey=SA\nSite=nas.local"));
    // The first source goes, with the file it came from and no other: the dialog's record has moved
    // up and is edited where it stands.
    write("a2.csv", "of another program");
    probe.ui.button_URL_Remove->click();
    QCOMPARE(read("a.csv"), QByteArray("missing"));
    QCOMPARE(read("a2.csv"), QByteArray("of another program"));
    fillDialog(dialogs[1], {"KB"}, "Accept");
    QCOMPARE(probe.urlTexts().mid(0, 2),
             (QStringList{"s3.amazonaws.com - b", "tamss://c.amazonaws.com"}));
    // The record of the third dialog was replaced by the second's: its edit is dropped.
    fillDialog(dialogs[2], {"late"}, "Accept");
    QCOMPARE(probe.sources[0]->getKey(), QString("KB"));
    QCOMPARE(probe.sources.size(), 2);
}

void SourcesTest::keepsSite()
{
    const QByteArray text("# mine \xff\nAccessKeyId=KA\nSecretKey=SA");
    const struct
    {
        const char *name;
        QByteArray before;
        QString key, site;
        QByteArray added; // empty: the file is left alone
        bool kept;
    } rows[] = {
        {"last line without an end", text, "KA", "nas.local", "\r\nAWSSite=nas.local\r\n", true},
        {"last line with one", text + '\n', "KA", "nas.local", "AWSSite=nas.local\r\n", true},
        {"another site there", text + "\nSite=x\n", "KA", "nas", "AWSSite=nas\r\n", true},
        {"there already", text + "\nSite=nas.local", "KA", "nas.local", "", true},
        {"another key", text, "KB", "nas.local", "", false},
        {"cut at the sign", text, "KA", "nas=x", "", false},
        {"taken for a region", text, "KA", "Region.local", "", false},
        {"taken for a key", text, "KA", "nas\nAccessKeyId=KB", "", false},
        {"no entry", "AccessKeyId=KA", "KA", "nas.local", "", false},
        {"NUL", text + '\0', "KA", "nas.local", "", false},
    };
    for (const auto &row : rows) {
        write("a.csv", row.before);
        QVERIFY2(keepS3Site(m_directory + "a.csv", row.key, row.site) == row.kept, row.name);
        QVERIFY2(read("a.csv") == row.before + row.added, read("a.csv"));
    }
    QVERIFY(!keepS3Site(m_directory + "missing.csv", "KA", "nas.local"));
    QVERIFY(QFile::remove(m_directory + "a.csv"));

    {
        MainWindowProbe probe;
        const QAction *keep = probe.ui.combo_URL->actions().value(0);
        QVERIFY(keep && keep->text() == "Keep Site" && !keep->isEnabled());
        probe.ui.button_Add->click();
        fillDialog(probe.dialog<AddDialog>(), {"K", "", "S", "b", "nas.local:9000"}, "Accept");
        QTRY_VERIFY(keep->isEnabled());
        BoxCloser closer;
        probe.ui.combo_URL->actions().first()->trigger();
        QTRY_VERIFY(closer.boxes.value(0).startsWith("Keep Site: The site nas.local:9000 was add"));
        write("b.csv", text);
        probe.ui.combo_URL->actions().first()->trigger();
        QTRY_VERIFY(closer.boxes.value(1).startsWith("Keep Site: The site nas.local:9000 was not"));
        write("b.csv", "AccessKeyId=K\nSecretKey=S\n");
        probe.ui.combo_URL->actions().first()->trigger();
    }
    MainWindowProbe restarted;
    QCOMPARE(restarted.urlTexts().first(), QString("nas.local:9000 - b"));
}

void SourcesTest::tamsHosts()
{
    const auto check = [](const QString &server, const QString &host, const QString &section) {
        QCOMPARE(tamsHost(server), host);
        QCOMPARE(tamsSection(host), "Tidewell\\OAuth2\\" + section);
    };
    check("https://t.amazonaws.com/Prod/x", "t.amazonaws.com", "t.amazonaws.com");
    check("t.amazonaws.com/Prod", "t.amazonaws.com", "t.amazonaws.com");
    check("/t/u", "/t/u", "/t/u");
    check("HTTPS://t/u", "HTTPS:", "HTTPS:");
    check("http", "http", "http");
    check("12\u06634abc", "12\u06634abc", "abc");
    check("2026", "2026", "");
    check("", "", "");
}

void SourcesTest::tamsLife()
{
    write("old.csv", "AccessKeyId=K\nSecretKey=S");
    {
        MainWindowProbe probe;
        probe.ui.button_Tams->click();
        auto *dialog = probe.dialog<TamsDialog>();
        fillDialog(
            dialog,
            {"https://1t.amazonaws.com/x", "/Api\"ü", "login.example.org/token", "se\\cret", "id"},
            "Accept");
        QCOMPARE(probe.urlTexts().mid(0, 2),
                 (QStringList{"s3.amazonaws.com - old", "tamss://1t.amazonaws.com"}));
        QCOMPARE(probe.sources[1]->getUrl(), QString("https://1t.amazonaws.com"));
        QCOMPARE(
            read("1t.amazonaws.com.json"),
            QByteArray("{\n    \"client_id\": \"id\",\n    \"client_secret\": \"se\\\\cret\",\n"
                       "    \"endpoint\": \"/Api\\\"ü\",\n"
                       "    \"grant_type\": \"client_credentials\",\n    \"scope\": [\n"
                       "        \"tams-api/read\",\n        \"tams-api/write\",\n"
                       "        \"tams-api/delete\"\n    ]\n}\n"));
        QVERIFY(ownerOnly("1t.amazonaws.com.json"));
        QVERIFY(read("hqutil.ini").contains("oauth2server=login.example.org/token"));
        // The same host again replaces the entry; without an endpoint the member is left out.
        probe.ui.button_Tams->click();
        fillDialog(dialog, {"1t.amazonaws.com", "", "o", "s", "i"}, "Accept");
        QVERIFY(!read("1t.amazonaws.com.json").contains("endpoint"));
        probe.ui.button_Tams->click();
        fillDialog(dialog, {"elsewhere.example.org", "", "o", "s", "i"}, "Accept");
        QCOMPARE(probe.sources.size(), 2);
        QVERIFY(read("elsewhere.example.org.json").contains("client_id"));
    }
    MainWindowProbe restarted;
    QCOMPARE(restarted.sources.size(), 2);
    restarted.ui.combo_URL->setCurrentIndex(1);
    restarted.ui.button_URL_Remove->click();
    QCOMPARE(read("1t.amazonaws.com.json"), QByteArray("missing"));
    QCOMPARE(restarted.sources.size(), 1);
}

// A folder in a file's place is refused to everybody, also to the tests' root.
void SourcesTest::refusedFiles()
{
    QVERIFY(QDir().mkpath(m_directory + "t.amazonaws.com.json/full"));
    QVERIFY(QDir().mkpath(m_directory + "bucket.csv/full"));
    MainWindowProbe probe;
    BoxCloser closer;
    probe.ui.button_Tams->click();
    fillDialog(probe.dialog<TamsDialog>(), {"t.amazonaws.com"}, "Accept");
    QCOMPARE(closer.boxes.size(), 1);
    const QString start = QString("Unable to create file: Unable to create file "
                                  "<%1t.amazonaws.com.json>\nPlease check your permissions on\n%1\n"
                                  "Error ")
                              .arg(m_directory);
    QVERIFY2(closer.boxes[0].startsWith(start), qPrintable(closer.boxes[0]));
    QVERIFY(closer.boxes[0].mid(start.size()).chopped(1).toInt() > 0);

    probe.ui.combo_URL->setCurrentIndex(0);
    probe.ui.button_URL_Remove->click();
    probe.ui.button_Add->click();
    fillDialog(probe.dialog<AddDialog>(), {"K", "", "S", "bucket", ""}, "Accept");
    probe.ui.button_URL_Remove->click();
    const QString text("Unable to delete file: Unable to delete file <%1>");
    QCOMPARE(closer.boxes.mid(1), (QStringList{text.arg(m_directory + "t.amazonaws.com.json"),
                                               text.arg(m_directory + "bucket.csv")}));
    QVERIFY(probe.sources.isEmpty());
}

void SourcesTest::removeFirstOfTwins()
{
    MainWindowProbe probe;
    probe.ui.button_Add->click();
    for (const char *key : {"first", "second"})
        fillDialog(probe.dialog<AddDialog>(), {key, "", "S", "b", ""}, "Accept");
    QCOMPARE(probe.sources.size(), 2);
    probe.ui.combo_URL->setCurrentIndex(1);
    probe.ui.button_URL_Remove->click();
    QCOMPARE(probe.sources.size(), 1);
    QCOMPARE(probe.sources[0]->getKey(), QString("second"));
}

// A file that was copied there by hand goes under its own name, edited or not, and alone.
void SourcesTest::ownName()
{
    for (const char *name : {"Y.CSV", "x.CSV"})
        write(name, "AccessKeyId=upper\nSecretKey=S");
    if (!isWindows)
        write("x.csv", "AccessKeyId=lower\nSecretKey=S");
    MainWindowProbe probe;
    const int sources = probe.sources.size();
    QCOMPARE(sources, isWindows ? 2 : 3);
    probe.ui.combo_URL->setCurrentIndex(sources - 1);
    probe.ui.button_Params->click();
    fillDialog(probe.dialog<ParamDialog>(), {"K", "", "S", "z"}, "Accept");
    probe.ui.button_URL_Remove->click();
    QCOMPARE(read("Y.CSV"), QByteArray("missing"));
    while (!probe.sources.isEmpty()) {
        const char *name = probe.sources[0]->getKey() == "upper" ? "x.CSV" : "x.csv";
        probe.ui.combo_URL->setCurrentIndex(0);
        probe.ui.button_URL_Remove->click();
        QCOMPARE(read(name), QByteArray("missing"));
        QCOMPARE(entryNames(m_directory, "*.csv").size(), probe.sources.size());
    }
}

PELLORY_TEST_MAIN(SourcesTest, QApplication)
#include "tst_sources.moc"
