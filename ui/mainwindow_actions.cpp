// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// The actions on the selected file or flow.
#include "actionpreview.h"
#include "addressforms.h"
#include "contextmenu.h"
#include "copyfile.h"
#include "copyprogressdialog.h"
#include "dialogplacement.h"
#include "displaytext.h"
#include "fileactions.h"
#include "folderactions.h"
#include "mainwindow.h"
#include "namefinder.h"
#include "partialrestoredialog.h"
#include "statusline.h"
#include "streamfile.h"
#include "targetbox.h"
#include "treeitems.h"
#include "treesortfilterproxymodel.h"
#include "ui_mainwindow.h"
#include "url.h"

#include <QAction>
#include <QFileSystemModel>
#include <QStandardItemModel>

void MainWindow::makeActions()
{
    m_targetLook = std::make_unique<TargetLook>(&m_work);
    m_preview = new ActionPreview(
        {ui->button_MakeStream, ui->button_EncryptStream, ui->button_LocalizeFile},
        [this] { return actionState(); }, m_targetLook.get(), this);
    for (const QComboBox *box : {ui->combo_URL, ui->combo_TargetDir})
        connect(box, &QComboBox::currentTextChanged, m_preview, &ActionPreview::refresh);
    auto *files = new FileActions(ui->fileView,
                                  {[this] { return actionState(FlowOf::Itself); },
                                   [this](bool encrypt) { writeSelected(encrypt, FlowOf::Itself); },
                                   [this] { on_button_LocalizeFile_clicked(); }});
    connect(m_preview, &ActionPreview::refreshed, files, &FileActions::update);
    auto *target = new TargetBox(ui->combo_TargetDir);
    connect(m_preview, &ActionPreview::refreshed, target, &TargetBox::show);
    new NameFinder(ui->fileView);
    QAction *keep = addMenuAction(ui->combo_URL, this, tr("Keep Site"), [this] { keepSite(); });
    const auto update = [this, keep] {
        const URL *source = sources.value(ui->combo_URL->currentIndex());
        keep->setEnabled(source && !source->isTams && source->getSite() != s3ServiceHost());
    };
    // Queued: while an item is removed, box and list are not in step.
    connect(ui->combo_URL, &QComboBox::currentTextChanged, keep, update, Qt::QueuedConnection);
    keep->setEnabled(false);
    m_preview->refresh();
    m_folderActions = new FolderActions(ui->treeView, &m_work,
                                        [this](const QModelIndex &row) { return folderJob(row); });
    connect(m_folderActions, &FolderActions::ended, m_preview, &ActionPreview::refresh);
}

// What was clicked counts and not what is browsed by now: an S3 address with its secret must not
// become a file name.
bool MainWindow::isFlowSelected() const
{
    if (m_selection.kind == Selection::Kind::None)
        return tamsBrowsing && !holdsCredentials(selectedPath);
    return m_selection.kind == Selection::Kind::Flow;
}

QString MainWindow::flowAddress(FlowOf repository) const
{
    // The box may show a source of another kind by now.
    const QString shown = ui->combo_URL->currentText();
    const bool isFromBox = repository == FlowOf::Box && shown.contains(QLatin1String("tamss://"));
    const QString start =
        isFromBox ? shown + tamsEndpoint : m_selection.repository + m_selection.endpoint;
    return start + QStringLiteral("flows/") + selectedName;
}

// Why the box and the selected flow do not go together; empty when they do.
QString MainWindow::flowRefusal() const
{
    const QString shown = ui->combo_URL->currentText();
    if (m_selection.kind != Selection::Kind::Flow || !shown.contains(QLatin1String("tamss://")))
        return {};
    if (shown != m_selection.repository)
        return tr("The selected flow is one of %1, and the box \"URL:\" shows another repository. "
                  "Choose %1 there, or use the context menu of the files.")
            .arg(addressToShow(m_selection.repository));
    if (tamsEndpoint != m_selection.endpoint)
        return tr("The repository's endpoint has changed since the flow was selected. Connect to "
                  "%1 and select the flow again, or use the context menu of the files.")
            .arg(addressToShow(m_selection.repository));
    return {};
}

