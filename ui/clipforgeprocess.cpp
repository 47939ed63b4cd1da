// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "clipforgeprocess.h"

#include "process.h"

#include <QCoreApplication>
#include <QFile>
#include <QProcess>
#include <memory>
#include <new>
#include <utility>

namespace {

constexpr int startLimit = 30000; // ms
constexpr int pollWait = 20;
constexpr int pollSleep = 100;
constexpr int endLimit = 300; // of a tool that was asked to end

} // namespace

QClipForgeProcess::QClipForgeProcess(QObject *receiver, QObject *parent) : QThread(parent)
{
    connect(this, SIGNAL(exportProcessComplete()), receiver, SLOT(onExportProcessComplete()));
    connect(this, SIGNAL(exportProcessFailed()), receiver, SLOT(onExportProcessFailed()));
}

void QClipForgeProcess::startExport(QString source, QString target, QString mode, int in, int out)
{
    if (isRunning())
        return;
    copySource = std::move(source);
    copyTarget = std::move(target);
    copyMode = std::move(mode);
    absIn = in;
    absOut = out;
    start();
}

void QClipForgeProcess::run()
{
    const QStringList arguments{QStringLiteral("-s"),      copySource,
                                QStringLiteral("-t"),      copyTarget,
                                QStringLiteral("-p"),      copyMode,
                                QStringLiteral("-absin"),  QString::number(absIn),
                                QStringLiteral("-absout"), QString::number(absOut),
                                QStringLiteral("-fg")};
    const QString program =
        QStringLiteral("%1/clipforge.exe").arg(QCoreApplication::applicationDirPath());
    if (!QFile::exists(program))
        return;
    std::unique_ptr<QProcess> tool(new (std::nothrow) QProcess);
    if (!tool) {
        emit exportProcessFailed();
        return;
    }
    // Nobody reads what the tool prints; it must not wait for a reader or pile up here.
    tool->setStandardOutputFile(QProcess::nullDevice());
    tool->setStandardErrorFile(QProcess::nullDevice());
    tool->start(program, arguments, QIODevice::ReadWrite);
    if (!tool->waitForStarted(startLimit))
        return;
    while (!tool->waitForFinished(pollWait)) {
        if (isInterruptionRequested()) {
            tool->terminate();
            if (!tool->waitForFinished(endLimit))
                tool->kill();
            return;
        }
        hq::sleepMilliseconds(pollSleep);
    }
    tool.reset();
    emit exportProcessComplete();
}
