// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// What a walk makes of servers that fail, and of servers that list in a way of their own.
#include "hqutil.h"
#include "testmain.h"
#include "testserver.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRandomGenerator>

#include <functional>
#include <tuple>

namespace {

constexpr int kKeys = 2500;

// A JSON list; single quotes for legibility.
QJsonArray json(QByteArray text)
{
    return QJsonDocument::fromJson(text.replace('\'', '"')).array();
}

int collect(void *user, const char *address, unsigned int attributes)
{
    const QByteArray text(address);
    const bool isFolder = (attributes & HQ_ATTRIBUTE_FOLDER) != 0;
    static_cast<QByteArrayList *>(user)->append(text.endsWith('/') == isFolder ? text : "wrong");
    return 0;
}

// What a complete walk of these objects gives: each name once, in the order of their bytes.
QByteArray levelOf(const QJsonObject &objects)
{
    QByteArrayList names;
    for (const QString &key : objects.keys())
        names.append(key.section('/', 0, 0).toUtf8() + (key.contains('/') ? "/" : ""));
    std::sort(names.begin(), names.end());
    names.erase(std::unique(names.begin(), names.end()), names.end());
    return "0|" + names.join('|');
}

} // namespace

class WalksTest : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { QVERIFY2(m_server.start(), m_server.error()); }
    void init() { m_server.command("calm"); }
    void faults();
    void kinds();
    void randomLevels();
    void backslash();
    void regionOfEntryFile();

private:
    QByteArray address(const QByteArray &rest) const
    {
        return "s3://AK:SK@127.0.0.1:" + QByteArray::number(m_server.port()) + "/" + rest;
    }
    // "0" or the error, and the names reported.
    QByteArrayList walk(const QByteArray &folder)
    {
        QByteArrayList found;
        const bool isComplete =
            hqOSRecurseDirectory(&found, address(folder).constData(), collect, HQ_WALK_ONE_LEVEL);
        for (QByteArray &entry : found)
            entry.remove(0, address(folder).size() + (strchr("/\\", folder.back()) ? 0 : 1));
        return QByteArrayList{QByteArray::number(isComplete ? 0 : hqOSGetLastError())} + found;
    }
    // The walk of a bucket that is made for it.
    QByteArrayList walkNew(QJsonObject bucket)
    {
        const QByteArray name = QByteArray::number(++m_buckets);
        bucket["bucket"] = QString(name);
        m_server.command("bucket", bucket);
        m_server.command("requests");
        return walk(name);
    }
    int requests() { return m_server.command("requests")["requests"].toArray().size(); }

    TestServer m_server{"fault_server.py"};
    int m_buckets = 0;
};

void WalksTest::faults()
{
    const std::tuple<const char *, const char *, int> rows[] = {
        {"busy page", "[{'skip':1,'status':503,'times':3}]", 0},
        {"error in a 200", "[{'skip':1,'status':200,'code':'InternalError'}]", 0},
        {"broken document", "[{'broken':true},{'skip':1,'broken':true}]", 0},
        {"cut and reset", "[{'cut':-1},{'skip':2,'reset':true}]", 0},
        {"empty page that goes on", "[{'skip':1,'emptyPage':true}]", 0},
        {"page without a token", "[{'skip':1,'noToken':true}]", 0},
        {"token goes round", "[{'skip':1,'sameToken':true,'times':0}]", 12152},
        {"access lost", "[{'skip':2,'status':403}]", 5},
        {"always broken", "[{'skip':1,'broken':true,'times':0}]", 12152},
        {"larger than a page may be", nullptr, 12152},
    };
    for (const auto &[name, faults, error] : rows) {
        init();
        for (const QJsonValue &fault : json(faults))
            m_server.command("fault", fault.toObject());
        if (!faults)
            m_server.command(
                "fault", {{"skip", 1}, {"status", 200}, {"body", QString(33 << 20, QChar(' '))}});
        const QByteArrayList found = walkNew({{"count", kKeys}});
        QVERIFY2(found[0].toInt() == error, name + (": error " + found[0]));
        QVERIFY2(found.size() > (error == 0 ? kKeys : 1000), name);
        QVERIFY2(std::adjacent_find(found.begin() + 1, found.end(), std::greater_equal<>()) ==
                     found.end(),
                 name);
    }
}

