// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "partialrestoredialog.h"

#include "addressforms.h"
#include "clipforgeprocess.h"
#include "dialogplacement.h"

#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

// The order in which the widgets are made is their keyboard focus order.
PartialRestoreDialog::PartialRestoreDialog(QString source, QString directory, QWidget *parent)
    : QDialog(parent)
    , acceptButton(new QPushButton(tr("Accept"), this))
    , cancelButton(new QPushButton(tr("Cancel"), this))
    , inLabel(new QLabel(tr("Timecode In: "), this))
    , inEdit(new QLineEdit(this))
    , outLabel(new QLabel(tr("Timecode Out: "), this))
    , outEdit(new QLineEdit(this))
    , typeLabel(new QLabel(tr("Timecode Type: "), this))
    , typeCombo(new QComboBox(this))
    , fileLabel(new QLabel(tr("File Name: "), this))
    , fileEdit(new QLineEdit(this))
    , sourceAddress(std::move(source))
    , targetDir(std::move(directory))
    , process(new QClipForgeProcess(this, nullptr))
{
    setWindowTitle(tr("Partial File Restore"));
    typeCombo->addItem(tr("Absolute"));
    typeCombo->addItem(tr("Timecode"));
    resize(265, 200);
    prepareForm(this, acceptButton, cancelButton);
}

PartialRestoreDialog::~PartialRestoreDialog()
{
    stopCopy();
    // A running thread must not be destroyed. One whose tool cannot even be killed stays behind
    // without an owner; nothing it reports is delivered any more.
    if (process->wait(1000))
        delete process;
}

bool PartialRestoreDialog::isCopying() const
{
    return process->isRunning();
}

void PartialRestoreDialog::stopCopy()
{
    process->requestInterruption();
}

void PartialRestoreDialog::onAccept()
{
    const QString refusal = sourceAddress.isEmpty() ? tr("no file was selected")
                            : targetDir.isEmpty()   ? tr("there is no target directory")
                            : isCopying()           ? tr("the copy before has not ended")
                                                    : QString();
    if (!refusal.isEmpty()) {
        report(tr("Partial restore refused: ") + refusal);
    } else {
        targetDir = withName(targetDir, {});
        process->startExport(sourceAddress, targetDir + fileEdit->text(), QStringLiteral("copy"),
                             inEdit->text().toInt(), outEdit->text().toInt());
    }
    close();
}

void PartialRestoreDialog::onCancel()
{
    close();
}

void PartialRestoreDialog::onExportProcessComplete()
{
    report(tr("Partial restore finished"));
}

void PartialRestoreDialog::onExportProcessFailed()
{
    report(tr("Partial restore failed"));
}

void PartialRestoreDialog::report(const QString &line)
{
    if (m_report)
        m_report(line);
}

void PartialRestoreDialog::resizeEvent(QResizeEvent *)
{
    placeForm(
        this,
        {{typeLabel, typeCombo}, {inLabel, inEdit}, {outLabel, outEdit}, {fileLabel, fileEdit}},
        acceptButton, cancelButton, {120, 120, 72, 80});
}