ActionState MainWindow::actionState(FlowOf repository) const
{
    ActionState state;
    const bool isFlow = isFlowSelected();
    state.isSelected = m_selection.kind == Selection::Kind::Flow || !selectedName.isEmpty() ||
                       !selectedPath.isEmpty();
    state.stream.isFlow = isFlow;
    state.stream.name = isFlow ? selectedPath : selectedName;
    state.stream.address = isFlow ? flowAddress(repository) : usualAddress(selectedPath);
    state.copySource = isFlow ? QString() : selectedPath;
    state.target = ui->combo_TargetDir->currentText();
    state.refusal = repository == FlowOf::Box ? flowRefusal() : QString();
    return state;
}

void MainWindow::writeSelected(bool encrypt, FlowOf repository)
{
    const ActionState state = actionState(repository);
    if (state.isSelected && !state.target.isEmpty())
        writeStreamFile(streamFileOf(state), state.stream.address, encrypt);
    m_preview->refresh();
}

// Relied on: the three actions report neither success nor failure.
void MainWindow::on_button_MakeStream_clicked()
{
    writeSelected(false);
}

void MainWindow::on_button_EncryptStream_clicked()
{
    writeSelected(true);
}

void MainWindow::on_button_LocalizeFile_clicked()
{
    const ActionState state = actionState();
    if (!state.isSelected || state.target.isEmpty() || state.stream.isFlow)
        return;
    auto *dialog = new CopyProgressDialog(selectedName, this);
    connect(dialog, &QObject::destroyed, m_preview, &ActionPreview::refresh);
    const auto copy = [dialog, amount = dialog->amount(), source = state.copySource.toUtf8(),
                       target = copyOf(state).toUtf8()](const BackgroundWork::Link &link) {
        hq::copyFile(source.constData(), target.constData(), 1, [&](qint64 done, qint64 total) {
            amount->done = done;
            amount->total = total;
        });
        // Not delivered when the copy was stopped: the dialog may be gone then.
        link.post([dialog] { dialog->end(); });
    };
    dialog->stopOnCancel(m_work.start(copy, BackgroundWork::Pool::Own));
}

std::optional<FolderJob> MainWindow::folderJob(const QModelIndex &folder) const
{
    FolderJob job;
    job.directory = ui->combo_TargetDir->currentText();
    if (localBrowsing) {
        job.folder = driveModel->filePath(folder);
        return folder.model() == driveModel ? std::optional(job) : std::nullopt;
    }
    const QStandardItem *item = itemOf(folderProxy, folder);
    if (!item)
        return std::nullopt;
    job.kind = tamsBrowsing ? FolderJob::Kind::Flows : FolderJob::Kind::S3;
    job.folder = tamsBrowsing ? item->text() : nodeData(item).path;
    if (!tamsBrowsing && item->parent() && !job.folder.endsWith(QLatin1Char('/')))
        job.folder.append(QLatin1Char('/'));
    for (int row = 0; tamsBrowsing && row < item->rowCount(); ++row) {
        const TamsNodeData flow = tamsNodeData(item->child(row));
        job.flows.append(
            {flow.label, item->text() + tamsEndpoint + QStringLiteral("flows/") + flow.id, true});
    }
    return job;
}

void MainWindow::on_button_PartialFile_clicked()
{
    const auto previous =
        findChildren<PartialRestoreDialog *>(QString(), Qt::FindDirectChildrenOnly);
    for (PartialRestoreDialog *dialog : previous) {
        // Later, so that it still reports an end that is on its way.
        if (!dialog->isCopying()) {
            dialog->hide();
            dialog->deleteLater();
        }
    }
    partialRestoreDialog =
        new PartialRestoreDialog(selectedPath, ui->combo_TargetDir->currentText(), this);
    partialRestoreDialog->setReport([this](const QString &line) { m_statusLine->show(line); });
    showInFront(partialRestoreDialog);
}

void MainWindow::deletePartialRestores()
{
    const auto dialogs =
        findChildren<PartialRestoreDialog *>(QString(), Qt::FindDirectChildrenOnly);
    // All are told before the first is waited for.
    for (PartialRestoreDialog *dialog : dialogs)
        dialog->stopCopy();
    qDeleteAll(dialogs);
}
