// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "errorlog.h"

#include "configuration.h"
#include "credentials.h"
#include "lasterror.h"
#include "printable.h"
#include "redaction.h"
#include "system.h"
#include "text.h"

#include <QDateTime>
#include <algorithm>
#include <mutex>
#include <vector>

namespace hq {

namespace {

constexpr std::int64_t kRotationSize = 1 << 20;
constexpr std::size_t kMaxLine = 64 << 10;

struct Log
{
    std::mutex mutex;
    std::string name = "Pellory";
    std::string lastLine;
};

Log &errorLog()
{
    // Never destroyed: messages come to the very end of the process.
    static auto *log = new Log;
    return *log;
}

std::string oneLine(std::string text)
{
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c == '\r' || c == '\n' || c == '\t'; }, ' ');
    return printable(text);
}

std::string formatLine(const std::string &text)
{
    std::string line = QDateTime::currentDateTime()
                           .toString(QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz "))
                           .toStdString();
    line += std::to_string(system::threadId()) + ' ' + text;
    line.resize(cutAt(kMaxLine, line).size());
    return line + '\n';
}

std::string logName()
{
    const std::lock_guard<std::mutex> lock(errorLog().mutex);
    return errorLog().name;
}

constexpr const char *kQtMessage = "Qt ";

void append(const std::string &text)
{
    Log &log = errorLog();
    const std::lock_guard<std::mutex> lock(log.mutex);
    const std::string shown = oneLine(text);
    if (text.rfind(kQtMessage, 0) != 0)
        log.lastLine = shown;
    const std::string root = system::stateRoot();
    const std::string folder = folderBelow(root);
    if (root.empty() || !system::makeFolders(folder))
        return;
    const std::string path = folder + log.name + ".log";
    const std::string line = formatLine(shown);
    auto file = system::NativeFile::openForAppending(path);
    std::int64_t end = 0;
    if (!file.isOpen() || !file.append(line.data(), line.size(), &end))
        return;
    // Only the writer whose line crossed the limit moves the file, so that two processes do not
    // both do it. The second limit mends a crossing whose move failed.
    const bool crossed =
        end > kRotationSize && end - static_cast<std::int64_t>(line.size()) <= kRotationSize;
    if (crossed || end > 2 * kRotationSize) {
        file = {};
        system::renameOver(path, path + ".1");
    }
}

void handleQtMessage(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    thread_local bool isBusy = false;
    if (isBusy) // a message about the logging itself
        return;
    isBusy = true;
    static constexpr const char *kKinds[] = {"debug", "warning", "critical", "fatal", "info"};
    writeErrorLog(std::string(kQtMessage) + kKinds[type] + " (" +
                  (context.category ? context.category : "default") +
                  "): " + message.toStdString());
    isBusy = false;
}

} // namespace

void setErrorLogName(std::string_view name)
{
    if (name.empty() || std::any_of(name.begin(), name.end(), [](char c) {
            return isAddressSeparator(c) || c == ':' || static_cast<unsigned char>(c) < 0x20;
        }))
        return;
    const std::lock_guard<std::mutex> lock(errorLog().mutex);
    errorLog().name = name;
}

std::string errorLogPath()
{
    const std::string root = system::stateRoot();
    return root.empty() ? root : folderBelow(root) + logName() + ".log";
}

std::string lastLogLine()
{
    const std::lock_guard<std::mutex> lock(errorLog().mutex);
    return errorLog().lastLine;
}

void writeErrorLog(const std::string &text) noexcept
{
    try {
        writeHarmlessLine(redact(text));
    } catch (const std::exception &) {
        // Out of memory: the line is lost, the caller is not.
    }
}

void writeHarmlessLine(const std::string &text) noexcept
{
    const LastErrorKeeper keeper;
    try {
        append(text);
    } catch (const std::exception &) {
    }
}

void narrowFolders() noexcept
{
    const LastErrorKeeper keeper;
    try {
        std::vector<std::string> places;
        if (const std::string root = system::configurationRoot(); !root.empty())
            places = {folderBelow(root)};
        if (const std::string root = system::stateRoot(); !root.empty()) {
            const std::string log = folderBelow(root) + logName() + ".log";
            places.insert(places.end(), {folderBelow(root), log, log + ".1"});
        }
        for (const std::string &place : places) {
            if (!system::takeFromOthers(place))
                writeHarmlessLine("ERROR: Others may have access to <" + harmlessAddress(place) +
                                  ">, " + errorText(lastError()));
        }
    } catch (const std::exception &) {
    }
}

} // namespace hq

void sendQtMessagesToErrorLog()
{
    qInstallMessageHandler(hq::handleQtMessage);
}
