// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "folderstreams.h"

#include "addressforms.h"
#include "hqutil.h"
#include "stoptoken.h"
#include "streamfile.h"

#include <QDirIterator>
#include <algorithm>
#include <functional>
#include <optional>
#include <system_error>
#include <thread>
#include <vector>

namespace {

using Sources = QVector<StreamSource>;

constexpr int otherWriters = 7;
constexpr int filesPerWriter = 100;

int addFile(void *user, const char *address, unsigned int attributes)
{
    if ((attributes & HQ_ATTRIBUTE_FOLDER) == 0) {
        const QString path = QString::fromUtf8(address);
        const QString name = path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
        static_cast<Sources *>(user)->append({name, usualAddress(path), false});
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

// The files of a folder that the right view shows, with the same paths.
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
    if (job.kind == FolderJob::Kind::Flows)
        return job.flows;
    return job.kind == FolderJob::Kind::S3 ? objectsOf(job.folder) : filesOf(job.folder);
}

// By several threads, since most of the time is spent waiting for the file system, above all where
// files are replaced.
void write(const FolderJob &job, const Sources &sources, FolderProgress *progress,
           FolderReport *report)
{
    const QStringList names = distinctStreamNames(sources);
    std::atomic<int> next{0}, written{0}, replaced{0}, renamed{0}, refused{0};
    const auto writeSome = [&](const std::function<bool()> &goOn) {
        for (int i = next++; i < sources.size() && goOn(); i = next++) {
            const QString path = streamFilePath(job.directory, names[i]);
            const bool isThere = hqOSFileExists(path.toUtf8().constData()) != 0;
            if (writeStreamFile(path, sources[i].address, job.encrypt)) {
                ++written;
                replaced += isThere ? 1 : 0;
                renamed += names[i] != streamBaseName(sources[i]) ? 1 : 0;
            } else {
                ++refused;
            }
            ++progress->done;
        }
    };
    std::atomic<bool> isStopped{false}; // the stop token is this thread's alone
    std::vector<std::thread> others;
    try {
        while (int(others.size()) < std::min(otherWriters, int(sources.size()) / filesPerWriter))
            others.emplace_back([&] { writeSome([&] { return !isStopped; }); });
    } catch (const std::system_error &) {
        // No more threads can be had; those that are there do the work.
    }
    writeSome([] { return !hq::isStopped(); });
    isStopped = hq::isStopped();
    for (std::thread &other : others)
        other.join();
    report->written = written;
    report->replaced = replaced;
    report->renamed = renamed;
    report->refused = refused;
}

} // namespace

FolderReport makeFolderStreams(const FolderJob &job, FolderProgress *progress)
{
    FolderReport report;
    // Asked first, since the listing can take long.
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
    report.total = sources->size();
    progress->total = report.total;
    write(job, *sources, progress, &report);
    if (report.written + report.refused < report.total)
        report.end = FolderReport::End::Stopped;
    return report;
}
