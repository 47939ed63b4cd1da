// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>
#include <QThread>

// Runs the external copy tool from a thread of its own. The object lives in the GUI thread and
// must not be destroyed while it is running.
class QClipForgeProcess : public QThread
{
    Q_OBJECT
public:
    // The receiver has slots onExportProcessComplete() and onExportProcessFailed().
    QClipForgeProcess(QObject *receiver, QObject *parent);

    // Starts a copy of the part between the two points. Refused, with the values left alone, while
    // a copy is running.
    void startExport(QString source, QString target, QString mode, int in, int out);

signals:
    // The tool has ended, whatever it did.
    void exportProcessComplete();
    void exportProcessFailed();

protected:
    // A tool that is missing or does not start ends it without a signal, and so does
    // requestInterruption(), which ends the tool as well.
    void run() override;

private:
    QString copySource;
    QString copyTarget;
    QString copyMode;
    qint32 absIn = 0;
    qint32 absOut = 0;
};
