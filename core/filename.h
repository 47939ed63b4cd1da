// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>

enum class NameRules { Posix, Windows };

#ifdef Q_OS_WIN
constexpr NameRules nativeNameRules = NameRules::Windows;
#else
constexpr NameRules nativeNameRules = NameRules::Posix;
#endif

// `name` as one file name that stays in its directory: "/", "\" and what the file system refuses
// become "_", one for each UTF-16 unit. Under Windows' rules so does a final dot or blank, and
// behind a device's name ("CON", also "CON.mxf") comes a "_". Everything else stays. Labels and
// object keys may hold any character. Any thread.
QString fileNameOnDisk(const QString &name, NameRules rules = nativeNameRules);
