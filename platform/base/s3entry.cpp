// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "s3entry.h"

#include "s3service.h"

#include <QTextStream>

namespace hq {

namespace {

// In the order in which a line is looked through; the first one found anywhere in it names it.
struct Field
{
    const char *name;
    QString S3Entry::*value;
    bool counts;
};
constexpr Field kFields[] = {{"AccessKeyId", &S3Entry::key, true},
                             {"SecretKey", &S3Entry::secret, true},
                             {"Region", &S3Entry::region, false},
                             {"Site", &S3Entry::site, true}};

} // namespace

QString s3EntryPath(const QString &directory, const QString &bucket)
{
    return directory.isEmpty() ? QString() : directory + bucket + QStringLiteral(".csv");
}

S3Entry parseS3Entry(const QByteArray &text)
{
    S3Entry entry;
    entry.site = QLatin1String(kS3ServiceHost);
    QString decoded = QString::fromUtf8(text.constData(), text.size());
    QTextStream lines(&decoded);
    int count = 0;
    QString line;
    while (lines.readLineInto(&line)) {
        if (line.startsWith(QLatin1Char('#')) || line.startsWith(QLatin1Char('%')))
            continue;
        for (const Field &field : kFields) {
            if (!line.contains(QLatin1String(field.name)))
                continue;
            // The text between the first "=" and the second; empty in a line without one.
            entry.*field.value = line.section(QLatin1Char('='), 1, 1);
            count += field.counts ? 1 : 0;
            break;
        }
    }
    entry.isSource = count >= 2;
    return entry;
}

QByteArray s3EntryText(const S3Entry &entry)
{
    return QString::asprintf("AWSAccessKeyId=%s\r\nAWSSecretKey=%s\r\nAWSRegion=%s\r\n",
                             entry.key.toUtf8().constData(), entry.secret.toUtf8().constData(),
                             entry.region.toUtf8().constData())
        .toUtf8();
}

} // namespace hq
