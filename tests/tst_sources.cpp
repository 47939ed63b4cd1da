// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "access.h"
#include "windowprobe.h"

#include "adddialog.h"
#include "configdirectory.h"
#include "paramdialog.h"
#include "s3entries.h"
#include "tamsdialog.h"
#include "url.h"

class SourcesTest : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void reading();
    void s3Life();
    void edit();
    void keepsSite();
    void tamsLife();

private:
    void write(const QString &name, const QByteArray &content)
    {
        QVERIFY(fill(m_directory + name, content));
    }
    QByteArray read(const QString &name) { return contentOf(m_directory + name); }
    QString m_directory;
};

void SourcesTest::init()
{
    QDir(configDirectory()).removeRecursively();
    m_directory = configDirectory();
}

// Lines of a file, then files.
void SourcesTest::reading()
{
    for (const auto &[lines, expected] :
         {std::pair(QByteArray("AWSAccessKeyId=AK\r\nAWSSecretKey=SK\r\nAWSRegion=r\r\n"),
                    "AK|SK|r|s3.amazonaws.com"),
          {"AccessKeyId=AK\nAWSRegion=r\n", "none"},
          {"#KeyId=x\n%SecretKey=x\nAccessKeyId=AK\nSite=s\n", "AK|||s"},
          {"AccessKeyId=a=b=c\nSecretKey\nSite=s", "a|||s"},
          {"AccessKeyId=\xff\xfe\nSecretKey=\xc3\xa9\nSite=s",
           "\xef\xbf\xbd\xef\xbf\xbd|\xc3\xa9||s"}}) {
        write("bucket.csv", lines);
        const hq::S3Entry entry = readS3Entries(m_directory).value(0);
        const QStringList found{entry.key, entry.secret, entry.region, entry.site};
        QCOMPARE(entry.path.isEmpty() ? "none" : found.join('|'), QString(expected));
    }
    init();
    QVERIFY(QDir().mkpath(m_directory + "folder.csv"));
    QVERIFY(QDir().mkpath(m_directory + "folder.amazonaws.com.json"));
    write("long.csv", QByteArray(1 << 20, 'x'));
    write("late.csv", QByteArray(1 << 20, '\n') + "AccessKeyId=a\nSecretKey=b");
    for (const char *name : {"Beta.CSV", "alpha.csv", ".hidden.csv", "b.amazonaws.com.json",
                             "A.amazonaws.com.json", "other.example.org.json"})
        write(name, "AccessKeyId=a\nSecretKey=b");
    MainWindowProbe probe;
    QCOMPARE(probe.urlTexts().mid(0, 6),
             (QStringList{"s3.amazonaws.com - alpha", "s3.amazonaws.com - Beta",
                          "s3.amazonaws.com - late", "tamss://A.amazonaws.com",
                          "tamss://b.amazonaws.com", "tamss://folder.amazonaws.com"}));
    QCOMPARE(probe.ui.combo_URL->currentIndex(), 6);
    // A file that was copied there by hand goes under its own name.
    probe.ui.combo_URL->setCurrentIndex(1);
    probe.ui.button_URL_Remove->click();
    QVERIFY(!QFile::exists(m_directory + "Beta.CSV"));
}

void SourcesTest::s3Life()
{
    MainWindowProbe probe;
    probe.ui.button_Add->click();
    auto *dialog = probe.dialog<AddDialog>();
    fillDialog(dialog, {"K=ü", "eu-west-1", "a/b:c@d", "rushes", "nas.local"});
    QCOMPARE(probe.urlTexts().first(), QString("nas.local - rushes"));
    QCOMPARE(probe.sources[0]->getUrl(), QString("s3://K=ü:a/b:c@d@nas.local/rushes"));
    QCOMPARE(read("rushes.csv"),
             QByteArray("AWSAccessKeyId=K=ü\r\nAWSSecretKey=a/b:c@d\r\nAWSRegion=eu-west-1\r\n"));
    QVERIFY(!othersHaveAccess(m_directory + "rushes.csv"));
    fillDialog(dialog, {"", "", "", QString(240, 'x'), ""}); // too long a path for a file
    QCOMPARE(entryNames(m_directory, "*.csv"), QStringList("rushes.csv"));
    QVERIFY(QDir().mkpath(m_directory + "folder.csv"));
    QCOMPARE(probe.sources.last()->writeCsv() + URL("", "", "", "folder", "", false).writeCsv(),
             -2);
    probe.ui.button_URL_Remove->click();
    // Again: the newer one takes the file, both stand in the box, where the first goes first.
    fillDialog(dialog, {"K2", "", "S2", "rushes", "nas.local"});
    QCOMPARE(probe.ui.combo_URL->currentIndex(), 1);
    probe.ui.button_URL_Remove->click();
    QCOMPARE(probe.sources[0]->getKey(), QString("K2"));
    QCOMPARE(read("rushes.csv"),
             QByteArray("AWSAccessKeyId=K2\r\nAWSSecretKey=S2\r\nAWSRegion=\r\n"));
    probe.ui.combo_URL->setCurrentIndex(0);
    probe.ui.button_URL_Remove->click();
    QVERIFY(probe.sources.isEmpty() && !QFile::exists(m_directory + "rushes.csv"));
}

