// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "s3listing.h"

#include "failures.h"
#include "hqutil.h"
#include "stoptoken.h"

namespace {

const QByteArray linePrefix = QByteArrayLiteral("Adding: ");

struct Walk
{
    const std::function<bool(EntryArrival)> &take;
    quint64 entries;
    QByteArray line;
    // For hqOSAwsParse, which terminates what it writes; too large to be cleared for each entry.
    char bucket[256];
    char folder[4096];
    char name[4096];
    char region[64];
    char key[1512];
    char secret[1512];
    char site[1512];
};

int addEntry(void *user, const char *address, unsigned int attributes)
{
    Walk &walk = *static_cast<Walk *>(user);
    for (char *text :
         {walk.bucket, walk.folder, walk.name, walk.region, walk.key, walk.secret, walk.site})
        *text = '\0';
    hqOSAwsParse(address, walk.bucket, walk.folder, walk.name, walk.region, walk.key, walk.secret,
                 walk.site);
    EntryArrival entry;
    walk.line.resize(linePrefix.size());
    walk.line.append(walk.bucket).append('/').append(walk.folder).append('/').append(walk.name);
    entry.line = QString::fromUtf8(walk.line);
    entry.path = QString::fromUtf8(address);
    if (entry.path.endsWith(QLatin1Char('/')))
        entry.path.chop(1);
    entry.isFile = (attributes & HQ_ATTRIBUTE_FOLDER) == 0;
    ++walk.entries;
    return walk.take(std::move(entry)) ? 0 : 1;
}

} // namespace

WalkEnd walkEntries(const QString &address, const std::function<bool(EntryArrival)> &take)
{
    Walk walk{take, 0, linePrefix, {}, {}, {}, {}, {}, {}, {}};
    const QByteArray encoded = address.toUtf8();
    WalkEnd end;
    if (!hqOSRecurseDirectory(&walk, encoded.constData(), addEntry, HQ_WALK_ONE_LEVEL) &&
        !hq::isStopped())
        end.failure = QString::fromStdString(hq::failureReason(encoded.toStdString()));
    end.entries = walk.entries;
    return end;
}
