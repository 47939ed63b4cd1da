// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "commandline.h"
#include "displayneed.h"
#include "errorlog.h"
#include "highdpi.h"
#include "hqutil.h"
#include "mainwindow.h"
#include "process.h"
#include "signals.h"
#include "stoptoken.h"

#include <QApplication>
#include <QTextStream>
#include <QThreadPool>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <optional>

namespace {

QtMessageHandler g_messageHandler = nullptr;

// Two messages would fill the error log, once for every start. Outside of a login session Qt says
// that it looks for another runtime directory, which is of no use here. And one slot's name differs
// from its button's in case: the form connects it by itself.
void passOnOtherMessages(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    for (const char *part : {"XDG_RUNTIME_DIR", "runtime directory", "on_button_tams_clicked"}) {
        if (message.contains(QLatin1String(part)))
            return;
    }
    g_messageHandler(type, context, message);
}

QStringList givenArguments(int argc, char **argv)
{
    QStringList arguments;
    for (int i = 1; i < argc; ++i)
        arguments.append(QString::fromUtf8(argv[i]));
    return arguments;
}

} // namespace

int main(int argc, char **argv)
{
    ErrLogSetFileName("Pellory");
    sendQtMessagesToErrorLog();
    g_messageHandler = qInstallMessageHandler(passOnOtherMessages);
    const QByteArrayList given(argv + std::min(argc, 1), argv + argc);
    if (QSysInfo::kernelType() == QLatin1String("linux") && runsWithoutDisplay(given))
        chooseOffscreenPlatform();

    scaleWithScreen();
    std::optional<FailedStartReport> report(std::in_place);
    QApplication application(argc, argv);
    const hq::StopToken stop;
    const hq::EndSignals endSignals([stop] {
        stop.stop();
        QMetaObject::invokeMethod(QCoreApplication::instance(), "quit", Qt::QueuedConnection);
    });
    int status = 0;
    {
        // Relied on: the window is made for a command line as well, and before the attributes.
        MainWindow window(nullptr);
        hq::makeProcessDpiAware();
        setHighDpiAttributes();
        if (argc <= 1) {
            window.show();
            report.reset();
            status = QApplication::exec();
        } else {
            const hq::ScopedStopToken scope(stop);
            QTextStream out(stdout);
            status = runCommandLine(givenArguments(argc, argv), out);
        }
    }
    // Work that hangs in the operating system, on a network folder that is gone for instance, must
    // not keep the process; the application's end would wait for it.
    if (!QThreadPool::globalInstance()->waitForDone(500))
        std::_Exit(status);
    return status;
}
