// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "folderstreams.h"

#include "hqutil.h"
#include "streamfile.h"
#include "transfer.h"

#include <QDirIterator>
#include <optional>

namespace {

using Sources = QVector<StreamSource>;

int addFile(void *user, const char *address, unsigned int attributes)
{
    if ((attributes & HQ_ATTRIBUTE_FOLDER) == 0) {
        const QString path = QString::fromUtf8(address);
        const QString name = path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
        static_cast<Sources *>(user)->append({name, path, false});
    }
    return 0;
}

std::optional<Sources> objectsOf(const QString &folder)
{
    Sources objects;
    if (hqOSRecurseDirectory(&objects, folder.toUtf8().constData(), addFile, HQ_WALK_ONE_LEVEL) ==
        0)
        return std::nullopt;
    return objects;
}

// What the right view shows of a folder, with the paths that it gives.
std::optional<Sources> filesOf(const QString &folder)
{
    if (!QFileInfo(folder).isReadable() || !QFileInfo(folder).isDir())
        return std::nullopt;
    Sources files;
    QDirIterator entries(folder, QDir::Files);
    while (entries.hasNext() && !hq::isStopped()) {
        const QString path = entries.next();
        files.append({entries.fileName(), path, false});
    }
    return files;
}

std::optional<Sources> sourcesOf(const FolderJob &job)
{
    switch (job.kind) {
    case FolderJob::Kind::Local:
        return filesOf(job.folder);
    case FolderJob::Kind::S3:
        return objectsOf(job.folder);
    case FolderJob::Kind::Flows:
        break;
    }
    return job.flows;
}

} // namespace

FolderReport makeFolderStreams(const FolderJob &job, FolderProgress *progress)
{
    FolderReport report;
    // Before a long listing.
    const QByteArray directory = job.directory.toUtf8();
    if (hqOSIsNetworkSource(directory.constData()) != 0 ||
        hqOSFileIsDir(directory.constData()) == 0) {
        report.end = FolderReport::End::NoTarget;
        return report;
    }
    const auto sources = sourcesOf(job);
    if (!sources || hq::isStopped()) {
        report.end = hq::isStopped() ? FolderReport::End::Stopped : FolderReport::End::NotListed;
        return report;
    }
    const QStringList names = distinctStreamNames(*sources);
    report.total = sources->size();
    progress->total = report.total;
    for (int i = 0; i < sources->size(); ++i) {
        if (hq::isStopped()) {
            report.end = FolderReport::End::Stopped;
            break;
        }
        const StreamSource &source = sources->at(i);
        const QString path = streamFilePath(job.directory, names[i]);
        const bool isThere = hqOSFileExists(path.toUtf8().constData()) != 0;
        if (writeStreamFile(path, source.address, job.encrypt)) {
            ++report.written;
            report.replaced += isThere ? 1 : 0;
            report.renamed += names[i] != streamBaseName(source) ? 1 : 0;
        } else {
            ++report.refused;
        }
        progress->done = i + 1;
    }
    return report;
}