void WalksTest::kinds()
{
    const QJsonObject objects{
        {"a", ""},       {"a b+c", ""},        {"a%2Fb", ""},      {"dir/x", ""},
        {"dir/y/z", ""}, {"dir0", ""},         {"z/1", ""},        {"é", ""},
        {"\uff21", ""},  {"\U0001f600/x", ""}, {"\U0001f600y", ""}};
    // Requests with three names a page.
    const std::tuple<const char *, const char *, int, int> rows[] = {
        {"[]", "utf-8", 4, 0},
        {"['no-token']", "utf-8", 4, 0},
        {"['no-token','no-start-after']", "utf-8", 5, 0},
        {"['version-1']", "utf-8", 4, 0},
        {"['version-1','no-next-marker']", "utf-8", 5, 0},
        {"[]", "utf-16-be", 4, 0},
        {"['no-token']", "utf-16-be", 4, 0},
        {"['version-1']", "utf-16-be", 4, 0},
        {"['no-token','no-start-after','no-marker']", "utf-8", 3, 12152},
        {"['version-1','no-marker']", "utf-8", 2, 12152},
    };
    m_server.command("set", {{"pageSize", 3}});
    for (const auto &[quirks, order, sent, error] : rows) {
        QByteArrayList found =
            walkNew({{"objects", objects}, {"order", order}, {"quirks", json(quirks)}});
        std::sort(found.begin() + 1, found.end()); // another order is kept a page at a time
        QByteArray expected = levelOf(objects);
        if (error != 0)
            expected = QByteArray::number(error) + "|a|a b+c|a%2Fb";
        QVERIFY2(found.join('|') == expected, quirks + found.join('|'));
        QVERIFY2(requests() == sent, quirks);
    }
}

// PELLORY_ROUNDS sets how many.
void WalksTest::randomLevels()
{
    const int rounds = qEnvironmentVariableIntValue("PELLORY_ROUNDS");
    QRandomGenerator random{quint32(rounds)};
    const QStringList pieces = QString("a,b,/,/,+,%2F,é,\uff21,\U0001f600, ,\n,<&>").split(',');
    const QStringList all = QString("version-1,no-token,no-next-marker,no-start-after,repeats,"
                                    "plain-next-marker,no-encoding-type,counts-keys")
                                .split(',');
    for (int round = 0; round < std::max(rounds, 200); ++round) {
        QJsonObject objects;
        for (int i = random.bounded(40); i >= 0; --i) {
            QString key = pieces[random.bounded(2)];
            while (random.bounded(4) > 0)
                key += pieces[random.bounded(pieces.size())];
            objects[key] = "";
        }
        QStringList quirks;
        std::copy_if(all.begin(), all.end(), std::back_inserter(quirks),
                     [&](const QString &) { return random.bounded(3) == 0; });
        m_server.command("set", {{"pageSize", random.bounded(1, 8)}});
        const QByteArray found =
            walkNew({{"objects", objects}, {"quirks", QJsonArray::fromStringList(quirks)}})
                .join('|');
        QVERIFY2(found == levelOf(objects), quirks.join(' ').toUtf8() + ": " + found);
    }
}

// The folder test and the walk mean the same by a "\".
void WalksTest::backslash()
{
    const QJsonObject objects{
        {"x\\y/own", ""}, {"p/q/slash", ""}, {"p\\q/own", ""}, {"marked/", ""}};
    m_server.command("bucket", {{"bucket", "b"}, {"objects", objects}});
    const std::tuple<const char *, const char *, bool> rows[] = {
        {"b/x\\y", "0|own", true}, {"b\\x\\y/", "0|own", true}, {"b/p\\q", "0|slash", true},
        {"b/x/y", "0", false},     {"b/none\\y", "0", false},   {"b\\marked", "0", true},
    };
    for (const auto &[folder, names, isFolder] : rows) {
        QVERIFY2(walk(folder).join('|') == names, folder);
        QVERIFY2((hqOSFileIsDir(address(folder).constData()) != 0) == isFolder, folder);
    }
}

// It is found however far behind; a file that is too large is not used, and the log says so alone.
void WalksTest::regionOfEntryFile()
{
    ErrLogSetFileName("test");
    char directory[HQ_CONFIG_DIR_SIZE] = {};
    QVERIFY(hqOSGetConfigDir(directory, 0));
    const int limit = 4 << 20;
    for (const int size : {10'000, limit, limit + 1, 0}) {
        QFile entry(QString("%1%2.csv").arg(directory).arg(m_buckets + 1));
        const QByteArray line = "\nAWSRegion=eu-north-1\r\n";
        if (size > 0)
            QVERIFY(entry.open(QIODevice::WriteOnly) &&
                    entry.write(QByteArray(size - line.size(), '#') + line) == size);
        entry.close();
        QCOMPARE(walkNew({{"count", 1}, {"region", "eu-north-1"}}).size(), 2);
        QCOMPARE(requests(), size > 0 && size <= limit ? 1 : 2);
    }
    QFile log(qEnvironmentVariable("XDG_STATE_HOME") + "/Corvane/Pellory/test.log");
    QVERIFY(log.open(QIODevice::ReadOnly));
    const QByteArray lines = log.readAll();
    QVERIFY2(lines.count('\n') == 1 && lines.contains(".csv> is larger"), lines);
}

PELLORY_TEST_MAIN(WalksTest, QCoreApplication)
#include "tst_walks.moc"
