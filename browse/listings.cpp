// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "listings.h"

#include "addressforms.h"
#include "browsetree.h"
#include "credentials.h"
#include "opensource.h"
#include "s3listing.h"
#include "tamslisting.h"

#include <QSemaphore>
#include <algorithm>
#include <utility>

namespace {

// Flows that are added to the tree at once.
constexpr std::size_t flowsPerBatch = 500;
// How many batches a walk may be ahead of the tree.
constexpr int maxBatches = 4;
constexpr int stopPollMilliseconds = 20;
const QString finishedLine = QStringLiteral("Finished");

} // namespace

Listings::Listings(BackgroundWork *work, BrowseTree *tree) : m_work(work), m_tree(tree) {}

void Listings::start(const QStandardItem *folder, ListingWork listing)
{
    Piece piece{++m_lastNumber, folder, {}, {}};
    const auto finish = [this, number = piece.number] { end(number); };
    piece.work = m_work->start(
        [this, listing = std::move(listing), finish, call = piece.call](const Link &link) {
            const hq::ScopedStopToken scope(call);
            listing(link, call);
            // Queued once more, to come after the slots that the last signals have queued: the end
            // may replace the folder that they are given.
            link.post([=] { QMetaObject::invokeMethod(this, finish, Qt::QueuedConnection); });
        });
    m_pieces.push_back(piece);
    if (m_pieces.size() == 1)
        emit busyChanged(true);
}

void Listings::end(quint64 number)
{
    const auto isIt = [number](const Piece &piece) { return piece.number == number; };
    const auto found = std::find_if(m_pieces.begin(), m_pieces.end(), isIt);
    if (found == m_pieces.end())
        return; // stopped since
    m_pieces.erase(found);
    listWaiting();
    if (m_pieces.empty())
        emit busyChanged(false);
}

void Listings::interrupt()
{
    m_waiting.clear();
    for (const Piece &piece : m_pieces)
        piece.call.stop();
}

void Listings::stop()
{
    for (const Piece &piece : m_pieces)
        piece.work.stop();
    m_waiting.clear();
    if (!m_pieces.empty()) {
        m_pieces.clear();
        emit busyChanged(false);
    }
}

void Listings::open(const QString &address, std::function<void()> opened)
{
    start(nullptr, [address, opened = std::move(opened)](const Link &link, const auto &call) {
        if (!isReachable(address))
            return;
        link.post([opened, call] {
            if (!call.isStopped())
                opened();
        });
    });
}

void Listings::listSource(const QString &address)
{
    list(address, nullptr);
}

void Listings::listFolder(QStandardItem *folder)
{
    const NodeData node = nodeData(folder);
    if (node.isFile || node.listed)
        return;
    // Now rather than on the pool thread: a second click must not start it again.
    markListed(folder);
    const QLatin1Char slash('/');
    list(node.path.endsWith(slash) ? node.path : node.path + slash, folder);
}

void Listings::list(const QString &address, QStandardItem *folder)
{
    start(folder, [this, address, folder](const Link &link, const auto &) {
        const WalkEnd end = walk(address, link);
        link.post([this, address, folder, end] {
            if (folder)
                emit finished(folder, false);
            emit status(finishedLine);
            if (!folder)
                emit finished(nullptr, true);
            reportFailure(address, end);
        });
    });
}

WalkEnd Listings::walk(const QString &address, const Link &link)
{
    const auto room = std::make_shared<QSemaphore>(maxBatches);
    return walkEntries(address, [&](EntryBatch batch) {
        while (!room->tryAcquire(1, stopPollMilliseconds)) {
            if (link.token().isStopped())
                return false;
        }
        link.post([=, taken = std::make_shared<EntryBatch>(std::move(batch))] {
            room->release();
            append(std::move(*taken));
        });
        return true;
    });
}

void Listings::append(EntryBatch batch)
{
    for (const WalkedEntry &entry : batch.entries)
        emit status(entry.line);
    m_tree->append(std::move(batch)); // adds nothing when a slot has stopped the listing
}

void Listings::reportFailure(const QString &address, const WalkEnd &walk)
{
    if (walk.failure.isEmpty())
        return;
    const std::string usual = usualAddress(address).toStdString();
    const auto plain = hq::s3AddressWithoutCredentials(usual);
    emit brokeOff(QString::fromStdString(plain ? *plain : hq::harmlessAddress(usual)), walk.entries,
                  walk.failure);
}

void Listings::listAgain(QStandardItem *folder)
{
    for (const Piece &piece : m_pieces) {
        if (piece.folder && isWithin(piece.folder, folder))
            piece.call.stop();
    }
    // Folders that wait below this one are replaced together with it, and it together with one that
    // waits above.
    const auto isBelow = [folder](const QStandardItem *item) { return isWithin(item, folder); };
    const auto isAbove = [folder](const QStandardItem *item) { return isWithin(folder, item); };
    m_waiting.erase(std::remove_if(m_waiting.begin(), m_waiting.end(), isBelow), m_waiting.end());
    if (std::none_of(m_waiting.begin(), m_waiting.end(), isAbove))
        m_waiting.push_back(folder);
    listWaiting();
}

bool Listings::isListedWithin(const QStandardItem *folder) const
{
    return std::any_of(m_pieces.begin(), m_pieces.end(), [folder](const Piece &piece) {
        return piece.folder && isWithin(piece.folder, folder);
    });
}

void Listings::listWaiting()
{
    const std::vector<QStandardItem *> folders = std::exchange(m_waiting, {});
    for (QStandardItem *folder : folders) {
        if (isListedWithin(folder)) {
            m_waiting.push_back(folder);
            continue;
        }
        emit renewing(folder);
        QStandardItem *fresh = m_tree->renew(folder);
        emit renewed(fresh);
        listFolder(fresh);
    }
}

void Listings::listTamsFlows(const QString &site)
{
    start(nullptr, [this, site](const Link &link, const auto &call) {
        TamsFailure failure;
        const auto fail = [&] {
            if (!call.isStopped())
                link.post([this, failure] { emit failed(failure.title, failure.text); });
        };
        const auto endpoint = readTamsEndpoint(site, &failure);
        if (!endpoint)
            return fail();
        link.post([this, endpoint] {
            emit endpointRead(*endpoint);
            emit status(QStringLiteral("Connecting"));
        });
        auto answer = readTamsFlows(tamsFlowsAddress(site, *endpoint), &failure);
        if (!answer)
            return fail();
        const auto flows = std::make_shared<std::vector<ListedFlow>>(std::move(*answer));
        for (std::size_t begin = 0; begin < flows->size(); begin += flowsPerBatch) {
            const std::size_t end = std::min(begin + flowsPerBatch, flows->size());
            link.post([this, flows, begin, end] {
                std::vector<TamsNodeData> rows;
                for (std::size_t i = begin; i < end; ++i)
                    rows.push_back((*flows)[i].flow);
                m_tree->append(rows);
                for (std::size_t i = begin; i < end; ++i)
                    emit status((*flows)[i].line);
            });
        }
        link.post([this] {
            emit status(finishedLine);
            emit finished(nullptr, true);
        });
    });
}
