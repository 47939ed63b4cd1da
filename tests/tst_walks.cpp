// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// What a walk makes of servers that fail, and of servers that list in a way of their own.
#include "hqutil.h"
#include "net/timelimits.h"
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

struct Found
{
    QByteArrayList names;
    int endAfter = -1;
};

int collect(void *user, const char *address, unsigned int attributes)
{
    auto *found = static_cast<Found *>(user);
    const QByteArray text(address);
    const bool isFolder = (attributes & HQ_ATTRIBUTE_FOLDER) != 0;
    found->names.append(text.endsWith('/') == isFolder ? text : "wrong");
    return found->names.size() == found->endAfter;
}

// What a complete walk of these keys gives: each name once, in the order of their bytes.
QByteArrayList levelOf(const QStringList &keys)
{
    QByteArrayList names;
    for (const QString &key : keys) {
        if (!key.isEmpty() && key[0] != '/')
            names.append(key.section('/', 0, 0).toUtf8() + (key.contains('/') ? "/" : ""));
    }
    std::sort(names.begin(), names.end());
    names.erase(std::unique(names.begin(), names.end()), names.end());
    return names;
}

// Keys that are made of some kind of pieces, of some more than one, and that may count on behind.
QStringList randomKeys(QRandomGenerator &random, bool isPlain)
{
    static const QString kinds[] = {"a,b,/,/,+,%2F,é,\uff21,\U0001f600, ,\n,<&>",
                                    "0,1,2,3,4,5,6,7,8,9",
                                    "0,1,2,3,4,5,6,7,8,9,a,b,c,d,e,f",
                                    "clip,Reel,take, ,-,_,2024,01",
                                    "a,aa,aaa,z",
                                    "\x01,\x1f,\x7f,~,a,A,/"};
    const QStringList pieces = kinds[random.bounded(isPlain ? 5 : 6)].split(',');
    const auto often = [&random] { return 1 << 4 * random.bounded(3); };
    const int counted = often();
    const int folder = often();
    const int longest = random.bounded(2, 9);
    QStringList keys;
    for (int i = random.bounded(1, 300); i > 0; --i) {
        QString key = random.bounded(counted) == 0 ? QString("tail-%1").arg(i, 6, 10, QChar('0'))
                                                   : pieces[random.bounded(pieces.size())];
        while (!key.startsWith("tail") && random.bounded(longest) > 0)
            key += pieces[random.bounded(pieces.size())];
        keys.append(random.bounded(folder) == 0 ? key + "/x" : key);
    }
    return keys;
}

QJsonObject objectsOf(const QStringList &keys, const QString &prefix = "")
{
    QJsonObject objects;
    for (const QString &key : keys)
        objects[prefix + key] = "";
    return objects;
}

} // namespace

class WalksTest : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { QVERIFY2(m_server.start(), m_server.error()); }
    void init()
    {
        m_server.command("calm");
        setFar(true);
    }
    void faults();
    void kinds();
    void randomLevels();
    void backslash();
    void regionOfEntryFile();

private:
    // Whether many pages are asked for at a time.
    static void setFar(bool isFar) { hq::timeLimits().page = std::chrono::hours(isFar ? 0 : 1); }
    QByteArray address(const QByteArray &rest) const
    {
        return "s3://AK:SK@127.0.0.1:" + QByteArray::number(m_server.port()) + "/" + rest;
    }
    // "0" or the error, and the names reported.
    QByteArrayList walk(const QByteArray &folder, int endAfter = -1)
    {
        Found found{{}, endAfter};
        const bool isComplete =
            hqOSRecurseDirectory(&found, address(folder).constData(), collect, HQ_WALK_ONE_LEVEL);
        for (QByteArray &entry : found.names)
            entry.remove(0, address(folder).size() + (strchr("/\\", folder.back()) ? 0 : 1));
        return QByteArrayList{QByteArray::number(isComplete ? 0 : hqOSGetLastError())} +
               found.names;
    }
    // The walk of a bucket that is made for it.
    QByteArrayList walkNew(QJsonObject bucket, const QByteArray &below = "", int endAfter = -1)
    {
        const QByteArray name = QByteArray::number(++m_buckets);
        bucket["bucket"] = QString(name);
        m_server.command("bucket", bucket);
        m_server.command("requests");
        return walk(name + below, endAfter);
    }
    // How many requests came since the last call, and how many that began a range.
    std::pair<int, int> requests()
    {
        const QJsonArray all = m_server.command("requests")["requests"].toArray();
        return {all.size(), std::count_if(all.begin(), all.end(), [](const QJsonValue &request) {
                    return request["query"].toString().contains("start-after");
                })};
    }

    TestServer m_server{"fault_server.py"};
    int m_buckets = 0;
};

