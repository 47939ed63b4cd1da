// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// The command-line run: one source address, one stream file.
#pragma once

#include <QString>
#include <QStringList>
#include <QTextStream>

#include <optional>

// What was given on the command line. An option that stands last, so without a value, counts as
// given with an empty text.
struct CommandLineOptions
{
    std::optional<QString> url;
    std::optional<QString> file;
    std::optional<QString> target;
    std::optional<QString> key;
    std::optional<QString> secret;
    std::optional<QString> bucket;
    bool encrypt = false;
};

// Reads the arguments, without the program's name. What is no option is skipped.
CommandLineOptions readOptions(const QStringList &arguments);

// Puts the source address together; nothing when the options do not name a source.
std::optional<QString> sourceAddress(const CommandLineOptions &options);

// The path of the stream file. Looks whether `target` is a folder when its text does not decide.
QString targetPath(const QString &target, const QString &address);

// Makes one stream file from the arguments, without the program's name. Returns the exit status:
// 1 when the file is written, else -1, and `out` says why. No credential gets into `out`.
int runCommandLine(const QStringList &arguments, QTextStream &out);
