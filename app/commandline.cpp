// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "commandline.h"

#include "addressforms.h"
#include "hqutil.h"
#include "opensource.h"
#include "streamfile.h"

#include <map>

namespace {

// Relied on by scripts, like the texts below: success is 1.
constexpr int statusWritten = 1;
constexpr int statusFailed = -1;

const char usageText[] =
    "\nPellory: Create and Encrypt .stream files from local and cloud stored files\n"
    "\t-u <sourceurl> - The source url name and path\n"
    "\t-f <sourcefile> - The source file name\n"
    "\t-t <targetfile> - The target file name and path\n"
    "\t-k <key> - The Amazon S3 cloud storage connection key\n"
    "\t-s <secret> - The Amazon S3 cloud storage connection secret\n"
    "\t-r <region> - The Amazon S3 cloud storage connection region\n"
    "\t-b <bucket> - The Amazon S3 cloud storage source bucket\n"
    "\t-e <encrypt> - Encrypt output stream file\n"
    "Sourceurl may contain a partial path, supplemented by a bucket and/or sourcefile, or a full "
    "path to a file. Sourceurl may also be replaced by specifying a key and secret.\n"
    "Targetfile may specify a full path and file name or a directory and Pellory will attempt to "
    "create a stream file named after the source file.\n";

int fail(QTextStream &out, const char *message)
{
    out << message;
    return statusFailed;
}

QString withoutLeadingSeparator(const QString &part)
{
    return part.startsWith(QLatin1Char('\\')) ? part.mid(1) : part;
}

} // namespace

CommandLineOptions readOptions(const QStringList &arguments)
{
    CommandLineOptions options;
    std::optional<QString> region; // accepted for the sake of existing scripts; no address holds it
    const std::map<char, std::optional<QString> *> values{
        {'u', &options.url},    {'f', &options.file}, {'t', &options.target}, {'k', &options.key},
        {'s', &options.secret}, {'r', &region},       {'b', &options.bucket}};
    for (int i = 0; i < arguments.size(); ++i) {
        const QString &argument = arguments[i];
        if (argument.size() < 2 || argument[0] != QLatin1Char('-'))
            continue;
        // Relied on: the second character alone selects, so "-url" counts as "-u".
        const char option = argument[1].toLatin1();
        if (const auto found = values.find(option); found != values.end())
            *found->second = arguments.value(++i);
        else if (option == 'e')
            options.encrypt = true;
    }
    return options;
}

std::optional<QString> sourceAddress(const CommandLineOptions &options)
{
    if (options.url) {
        QString address = *options.url;
        if (options.bucket)
            address = withPart(address, *options.bucket);
        if (options.file)
            address = withPart(address, *options.file);
        return address;
    }
    if (!options.key || !options.secret)
        return std::nullopt;
    const auto &first = options.bucket ? options.bucket : options.file;
    if (!first)
        return std::nullopt;
    const QString address = s3AddressStart(*options.key, *options.secret, s3ServiceHost()) +
                            withoutLeadingSeparator(*first);
    return options.bucket && options.file ? withPart(address, *options.file) : address;
}

QString targetPath(const QString &target, const QString &address)
{
    const QString suffix = QStringLiteral(".stream");
    if (target.contains(suffix))
        return target;
    if (hqOSFileIsDir(target.toUtf8().constData()) != 0)
        return streamFilePath(target, address.section(QLatin1Char('\\'), -1));
    return target + suffix;
}

int runCommandLine(const QStringList &arguments, QTextStream &out)
{
    if (arguments.value(0).startsWith(QLatin1Char('?')))
        out << usageText;

    const CommandLineOptions options = readOptions(arguments);
    const std::optional<QString> address = sourceAddress(options);
    if (!address || !options.target)
        return fail(out, usageText);

    const QString path = targetPath(*options.target, *address);
    if (!isReachable(*address))
        return fail(out, "Could not open source url\n");
    if (!writeStreamFile(path, *address, options.encrypt))
        return fail(out, "Could not open target\n");
    return statusWritten;
}