void SourcesTest::edit()
{
    write("a.csv", "AccessKeyId=KA\nSecretKey=SA\nSite=nas.local");
    write("b.csv", "AccessKeyId=KB\nSecretKey=SB");
    MainWindowProbe probe;
    QList<ParamDialog *> dialogs;
    for (const int index : {0, 1, 1}) {
        probe.ui.combo_URL->setCurrentIndex(index);
        probe.ui.button_Params->click();
        dialogs.append(probe.dialog<ParamDialog>());
    }
    fillDialog(dialogs[0], {"K2", "r2", "S2", "a2"});
    QCOMPARE(probe.urlTexts().first(), QString("nas.local - a2"));
    QCOMPARE(probe.sources[0]->getUrl(), QString("s3://K2:S2@nas.local/a2"));
    QVERIFY(read("a.csv").contains("KA"));
    // It goes with the file it came from and no other, and the next dialog's record moves up.
    write("a2.csv", "of another program");
    probe.ui.button_URL_Remove->click();
    QCOMPARE(entryNames(m_directory, "*.csv"), (QStringList{"a2.csv", "b.csv"}));
    fillDialog(dialogs[1], {"K3"});
    QCOMPARE(probe.sources[0]->getKey(), QString("K3"));
    fillDialog(dialogs[2], {"late"}); // its record was replaced by the second's
    QCOMPARE(probe.sources[0]->getKey(), QString("K3"));
    QCOMPARE(probe.sources.size(), 1);
}

void SourcesTest::keepsSite()
{
    const QByteArray text("# mine \xff\nAccessKeyId=KA\nSecretKey=SA");
    // What is added; nothing where it is not kept.
    for (const auto &[before, key, site, added] :
         {std::tuple(text, "KA", "nas.local", "\r\nAWSSite=nas.local\r\n"),
          {text + "\nSite=x\n", "KA", "nas", "AWSSite=nas\r\n"},
          {text, "KB", "nas.local", ""},
          {text, "KA", "nas\nAccessKeyId=KB", ""},
          {text + '\0', "KA", "nas.local", ""}}) {
        write("a.csv", before);
        QCOMPARE(keepS3Site(m_directory + "a.csv", key, site), *added != 0);
        QCOMPARE(read("a.csv"), before + added);
    }
    QVERIFY(QFile::remove(m_directory + "a.csv"));

    MainWindowProbe probe;
    QAction *keep = probe.ui.combo_URL->actions().value(0);
    QVERIFY(keep && keep->text() == "Keep Site" && !keep->isEnabled());
    probe.ui.button_Add->click();
    fillDialog(probe.dialog<AddDialog>(), {"K", "", "S", "b", "nas.local:9000"});
    QTRY_VERIFY(keep->isEnabled());
    BoxCloser closer;
    keep->trigger();
    QTRY_VERIFY(closer.boxes.value(0).startsWith("Keep Site: The site nas.local:9000 was add"));
    QCOMPARE(MainWindowProbe().urlTexts().first(), QString("nas.local:9000 - b"));
    write("b.csv", text);
    keep->trigger();
    QTRY_VERIFY(closer.boxes.value(1).startsWith("Keep Site: The site nas.local:9000 was not"));
}

void SourcesTest::tamsLife()
{
    MainWindowProbe probe;
    probe.ui.button_Tams->click();
    auto *dialog = probe.dialog<TamsDialog>();
    const QString host = "https://1t.amazonaws.com/x", login = "login.example.org/token";
    fillDialog(dialog, {host, "/Api\"ü", login, "se\\cret", "id"});
    QCOMPARE(probe.urlTexts().first(), QString("tamss://1t.amazonaws.com"));
    const QString expected = R"({ "client_id": "id", "client_secret": "se\\cret",
        "endpoint": "/Api\"ü", "grant_type": "client_credentials",
        "scope": [ "tams-api/read", "tams-api/write", "tams-api/delete" ] })";
    QCOMPARE(QString(read("1t.amazonaws.com.json")).simplified(), expected.simplified());
    QVERIFY(!othersHaveAccess(m_directory + "1t.amazonaws.com.json"));
    QVERIFY(read("hqutil.ini").contains("oauth2server=login.example.org/token"));
    // The same host again replaces the entry; without an endpoint the member is left out.
    fillDialog(dialog, {"1t.amazonaws.com", "", "o", "s", "i"});
    QVERIFY(!read("1t.amazonaws.com.json").contains("endpoint"));
    fillDialog(dialog, {"elsewhere.example.org", "", "o", "s", "i"});
    QCOMPARE(probe.sources.size(), 1);
    QVERIFY(read("elsewhere.example.org.json").contains("client_id"));
    probe.ui.combo_URL->setCurrentIndex(0);
    probe.ui.button_URL_Remove->click();
    QVERIFY(probe.sources.isEmpty() && !QFile::exists(m_directory + "1t.amazonaws.com.json"));

    // A folder in a file's place is refused to everybody, also to the tests' root.
    const QString path = m_directory + "t.amazonaws.com.json";
    QVERIFY(QDir().mkpath(path + "/full"));
    BoxCloser closer;
    fillDialog(dialog, {"t.amazonaws.com"});
    const QString text = QString("Unable to create file: Unable to create file <%1>\nPlease check "
                                 "your permissions on\n%2\nError ")
                             .arg(path, m_directory);
    QVERIFY2(closer.boxes.value(0).startsWith(text), closer.boxes.value(0).toUtf8());
    probe.ui.combo_URL->setCurrentIndex(0);
    probe.ui.button_URL_Remove->click();
    QCOMPARE(closer.boxes.value(1),
             QString("Unable to delete file: Unable to delete file <%1>").arg(path));
    QVERIFY(probe.sources.isEmpty());
}

PELLORY_TEST_MAIN(SourcesTest, QApplication)
#include "tst_sources.moc"
