// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "highdpi.h"

#include <QGuiApplication>
#include <algorithm>

void scaleWithScreen()
{
    const auto variables = {"QT_SCALE_FACTOR",           "QT_SCREEN_SCALE_FACTORS",
                            "QT_ENABLE_HIGHDPI_SCALING", "QT_AUTO_SCREEN_SCALE_FACTOR",
                            "QT_DEVICE_PIXEL_RATIO",     "QT_SCALE_FACTOR_ROUNDING_POLICY"};
    // The screen's scale would multiply that of the environment.
    if (std::any_of(variables.begin(), variables.end(), qEnvironmentVariableIsSet))
        return;
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0) // later ones always scale
    QCoreApplication::setAttribute(Qt::AA_EnableHighDpiScaling, true);
#endif
    QGuiApplication::setHighDpiScaleFactorRoundingPolicy(
        Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);
}

void setHighDpiAttributes()
{
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    const QtMessageHandler handler =
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    QCoreApplication::setAttribute(Qt::AA_UseHighDpiPixmaps, true);
    QCoreApplication::setAttribute(Qt::AA_EnableHighDpiScaling, true);
    qInstallMessageHandler(handler);
#endif
}
