// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "tamslisting.h"

#include "credentials.h"
#include "entryfile.h"
#include "errorcode.h"
#include "hqutil.h"
#include "opensource.h"
#include "paging.h"
#include "stoptoken.h"
#include "tamsentry.h"

#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QScopeGuard>
#include <cstring>
#include <memory>
#include <new>

namespace {

constexpr quint64 unknownSize = ~quint64(0);
constexpr quint64 bytesOfUnknownSize = 1048576;
constexpr quint64 minResponseBytes = 10; // relied on, as is the number of flows asked for
constexpr quint64 maxResponseBytes = 256 << 20;

// One failure as log and message box tell it: "ERROR: WHAT <address>". Relied on, here and below:
// the blank at the end of log lines, "RROR" in one box.
std::nullopt_t fail(const char *what, const QByteArray &address, TamsFailure *failure,
                    quint32 error = hqOSGetLastError())
{
    const std::string shown = hq::harmlessAddress(address.toStdString());
    if (!hq::isStopped())
        ErrOut("ERROR: %s <%s>, error %d 0x%08X ", what, shown.c_str(), static_cast<int>(error),
               error);
    failure->title = QLatin1String("ERROR: ") + QLatin1String(what);
    failure->text = failure->title + QStringLiteral(" <%1>").arg(QString::fromStdString(shown));
    return std::nullopt;
}

// Logs a response that is shown like a full list and is none.
void logOddAnswer(const QJsonDocument &answer, const QJsonParseError &error,
                  const QByteArray &address, bool hasMore)
{
    const std::string shown = hq::harmlessAddress(address.toStdString());
    if (!answer.isArray())
        ErrOut("ERROR: No list of flows <%s>, %s ", shown.c_str(),
               answer.isNull() ? error.errorString().toUtf8().constData()
                               : "the answer is another JSON text");
    if (hasMore)
        ErrOut("ERROR: Not all flows <%s>, the repository has more than were asked for ",
               shown.c_str());
}

std::vector<ListedFlow> folded(const QJsonArray &elements)
{
    std::vector<ListedFlow> flows;
    QHash<QString, std::size_t> places;
    for (const QJsonValue &element : elements) {
        const QJsonObject object = element.toObject();
        const auto text = [&object](const char *key) {
            return object.value(QLatin1String(key)).toString();
        };
        const QJsonValue collectors = object.value(QLatin1String("collected_by"));
        const bool isCollected = !collectors.isUndefined();
        const TamsNodeData flow{text("label"),
                                isCollected ? collectors.toArray().first().toString() : text("id"),
                                text("format"), text("created")};
        const auto known = places.constFind(flow.id);
        if (known == places.constEnd()) {
            places.insert(flow.id, flows.size());
            flows.push_back({QStringLiteral("Adding: ") + flow.label, flow});
        } else if (!isCollected) {
            flows[*known].flow = flow;
        }
    }
    return flows;
}

} // namespace

std::optional<QString> readTamsEndpoint(const QString &site, TamsFailure *failure)
{
    char directory[HQ_CONFIG_DIR_SIZE] = {};
    hqOSGetConfigDir(directory, 0);
    const QByteArray path = hq::tamsEntryPath(QString::fromUtf8(directory), site).toUtf8();
    const auto text = hq::readEntryFile(path);
    if (!text) {
        const std::string shown = hq::shownEntryPath(path.toStdString());
        ErrOut("ERROR: Unable to open TAMS config file <%s> ", shown.c_str());
        failure->title = QStringLiteral("ERROR: Unable to open TAMS config file");
        failure->text = QStringLiteral("RROR: Unable to open TAMS config file <%1>")
                            .arg(QString::fromStdString(shown));
        return std::nullopt;
    }
    QString endpoint = hq::parseTamsEntry(*text).endpoint;
    if (!endpoint.startsWith(QLatin1Char('/')))
        endpoint.prepend(QLatin1Char('/'));
    if (!endpoint.endsWith(QLatin1Char('/')))
        endpoint.append(QLatin1Char('/'));
    return endpoint;
}

QString tamsFlowsAddress(const QString &site, const QString &endpoint)
{
    // Relied on: one page, and no second one is asked for.
    return QStringLiteral("https://") + site + endpoint + QStringLiteral("flows?limit=300");
}

std::optional<std::vector<ListedFlow>> readTamsFlows(const QString &address, TamsFailure *failure)
{
    const QByteArray encoded = address.toUtf8();
    const HQHANDLE file = openSource(address, 0);
    if (file == HQ_INVALID_HANDLE)
        return fail("Unable to open", encoded, failure);
    const auto close = qScopeGuard([file] { hqOSCloseFile(file); });
    std::int64_t found = 0;
    hqOSGetFileSizeEx(file, &found);
    auto size = static_cast<quint64>(found);
    if (size < minResponseBytes)
        return fail("Flow too small", encoded, failure);
    if (size == unknownSize)
        size = bytesOfUnknownSize;

    // A size that no list of flows has; the server would make us reserve memory for it.
    if (size > maxResponseBytes)
        return fail("Error reading flow", encoded, failure,
                    quint32(hq::Error::InvalidServerResponse));

    const auto count = static_cast<quint32>(size);
    const std::unique_ptr<char[]> buffer(new (std::nothrow) char[std::size_t(count) + 2]);
    quint32 read = 0;
    hqOSSeek(file, 0);
    if (!buffer || hqOSReadFile(file, buffer.get(), count, &read, nullptr) == 0)
        return fail("Error reading flow", encoded, failure);
    buffer[read] = '\0';
    const auto length = static_cast<int>(std::strlen(buffer.get()));
    QJsonParseError error;
    const auto answer =
        QJsonDocument::fromJson(QByteArray::fromRawData(buffer.get(), length), &error);
    logOddAnswer(answer, error, encoded, hq::hasNextPage(file));
    return folded(answer.array());
}
