// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "listings.h"

#include "addressforms.h"
#include "browsetree.h"
#include "credentials.h"
#include "hqutil.h"
#include "s3listing.h"
#include "tamslisting.h"

#include <QCoreApplication>
#include <QEvent>
#include <algorithm>
#include <utility>

namespace {

// For so long, what comes in is gathered.
constexpr int gatherMilliseconds = 3;
// What is added to the tree at once.
constexpr std::size_t flowsPerBatch = 500;

QString finishedLine()
{
    return QStringLiteral("Finished");
}

} // namespace

// A listing's end of the queue. Used on its thread.
class Listings::Outlet
{
public:
    Outlet(Listings *listings, std::shared_ptr<ArrivalQueue> queue, BackgroundWork::Link link,
           hq::StopToken call)
        : m_listings(listings)
        , m_queue(std::move(queue))
        , m_link(std::move(link))
        , m_call(std::move(call))
    {
    }

    // Stopped when the person wants no more of the listing, which goes on to its end then.
    const hq::StopToken &call() const { return m_call; }

    // False once the listing is stopped.
    template <typename Arrival>
    bool send(Arrival arrival) const
    {
        const auto when = m_queue->push(std::move(arrival), m_link.token());
        if (when && *when != ArrivalQueue::Take::Nothing)
            m_link.post([listings = m_listings, when] { listings->plan(*when); });
        return when.has_value();
    }

private:
    Listings *m_listings;
    std::shared_ptr<ArrivalQueue> m_queue;
    BackgroundWork::Link m_link;
    hq::StopToken m_call;
};

Listings::Listings(BackgroundWork *work, BrowseTree *tree, QObject *window)
    : m_work(work), m_tree(tree), m_window(window), m_queue(std::make_shared<ArrivalQueue>())
{
    // A timer, so that input and painting go on between two batches.
    m_nextBatch.setSingleShot(true);
    connect(&m_nextBatch, &QTimer::timeout, this, &Listings::takeBatch);
}

void Listings::start(const QStandardItem *folder, std::function<void(const Outlet &)> listing)
{
    Piece piece{++m_lastNumber, folder, {}, {}};
    piece.work =
        m_work->start([this, queue = m_queue, listing = std::move(listing), number = piece.number,
                       call = piece.call](const BackgroundWork::Link &link) {
            const Outlet outlet(this, queue, link, call);
            const hq::ScopedStopToken scope(call);
            listing(outlet);
            outlet.send([this, number] { end(number); });
        });
    m_pieces.push_back(piece);
    if (m_pieces.size() == 1)
        emit busyChanged(true);
}

void Listings::end(quint64 number)
{
    const auto isIt = [number](const Piece &piece) { return piece.number == number; };
    m_pieces.erase(std::remove_if(m_pieces.begin(), m_pieces.end(), isIt), m_pieces.end());
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
    m_queue = std::make_shared<ArrivalQueue>();
    if (!m_pieces.empty()) {
        m_pieces.clear();
        emit busyChanged(false);
    }
}

void Listings::open(const QString &address, std::function<void()> opened)
{
    start(nullptr, [address, opened = std::move(opened)](const Outlet &outlet) {
        const HQHANDLE file =
            hqOSCreateFile(address.toUtf8().constData(), HQ_ACCESS_READ, HQ_SHARE_READ, nullptr,
                           HQ_OPEN_EXISTING, HQ_ATTRIBUTE_NORMAL, nullptr);
        if (file == HQ_INVALID_HANDLE)
            return;
        hqOSCloseFile(file);
        outlet.send([opened, call = outlet.call()] {
            if (!call.isStopped())
                opened();
        });
    });
}

void Listings::listSource(const QString &address)
{
    start(nullptr, [this, address](const Outlet &outlet) {
        const WalkEnd walk =
            walkEntries(address, [&](EntryArrival entry) { return outlet.send(std::move(entry)); });
        outlet.send([this, address, walk] {
            emit status(finishedLine());
            emit finished(nullptr, true);
            reportFailure(address, walk);
        });
    });
}

void Listings::listFolder(QStandardItem *folder)
{
    const NodeData node = nodeData(folder);
    if (node.isFile || node.listed)
        return;
    // Now rather than on the pool thread: a second click must not start it again.
    markListed(folder);
    const QLatin1Char slash('/');
    const QString address = node.path.endsWith(slash) ? node.path : node.path + slash;
    start(folder, [this, folder, address](const Outlet &outlet) {
        const WalkEnd walk =
            walkEntries(address, [&](EntryArrival entry) { return outlet.send(std::move(entry)); });
        outlet.send([this, folder, address, walk] {
            emit finished(folder, false);
            emit status(finishedLine());
            reportFailure(address, walk);
        });
    });
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
    // What waits below goes with this one, as this one goes with what waits above.
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
    start(nullptr, [this, site](const Outlet &outlet) {
        TamsFailure failure;
        const auto fail = [&] {
            if (!outlet.call().isStopped())
                outlet.send([this, failure] { emit failed(failure.title, failure.text); });
        };
        const auto endpoint = readTamsEndpoint(site, &failure);
        if (!endpoint)
            return fail();
        outlet.send([this, endpoint] {
            emit endpointRead(*endpoint);
            emit status(QStringLiteral("Connecting"));
        });
        auto answer = readTamsFlows(tamsFlowsAddress(site, *endpoint), &failure);
        if (!answer)
            return fail();
        const auto flows = std::make_shared<std::vector<ListedFlow>>(std::move(*answer));
        for (std::size_t begin = 0; begin < flows->size(); begin += flowsPerBatch) {
            const std::size_t end = std::min(begin + flowsPerBatch, flows->size());
            outlet.send([this, flows, begin, end] {
                std::vector<TamsNodeData> rows;
                for (std::size_t i = begin; i < end; ++i)
                    rows.push_back((*flows)[i].flow);
                m_tree->append(rows);
                for (std::size_t i = begin; i < end; ++i)
                    emit status((*flows)[i].line);
            });
        }
        outlet.send([this] {
            emit status(finishedLine());
            emit finished(nullptr, true);
        });
    });
}

void Listings::plan(ArrivalQueue::Take when)
{
    if (when == ArrivalQueue::Take::Now)
        m_nextBatch.start(0);
    else if (when == ArrivalQueue::Take::Soon && !m_nextBatch.isActive())
        m_nextBatch.start(gatherMilliseconds);
}

void Listings::takeBatch()
{
    const std::shared_ptr<ArrivalQueue> queue = m_queue;
    // Slots can stop the listings; the rest is void then.
    const auto deliver = [this, &queue] {
        QCoreApplication::sendPostedEvents(m_window, QEvent::MetaCall);
        return queue == m_queue;
    };
    ArrivalQueue::Take next = ArrivalQueue::Take::Nothing;
    const ArrivalBatch batch = queue->take(&next);
    for (const EntryArrival &entry : batch.entries)
        emit status(entry.line);
    if (!deliver())
        return;
    m_tree->append(batch.entries);
    if (batch.call)
        batch.call();
    if (deliver())
        plan(next);
}