// What is reported is always a beginning of the whole.
void WalksTest::faults()
{
    const std::tuple<const char *, const char *, int> rows[] = {
        {"error in a 200", "[{'skip':1,'status':200,'code':'InternalError'}]", 0},
        {"broken document", "[{'broken':true},{'skip':1,'broken':true}]", 0},
        {"empty page that goes on", "[{'skip':1,'emptyPage':true}]", 0},
        {"page without a token", "[{'skip':1,'noToken':true}]", 0},
        {"token goes round", "[{'contains':'continuation','sameToken':true,'times':0}]", 12152},
        {"empty ranges", "[{'contains':'start-after','emptyPage':true,'times':0}]", 0},
        {"ranges refused", "[{'contains':'start-after','status':403,'times':0}]", 0},
        {"access lost", "[{'skip':2,'status':403,'times':0}]", 5},
        {"always broken", "[{'skip':1,'broken':true,'times':0}]", 12152},
        {"larger than a page may be", nullptr, 12152},
    };
    for (const auto &[name, faults, error] : rows) {
        for (const bool isFar : {false, true}) {
            init();
            setFar(isFar);
            m_server.command("set", {{"pageSize", 200}});
            for (const QJsonValue &fault : json(faults))
                m_server.command("fault", fault.toObject());
            const QString blanks(33 << 20, QChar(' '));
            if (!faults)
                m_server.command("fault",
                                 {{"skip", 1}, {"times", 0}, {"status", 200}, {"body", blanks}});
            const QByteArrayList found = walkNew({{"count", kKeys}});
            // Ranges may have made do without the page.
            QVERIFY2(found[0].toInt() == error || found.size() > kKeys,
                     name + (": error " + found[0]));
            QVERIFY2(found.size() > (error == 0 ? kKeys : 200), name);
            for (int i = 1; i < found.size(); ++i)
                QVERIFY2(found[i].mid(4).toInt() == i - 1, name + found[i]);
        }
    }
}

void WalksTest::kinds()
{
    const QStringList few{"a",   "a b+c",  "a%2Fb",  "dir/x",        "dir/y/z",    "dir0",
                          "z/1", "\u00e9", "\uff21", "\U0001f600/x", "\U0001f600y"};
    QStringList many = few;
    for (int i = 0; i < 60; ++i) {
        const QString number = QString::number(i + 100);
        many += {(i % 2 == 0 ? "clip" : "Clip") + number, "\uff21" + number,
                 "\U0001f600" + number + (i % 3 == 0 ? "/x" : "")};
    }
    // Requests for the few with three names a page.
    const std::tuple<const char *, const char *, int, int> rows[] = {
        {"[]", "utf-8", 4, 0},
        {"['no-start-after']", "utf-8", 4, 0},
        {"['no-token']", "utf-8", 4, 0},
        {"['no-token','no-start-after']", "utf-8", 5, 0},
        {"['version-1']", "utf-8", 4, 0},
        {"['version-1','no-next-marker']", "utf-8", 5, 0},
        {"['no-token']", "utf-16-be", 4, 0},
        {"[]", "no-case", 4, 0},
        {"['no-token','no-start-after','no-marker']", "utf-8", 3, 12152},
        {"['version-1','no-marker']", "utf-8", 2, 12152},
    };
    for (const auto &[quirks, order, sent, error] : rows) {
        for (const bool isFar : {false, true}) {
            setFar(isFar);
            m_server.command("set", {{"pageSize", 3}});
            const QStringList &keys = isFar ? many : few;
            QByteArrayList found =
                walkNew({{"objects", objectsOf(keys)}, {"order", order}, {"quirks", json(quirks)}});
            std::sort(found.begin() + 1, found.end()); // another order is kept a page at a time
            const QByteArrayList expected = QByteArrayList{QByteArray::number(error)} +
                                            levelOf(keys).mid(0, error != 0 ? 3 : -1);
            QVERIFY2(found == expected, quirks + found.join('|'));
            const auto [came, begun] = requests();
            QVERIFY2(isFar ? begun > 0 || QByteArray(quirks) != "[]" : came == sent, quirks);
        }
    }
}

