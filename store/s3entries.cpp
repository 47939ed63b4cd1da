// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "s3entries.h"

#include "configdirectory.h"
#include "entryfile.h"
#include "hqutil.h"
#include "url.h"

QVector<hq::S3Entry> readS3Entries(const QString &directory)
{
    QVector<hq::S3Entry> entries;
    for (const QString &name : entryNames(directory, QStringLiteral("*.csv"))) {
        const auto text = hq::readEntryFile((directory + name).toUtf8());
        hq::S3Entry entry = hq::parseS3Entry(text.value_or(QByteArray()));
        if (!entry.isSource)
            continue;
        entry.bucket = name.chopped(4);
        entry.path = directory + name;
        entries.append(entry);
    }
    return entries;
}

int writeS3Entry(const QString &directory, const hq::S3Entry &entry)
{
    const QString path = hq::s3EntryPath(directory, entry.bucket);
    return path.toUtf8().size() < HQ_CONFIG_DIR_SIZE ? writeEntryFile(path, hq::s3EntryText(entry))
                                                     : -1;
}

bool keepS3Site(const QString &path, const QString &key, const QString &site)
{
    QByteArray text = hq::readEntryFile(path.toUtf8()).value_or(QByteArray());
    const hq::S3Entry before = hq::parseS3Entry(text);
    if (!before.isSource || before.key != key)
        return false;
    if (before.site == site)
        return true;
    if (!text.endsWith('\n'))
        text += "\r\n";
    text += "AWSSite=" + site.toUtf8() + "\r\n";
    // A site with "=" in it, for instance, would be cut, one with "Region" taken for a region.
    const hq::S3Entry after = hq::parseS3Entry(text);
    if (after.site != site || after.key != key || after.secret != before.secret ||
        after.region != before.region || text.contains('\0'))
        return false;
    return writeEntryFile(path, text) > 0;
}

int URL::writeCsv()
{
    return writeS3Entry(configDirectory(), {key, secret, region, bucket, site});
}
