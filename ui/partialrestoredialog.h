// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QDialog>
#include <functional>

class QClipForgeProcess;
class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;

// Asks for two points and a file name, and has the part of the source between them copied into the
// target directory. Closing hides it; destroying it ends a running copy.
class PartialRestoreDialog : public QDialog
{
    Q_OBJECT
public:
    PartialRestoreDialog(QString sourceAddress, QString targetDir, QWidget *parent);
    // Waits for a running copy to end, for a second at most.
    ~PartialRestoreDialog() override;

    // `report` receives a line for the status box when a copy has ended or is refused.
    void setReport(std::function<void(const QString &)> report) { m_report = std::move(report); }
    bool isCopying() const;
    // Asks a running copy to end, without waiting.
    void stopCopy();

public slots:
    void onAccept();
    void onCancel();
    void onExportProcessComplete();
    void onExportProcessFailed();

protected:
    void resizeEvent(QResizeEvent *event) override;

private:
    void report(const QString &line);

    QPushButton *acceptButton;
    QPushButton *cancelButton;
    QLabel *inLabel;
    QLineEdit *inEdit;
    QLabel *outLabel;
    QLineEdit *outEdit;
    QLabel *typeLabel;
    QComboBox *typeCombo;
    QLabel *fileLabel;
    QLineEdit *fileEdit;
    QString sourceAddress;
    QString targetDir;
    QClipForgeProcess *process;
    std::function<void(const QString &)> m_report;
};