// PELLORY_ROUNDS sets how many. Servers of all kinds, faults, callbacks that end the walk, and
// buckets that change, where every name that stays is found.
void WalksTest::randomLevels()
{
    const int rounds = qEnvironmentVariableIntValue("PELLORY_ROUNDS");
    QRandomGenerator random{quint32(rounds)};
    const QStringList all = QString("version-1,no-token,no-next-marker,no-start-after,repeats,"
                                    "plain-next-marker,no-encoding-type,counts-keys")
                                .split(',');
    const QJsonArray effects = json("[[0.05,{'status':503}],[0.03,{'reset':true}],"
                                    "[0.03,{'cut':-1}],[0.03,{'emptyPage':true}]]");
    int ranges = 0;
    for (int round = 0; round < std::max(rounds, 100); ++round) {
        init();
        enum Kind { Faults, Quirks, Change, Ends };
        const auto kind = static_cast<Kind>(round % 4);
        const QString prefix = random.bounded(2) == 0 ? "" : "p/";
        const int pageSize = random.bounded(1, 40);
        const int end = kind == Ends ? random.bounded(1, 200) : -1;
        const QStringList stable = randomKeys(random, kind == Quirks);
        const QStringList fickle = kind == Change ? randomKeys(random, true) : QStringList();
        QStringList quirks;
        std::copy_if(all.begin(), all.end(), std::back_inserter(quirks),
                     [&](const QString &) { return kind == Quirks && random.bounded(3) == 0; });
        const QString order = kind == Faults && random.bounded(2) == 0 ? "utf-16-be" : "utf-8";
        m_server.command("set", {{"pageSize", pageSize}});
        if (kind == Faults) {
            m_server.command("chaos", {{"seed", round}, {"effects", effects}});
            m_server.command(
                "fault",
                {{"contains", "start-after"}, {"skip", random.bounded(4)}, {"status", 403}});
        }
        QByteArrayList found =
            walkNew({{"objects", objectsOf(stable, prefix)},
                     {"fickle", QJsonArray::fromStringList(objectsOf(fickle, prefix).keys())},
                     {"order", order},
                     {"quirks", QJsonArray::fromStringList(quirks)}},
                    prefix.isEmpty() ? "" : "/p", end);
        const QByteArray shown =
            QByteArray::number(round) + quirks.join(' ').toUtf8() + ": " + found.join('|');
        QVERIFY2(found.takeFirst() == "0", shown);
        QByteArrayList level = levelOf(stable);
        if (order != "utf-8")
            std::sort(found.begin(), found.end()); // kept a page at a time
        const auto [sent, begun] = requests();
        const int pages = std::max(level.size() - 1, 0) / pageSize + 1;
        QVERIFY2(kind != Ends || sent <= pages * 1.3 + 16, shown);
        ranges += begun;
        if (kind != Change) {
            QVERIFY2(found == level.mid(0, end), shown);
            continue;
        }
        for (const QByteArray &name : levelOf(fickle)) {
            level.removeAll(name);
            found.removeOne(name); // twice would be once too often
        }
        QVERIFY2(found == level, shown);
    }
    QVERIFY(ranges > std::max(rounds, 100));
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
        QCOMPARE(requests().first, size > 0 && size <= limit ? 1 : 2);
    }
    QFile log(qEnvironmentVariable("XDG_STATE_HOME") + "/Corvane/Pellory/test.log");
    QVERIFY(log.open(QIODevice::ReadOnly));
    const QByteArray lines = log.readAll();
    QVERIFY2(lines.count('\n') == 1 && lines.contains(".csv> is larger"), lines);
}

PELLORY_TEST_MAIN(WalksTest, QCoreApplication)
#include "tst_walks.moc"
