// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "commandline.h"
#include "displayneed.h"
#include "hqutil.h"
#include "mainwindow.h"
#include "process.h"
#include "qtmessages.h"

#include <QApplication>
#include <QTextStream>
#include <QThreadPool>

#include <cstdio>
#include <cstdlib>

namespace {

// Qt finds these late once an application exists, and says so at every start; that one message
// stays out of the error log.
void setHighDpiAttributes()
{
    const QtMessageHandler handler =
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    QCoreApplication::setAttribute(Qt::AA_UseHighDpiPixmaps, true);
    QCoreApplication::setAttribute(Qt::AA_EnableHighDpiScaling, true);
    qInstallMessageHandler(handler);
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
    QByteArrayList given;
    for (int i = 1; i < argc; ++i)
        given.append(argv[i]);
    if (QSysInfo::kernelType() == QLatin1String("linux") && runsWithoutDisplay(given))
        chooseOffscreenPlatform();

    QApplication application(argc, argv);
    int status = 0;
    {
        MainWindow window(nullptr);
        hq::makeProcessDpiAware();
        setHighDpiAttributes();
        if (argc <= 1) {
            window.show();
            status = QApplication::exec();
        } else {
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
