// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// What a walk makes of servers that fail, and of servers that list in a way of their own.
#include "net/timelimits.h"
#include "streamcontent.h"
#include "testserver.h"

namespace {

constexpr int kKeys = 2500;

struct Found
{
    QByteArrayList names;
    int endAfter;
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
    QMap<QByteArray, int> names;
    for (const QString &key : keys) {
        if (!key.isEmpty() && key[0] != '/')
            names.insert(key.section('/', 0, 0).toUtf8() + (key.contains('/') ? "/" : ""), 0);
    }
    return names.keys();
}

// Keys that are made of some kind of pieces, of some more than one, and that may count on behind.
QStringList randomKeys(QRandomGenerator &random, bool isPlain)
{
    static const QString kinds[] = {"a,b,/,/,+,%2F,é,\uff21,\U0001f600, ,\n,<&>",
                                    "0,1,2,3,4,5,6,7,8,9,a,b,c,d,e,f", "clip,Reel, ,-,_,2024",
                                    "a,aa,aaa,z", "\x01,\x1f,\x7f,~,a,A,/"};
    const QStringList pieces = kinds[random.bounded(isPlain ? 4 : 5)].split(',');
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
    void faults();
    void changes();
    void randomLevels();

private:
    // Far: many pages are asked for at a time.
    void reset(bool isFar, int pageSize)
    {
        hq::timeLimits().page = std::chrono::hours(isFar ? 0 : 1);
        m_server.command("calm");
        m_server.command("set", {{"pageSize", pageSize}});
    }
    // The walk of a bucket that is made for it: "0" or the error, and the names reported.
    QByteArrayList walk(QJsonObject bucket, const QByteArray &below = "", int endAfter = -1)
    {
        bucket["bucket"] = QString::number(++m_buckets);
        m_server.command("bucket", bucket);
        m_server.requests();
        const QByteArray address =
            QString("s3://AK:SK@127.0.0.1:%1/%2").arg(m_server.port()).arg(m_buckets).toUtf8() +
            below;
        Found found{{}, endAfter};
        const bool isComplete =
            hqOSRecurseDirectory(&found, address.constData(), collect, HQ_WALK_ONE_LEVEL);
        m_sent = m_server.requests();
        for (QByteArray &entry : found.names)
            entry.remove(0, address.size() + 1);
        return QByteArrayList{QByteArray::number(isComplete ? 0 : hqOSGetLastError())} +
               found.names;
    }

    TestServer m_server{"fault_server.py"};
    int m_buckets = 0;
    QJsonArray m_sent; // in the last walk
};

// What is reported is always a beginning of the whole.
void WalksTest::faults()
{
    // The error and the commands.
    const QByteArray rows = R"(
0 [{'skip':1,'status':200,'code':'InternalError'}]
0 [{'skip':1,'noToken':true}]
12152 [{'contains':'continuation','sameToken':true,'times':0}]
0 [{'contains':'start-after','emptyPage':true,'times':0},{'contains':'empty','emptyPage':true,'times':0}]
12152 [{'skip':1,'broken':true,'times':0}]
12152 [{'skip':1,'raw':'HTTP/1.1 200 OK\r\n\r\n','endless':'        ','times':0}])";
    for (const QByteArray &row : rows.mid(1).split('\n')) {
        const int error = row.left(row.indexOf(' ')).toInt();
        for (const bool isFar : {false, true}) {
            reset(isFar, 50);
            m_server.command("set", {{"latency", 5}});
            QVERIFY(m_server.tell(row.mid(row.indexOf(' ')), QString("/%1?").arg(m_buckets + 1)));
            const QByteArrayList found = walk({{"count", kKeys}});
            QVERIFY2(found[0].toInt() == error && m_sent.size() <= kKeys / 50 * 1.3 + 16, row);
            QVERIFY2((error == 0 ? found.size() == kKeys + 1 : found.size() > 50), row);
            for (int i = 1; i < found.size(); ++i)
                QVERIFY2(found[i].mid(4).toInt() == i - 1, row + found[i]);
        }
    }
}

