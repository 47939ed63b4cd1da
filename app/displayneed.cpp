// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "displayneed.h"

#include <QtGlobal>

namespace {

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
