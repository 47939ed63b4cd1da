// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "displayneed.h"

#include <QString>

#include <cstdio>
#include <cstdlib>

namespace {

QtMessageHandler g_messageHandler = nullptr;
QByteArray g_reasons; // what Qt complained about before, a line each

void reportFailedStart(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (g_messageHandler)
        g_messageHandler(type, context, message);
    if (type == QtWarningMsg && !message.startsWith(QLatin1String("QStandardPaths")))
        g_reasons += message.toLocal8Bit() + '\n';
    if (type != QtFatalMsg)
        return;
    std::fprintf(stderr,
                 "pellory: no display can be used, so there is no window.\n%s"
                 "Set DISPLAY or WAYLAND_DISPLAY. A command line needs no display; \"pellory ?\" "
                 "lists its options.\n",
                 g_reasons.constData());
    std::fflush(stderr);
    std::_Exit(-1); // destructors would meet an application that is made in part
}

// Qt's options with a value of their own, as QApplication and its X11 plugin take them out.
bool takesValue(const QByteArray &option)
{
    static const QByteArrayList options{
        "-display", "-geometry",           "-icon",          "-name",
        "-plugin",  "-platformpluginpath", "-platformtheme", "-qmljsdebugger",
        "-session", "-qwindowgeometry",    "-qwindowicon",   "-qwindowtitle",
        "-style",   "-stylesheet",         "-title",         "-visual"};
    return options.contains(option);
}

bool standsAlone(const QByteArray &option)
{
    static const QByteArrayList options{"-dograb", "-nograb",  "-qdebug",
                                        "-qdevel", "-reverse", "-widgetcount"};
    return options.contains(option) || option.startsWith("-qmljsdebugger=") ||
           option.startsWith("-style=") || option.startsWith("-stylesheet=");
}

} // namespace

bool runsWithoutDisplay(const QByteArrayList &arguments)
{
    bool own = false;
    for (int i = 0; i < arguments.size(); ++i) {
        const QByteArray &argument = arguments[i];
        const QByteArray option = argument.startsWith("--") ? argument.mid(1) : argument;
        if (option == "-platform")
            return false;
        if (takesValue(option))
            ++i;
        else if (!standsAlone(option))
            own = true;
    }
    return own;
}

void chooseOffscreenPlatform()
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qunsetenv("QT_QPA_PLATFORMTHEME");
    qunsetenv("QT_STYLE_OVERRIDE");
}

FailedStartReport::FailedStartReport()
{
    g_messageHandler = qInstallMessageHandler(reportFailedStart);
}

FailedStartReport::~FailedStartReport()
{
    qInstallMessageHandler(g_messageHandler);
}