// What ranges cost has its limit also where what they hold is another by the time it is met. What
// they held before that showed is not limited, and is more where the machine is slow.
void WalksTest::changes()
{
    QStringList keys;
    while (keys.size() < 1500)
        keys += QString::number(10000 + keys.size());
    reset(true, 10);
    m_server.command("set", {{"latency", 5}});
    const QJsonArray fickle = QJsonArray::fromStringList(keys);
    double excess = 1000;
    for (int round = 0; round < 3; ++round) {
        const int found = walk({{"objects", objectsOf(keys)}, {"fickle", fickle}}).size();
        excess = std::min(excess, m_sent.size() - found / 10 * 1.3);
    }
    QVERIFY2(excess <= 16, QByteArray::number(excess));
}

// PELLORY_ROUNDS sets how many. Servers of all kinds, faults, callbacks that end the walk, and
// buckets that change, where every name that stays is found.
void WalksTest::randomLevels()
{
    const int rounds = qEnvironmentVariableIntValue("PELLORY_ROUNDS");
    QRandomGenerator random{quint32(rounds)};
    const QStringList all{"version-1", "no-token",         "no-next-marker", "no-start-after",
                          "repeats",   "no-encoding-type", "counts-keys"};
    const QByteArray chaos("[{'op':'chaos','seed':%,'effects':[[0.05,{'status':503}],"
                           "[0.03,{'reset':true}],[0.03,{'cut':-1}],[0.03,{'emptyPage':true}]]}]");
    int ranges = 0;
    for (int round = 0; round < std::max(rounds, 100); ++round) {
        enum Kind { Faults, Quirks, Change, Ends };
        const auto kind = static_cast<Kind>(round % 4);
        const QString prefix = random.bounded(2) == 0 ? "" : "p/";
        // Pages of one name are what servers of other kinds go wrong with.
        const int pageSize = kind == Quirks && round % 8 == 1 ? 1 : random.bounded(1, 40);
        const int end = kind == Ends ? random.bounded(1, 200) : -1;
        const QStringList stable = randomKeys(random, kind == Quirks);
        const QStringList fickle = kind == Change ? randomKeys(random, true) : QStringList();
        QStringList quirks;
        std::copy_if(all.begin(), all.end(), std::back_inserter(quirks), [&](const QString &) {
            return kind == Quirks && round % 16 != 5 && random.bounded(2) == 0;
        });
        const QString order = kind == Faults && random.bounded(2) == 0 ? "utf-16-be" : "utf-8";
        reset(random.bounded(4) > 0, pageSize);
        if (kind == Faults) {
            m_server.tell(QByteArray(chaos).replace('%', QByteArray::number(round)));
            m_server.command(
                "fault",
                {{"contains", "start-after"}, {"skip", random.bounded(4)}, {"status", 403}});
        }
        QJsonObject bucket{{"objects", objectsOf(stable, prefix)}, {"order", order}};
        bucket["fickle"] = QJsonArray::fromStringList(objectsOf(fickle, prefix).keys());
        bucket["quirks"] = QJsonArray::fromStringList(quirks);
        QByteArrayList found = walk(bucket, prefix.isEmpty() ? "" : "/p", end);
        const QByteArray shown =
            QByteArray::number(round) + quirks.join(' ').toUtf8() + ": " + found.join('|');
        QVERIFY2(found.takeFirst() == "0", shown);
        QByteArrayList level = levelOf(stable);
        if (order != "utf-8")
            std::sort(found.begin(), found.end()); // kept a page at a time
        const int pages = std::max(int(level.size()) - 1, 0) / pageSize + 1;
        const bool isPlain = kind == Ends || (kind == Quirks && quirks.isEmpty());
        QVERIFY2(!isPlain || m_sent.size() <= pages * 1.3 + 16, shown);
        ranges += std::count_if(m_sent.begin(), m_sent.end(), [](const QJsonValue &request) {
            return request["query"].toString().contains("start-after=p%2F");
        });
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
    QVERIFY(ranges > std::max(rounds, 100) / 2); // below "p/", where their names begin with it
}

PELLORY_TEST_MAIN(WalksTest, QCoreApplication)
#include "tst_walks.moc"
