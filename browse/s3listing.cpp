// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "s3listing.h"

#include "failures.h"
#include "hqutil.h"
#include "stoptoken.h"
#include "walkwatch.h"

#include <utility>

namespace {

constexpr std::size_t maxBatchEntries = 1000; // one or two milliseconds of the taker's work

const QByteArray linePrefix = QByteArrayLiteral("Adding: ");

// The whole text when it has no "/".
QStringView parentPath(const QString &path)
{
    const auto end = path.lastIndexOf(QLatin1Char('/'));
    return end < 0 ? QStringView(path) : QStringView(path).left(end);
}

struct Walk
{
    const BatchCallback &take;
    EntryBatch batch{};
    QStringList folderParts{}; // of the batch, shared by all that lies in it
    quint64 entries = 0;
    bool isWanted = true;
    QByteArray line = linePrefix;
    // For hqOSAwsParse, which terminates what it writes; too large to be cleared for each entry.
    char bucket[256] = {};
    char folder[4096] = {};
    char name[4096] = {};
    char region[64] = {};
    char key[1512] = {};
    char secret[1512] = {};
    char site[1512] = {};

    void handOver()
    {
        if (isWanted && !batch.entries.empty())
            isWanted = take({batch.folder, std::exchange(batch.entries, {})});
    }
};

int addEntry(void *user, const char *address, unsigned int attributes)
{
    Walk &walk = *static_cast<Walk *>(user);
    if (!walk.isWanted)
        return 1;
    for (char *text :
         {walk.bucket, walk.folder, walk.name, walk.region, walk.key, walk.secret, walk.site})
        *text = '\0';
    hqOSAwsParse(address, walk.bucket, walk.folder, walk.name, walk.region, walk.key, walk.secret,
                 walk.site);
    walk.line.resize(linePrefix.size());
    walk.line.append(walk.bucket).append('/').append(walk.folder).append('/').append(walk.name);
    const QLatin1Char slash('/');
    QString path = QString::fromUtf8(address);
    if (path.endsWith(slash))
        path.chop(1);
    const QStringView folder = parentPath(path);
    if (walk.folderParts.isEmpty() || folder != walk.batch.folder) {
        walk.handOver();
        walk.batch.folder = folder.toString();
        walk.folderParts = walk.batch.folder.split(slash);
    }
    if (walk.batch.entries.empty())
        walk.batch.entries.reserve(maxBatchEntries);
    const bool isFile = (attributes & HQ_ATTRIBUTE_FOLDER) == 0;
    std::unique_ptr<QStandardItem> item(makeEntryItem(path, isFile, walk.folderParts));
    walk.batch.entries.push_back(
        {QString::fromUtf8(walk.line), std::move(item), pathHash(path), isFile});
    ++walk.entries;
    if (walk.batch.entries.size() == maxBatchEntries)
        walk.handOver();
    return walk.isWanted ? 0 : 1;
}

} // namespace

WalkEnd walkEntries(const QString &address, const BatchCallback &take)
{
    Walk walk{take};
    const QByteArray encoded = address.toUtf8();
    WalkEnd end;
    const hq::ScopedWalkWatch watch([&walk] { walk.handOver(); });
    if (!hqOSRecurseDirectory(&walk, encoded.constData(), addEntry, HQ_WALK_ONE_LEVEL) &&
        !hq::isStopped())
        end.failure = QString::fromStdString(hq::failureReason(encoded.toStdString()));
    walk.handOver();
    end.entries = walk.entries;
    return end;
}
