// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// The actions on the selected file or flow.
#include "addressforms.h"
#include "copyprogressdialog.h"
#include "filename.h"
#include "mainwindow.h"
#include "partialrestoredialog.h"
#include "statusline.h"
#include "streamfile.h"
#include "ui_mainwindow.h"

#include <QThreadPool>

namespace {

// Lets the pool start another thread in place of the calling one. A copy takes hours and mostly
// waits; listings must not wait for it.
class ReleasedPoolThread
{
public:
    ReleasedPoolThread() { QThreadPool::globalInstance()->releaseThread(); }
    ~ReleasedPoolThread() { QThreadPool::globalInstance()->reserveThread(); }
    ReleasedPoolThread(const ReleasedPoolThread &) = delete;
    ReleasedPoolThread &operator=(const ReleasedPoolThread &) = delete;
};

} // namespace

bool MainWindow::canAct() const
{
    const bool selected =
        m_selection == Selection::Flow || !selectedName.isEmpty() || !selectedPath.isEmpty();
    return selected && !ui->combo_TargetDir->currentText().isEmpty();
}

// What was clicked counts and not what is browsed by now: an S3 address with its secret must not
// become a file name.
bool MainWindow::isFlowSelected() const
{
    if (m_selection == Selection::None)
        return tamsBrowsing && !holdsCredentials(selectedPath);
    return m_selection == Selection::Flow;
}

QString MainWindow::flowAddress() const
{
    // The box may show a source of another kind by now.
    const QString shown = ui->combo_URL->currentText();
    const bool isRepository = shown.contains(QLatin1String("tamss://"));
    const QString start = isRepository ? shown + tamsEndpoint : m_flowAddressStart;
    return start + QStringLiteral("flows/") + selectedName;
}

void MainWindow::writeSelected(bool encrypt)
{
    if (!canAct())
        return;
    const bool isFlow = isFlowSelected();
    const QString name = isFlow ? selectedPath : selectedName.section(QLatin1Char('.'), 0, 0);
    const QString directory = ui->combo_TargetDir->currentText();
    writeStreamFile(streamFilePath(directory, fileNameOnDisk(name)),
                    isFlow ? flowAddress() : usualAddress(selectedPath), encrypt);
}

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
    if (!canAct() || isFlowSelected())
        return;
    QString destination = ui->combo_TargetDir->currentText();
    if (!destination.endsWith(QLatin1Char('\\')))
        destination.append(QLatin1Char('\\'));
    destination.append(fileNameOnDisk(selectedName));

    auto *dialog = new CopyProgressDialog(selectedName, this);
    const auto copy = [dialog, amount = dialog->amount(), source = selectedPath.toUtf8(),
                       target = destination.toUtf8()](const BackgroundWork::Link &link) {
        const ReleasedPoolThread released;
        hq::copyFile(source.constData(), target.constData(), 1, [&](qint64 done, qint64 total) {
            amount->done = done;
            amount->total = total;
        });
        // Not delivered when the copy was stopped: the dialog may be gone then.
        link.post([dialog] { dialog->end(); });
    };
    dialog->stopOnCancel(m_work.start(copy));
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
    partialRestoreDialog->show();
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
