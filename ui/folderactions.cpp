// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "folderactions.h"

#include "contextmenu.h"
#include "dialogplacement.h"
#include "displaytext.h"
#include "warningbox.h"

#include <QAction>
#include <QLocale>
#include <QProgressDialog>
#include <QTimer>
#include <QTreeView>

namespace {
constexpr int refreshMilliseconds = 100;
} // namespace

FolderActions::FolderActions(QTreeView *folders, BackgroundWork *work, FolderJobCallback folderJob)
    : QObject(folders), m_folders(folders), m_work(work), m_folderJob(std::move(folderJob))
{
    m_actions = {addMenuAction(folders, this, tr("Make Stream Files of This Folder"),
                               [this] { start(false); }),
                 addMenuAction(folders, this, tr("Encrypt Stream Files of This Folder"),
                               [this] { start(true); })};
}

FolderActions::~FolderActions()
{
    m_cancel.stop();
}

void FolderActions::start(bool encrypt)
{
    auto found = m_folderJob(m_folders->currentIndex());
    if (!found || found->directory.isEmpty()) {
        const QString text =
            found ? tr("There is no target folder.") : tr("Select a folder first.");
        openWarning(m_folders->window(), tr("Stream Files"), text);
        return;
    }
    FolderJob job = std::move(*found);
    job.encrypt = encrypt;
    for (QAction *action : qAsConst(m_actions))
        action->setEnabled(false);
    const auto progress = std::make_shared<FolderProgress>();
    m_cancel = hq::StopToken();
    showProgress(addressToShow(job.folder), progress);
    const auto run = [this, job, progress, cancel = m_cancel](const BackgroundWork::Link &link) {
        const hq::ScopedStopToken scope(cancel);
        const FolderReport report = makeFolderStreams(job, progress.get());
        link.post([this, job, report] { end(job, report); });
    };
    m_work->start(run, BackgroundWork::Pool::Own);
}

void FolderActions::showProgress(const QString &folder,
                                 const std::shared_ptr<FolderProgress> &progress)
{
    auto *dialog = new QProgressDialog(m_folders->window());
    m_progress = dialog;
    dialog->setRange(0, 0);
    const QString name = prepareProgress(dialog, tr("Stream Files"), folder);
    dialog->setLabelText(name);
    connect(dialog, &QProgressDialog::canceled, this, [cancel = m_cancel] { cancel.stop(); });
    auto *timer = new QTimer(dialog);
    connect(timer, &QTimer::timeout, dialog, [dialog, name, progress] {
        const int total = progress->total, done = progress->done;
        const QLocale locale;
        dialog->setLabelText(
            name + QLatin1Char('\n') +
            (total < 0 ? tr("Listing")
                       : tr("%1 of %2 files").arg(locale.toString(done), locale.toString(total))));
        if (!dialog->isVisible() || total <= 0) // a value could bring it up before its time
            return;
        dialog->setMaximum(total);
        dialog->setValue(done);
    });
    timer->start(refreshMilliseconds);
}

void FolderActions::end(const FolderJob &job, const FolderReport &report)
{
    m_progress->deleteLater();
    for (QAction *action : qAsConst(m_actions))
        action->setEnabled(true);

    const QLocale locale;
    QString text =
        tr("Folder: %1\nTarget: %2\n\n").arg(addressToShow(job.folder), pathToShow(job.directory));
    using End = FolderReport::End;
    if (report.end == End::Stopped && report.total == 0)
        text += tr("Nothing was written: stopped while the folder was listed.");
    else if (report.end == End::NoTarget)
        text += tr("Nothing was written: the target is not a folder that is there.");
    else if (report.end == End::NotListed)
        text += tr("Nothing was written: the folder could not be listed completely.") +
                (job.kind == FolderJob::Kind::S3 ? tr("\nThe error log says why.") : QString());
    else
        text += tr("Stream files written: %1\nof these replaced: %2\nof these renamed, because "
                   "names would be the same: %3\nRefused: %4")
                    .arg(locale.toString(report.written), locale.toString(report.replaced),
                         locale.toString(report.renamed), locale.toString(report.refused));
    if (report.end == End::Stopped && report.total > 0)
        text += tr("\n\nStopped: %1 of %2 files were left out.")
                    .arg(locale.toString(report.total - report.written - report.refused),
                         locale.toString(report.total));
    const bool isGood = report.end == End::Complete && report.refused == 0;
    (isGood ? openInformation : openWarning)(m_folders->window(), tr("Stream Files"), text);
    emit ended();
}
