// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "clipforgeprocess.h"

#include "hqutil.h"
#include "toolprocess.h"

#include <QCoreApplication>
#include <QFile>
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
    // Relied on by the tool: names and order.
    const QStringList arguments{QStringLiteral("-s"),      copySource,
                                QStringLiteral("-t"),      copyTarget,
                                QStringLiteral("-p"),      copyMode,
                                QStringLiteral("-absin"),  QString::number(absIn),
                                QStringLiteral("-absout"), QString::number(absOut),
                                QStringLiteral("-fg")};
    const QString program =
        QStringLiteral("%1/clipforge.exe").arg(QCoreApplication::applicationDirPath());
    const auto logFailure = [&program](const char *why) {
        ErrOut("ERROR: Unable to start <%s>: %s", program.toUtf8().constData(), why);
    };
    if (!QFile::exists(program)) {
        logFailure("it is missing");
        return;
    }
    std::unique_ptr<hq::ToolProcess> tool(new (std::nothrow) hq::ToolProcess);
    if (!tool) {
        emit exportProcessFailed();
        return;
    }
    // Nobody reads what the tool prints; it must not wait for a reader or pile up here.
    tool->setStandardOutputFile(QProcess::nullDevice());
    tool->setStandardErrorFile(QProcess::nullDevice());
    tool->start(program, arguments, QIODevice::ReadWrite);
    if (!tool->waitForStarted(startLimit)) {
        logFailure(tool->errorString().toUtf8().constData());
        return;
    }
    tool->closeWriteChannel(); // or a tool that reads its input would wait for ever
    while (!tool->waitForFinished(pollWait)) {
        if (isInterruptionRequested()) {
            tool->endAll(endLimit);
            return;
        }
        msleep(pollSleep);
    }
    tool.reset();
    emit exportProcessComplete();
}
