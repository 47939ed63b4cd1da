// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "s3entries.h"

#include "addressforms.h"
#include "configdirectory.h"
#include "entryfile.h"
#include "hqutil.h"
#include "url.h"

#include <QTextStream>
#include <cstdio>

namespace {

// The text between the first "=" and the second; empty in a line without one.
QString valueOf(const QString &line)
{
    return line.section(QLatin1Char('='), 1, 1);
}

std::optional<S3Entry> parseText(const QByteArray &text)
{
    QString decoded = QString::fromUtf8(text.constData(), text.size());
    QTextStream lines(&decoded);
    return parseS3Entry(lines);
}

} // namespace

std::optional<S3Entry> parseS3Entry(QTextStream &lines)
{
    S3Entry entry;
    entry.site = s3ServiceHost();
    int count = 0;
    QString line;
    while (lines.readLineInto(&line)) {
        if (line.startsWith(QLatin1Char('#')) || line.startsWith(QLatin1Char('%')))
            continue;
        if (line.contains(QLatin1String("AccessKeyId"))) {
            entry.key = valueOf(line);
            ++count;
        } else if (line.contains(QLatin1String("SecretKey"))) {
            entry.secret = valueOf(line);
            ++count;
        } else if (line.contains(QLatin1String("Region"))) {
            entry.region = valueOf(line);
        } else if (line.contains(QLatin1String("Site"))) {
            entry.site = valueOf(line);
            ++count;
        }
    }
    return count >= 2 ? std::optional(entry) : std::nullopt;
}

QVector<S3Entry> readS3Entries(const QString &directory)
{
    QVector<S3Entry> entries;
    for (const QString &name : entryNames(directory, QStringLiteral("*.csv"))) {
        const auto text = hq::readEntryFile((directory + name).toUtf8());
        if (!text)
            continue;
        if (std::optional<S3Entry> entry = parseText(*text)) {
            entry->bucket = name.chopped(4);
            entry->path = directory + name;
            entries.append(*entry);
        }
    }
    return entries;
}

QString s3EntryPath(const QString &directory, const QString &bucket)
{
    return directory.isEmpty() ? QString() : directory + bucket + QStringLiteral(".csv");
}

int writeS3Entry(const QByteArray &directory, const S3Entry &entry)
{
    char path[HQ_CONFIG_DIR_SIZE];
    const int length = std::snprintf(path, sizeof path, "%s%s.csv", directory.constData(),
                                     entry.bucket.toUtf8().constData());
    if (length < 0 || length >= static_cast<int>(sizeof path))
        return -1;
    const HQHANDLE file =
        hqOSCreateFile(path, HQ_ACCESS_WRITE, HQ_SHARE_READ, nullptr, HQ_CREATE_ALWAYS, 0, nullptr);
    if (file == HQ_INVALID_HANDLE)
        return -1;
    hqOSfprintf(file, "AWSAccessKeyId=%s\r\n", entry.key.toUtf8().constData());
    hqOSfprintf(file, "AWSSecretKey=%s\r\n", entry.secret.toUtf8().constData());
    hqOSfprintf(file, "AWSRegion=%s\r\n", entry.region.toUtf8().constData());
    return hqOSCloseFile(file);
}

bool keepS3Site(const QString &path, const QString &key, const QString &site)
{
    const QByteArray name = path.toUtf8();
    const auto text = hq::readEntryFile(name);
    const auto before = text ? parseText(*text) : std::nullopt;
    if (!before || before->key != key)
        return false;
    if (before->site == site)
        return true;
    QByteArray longer = *text;
    if (!longer.endsWith('\n'))
        longer += "\r\n";
    longer += "AWSSite=" + site.toUtf8() + "\r\n";
    // A site with "=" in it, for instance, would be cut, one with "Region" taken for a region.
    const auto after = parseText(longer);
    if (!after || after->site != site || after->key != key || after->secret != before->secret ||
        after->region != before->region || longer.contains('\0'))
        return false;
    const HQHANDLE file = hqOSCreateFile(name.constData(), HQ_ACCESS_WRITE, HQ_SHARE_READ, nullptr,
                                         HQ_CREATE_ALWAYS, 0, nullptr);
    if (file == HQ_INVALID_HANDLE)
        return false;
    const bool isWritten = hqOSfprintf(file, "%s", longer.constData()) == longer.size();
    return hqOSCloseFile(file) != 0 && isWritten;
}

int URL::writeCsv()
{
    const QByteArray directory = configDirectory().toUtf8();
    if (directory.isEmpty())
        return -1;
    return writeS3Entry(directory, {key, secret, region, bucket, site});
}
