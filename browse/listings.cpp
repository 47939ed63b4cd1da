// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "listings.h"

#include "browsetree.h"
#include "hqutil.h"
#include "s3listing.h"
#include "tamslisting.h"

#include <QCoreApplication>
#include <QEvent>

namespace {

// About 3 ms of work.
constexpr std::size_t arrivalsPerSlice = 500;

const auto finishedLine = QStringLiteral("Finished");

} // namespace

// A listing's end of the queue. Used on its thread.
class Listings::Outlet
{
public:
    Outlet(Listings *listings, std::shared_ptr<ArrivalQueue> queue, BackgroundWork::Link link)
        : m_listings(listings), m_queue(std::move(queue)), m_link(std::move(link))
    {
    }

    // False once the listing is stopped.
    bool send(Arrival arrival) const
    {
        bool wasEmpty = false;
        if (!m_queue->push(std::move(arrival), m_link.token(), &wasEmpty))
            return false;
        if (wasEmpty)
            m_link.post([listings = m_listings] { listings->m_nextSlice.start(); });
        return true;
    }

    // Sends a call for the GUI thread.
    void call(std::function<void()> function) const { send(std::move(function)); }

private:
    Listings *m_listings;
    std::shared_ptr<ArrivalQueue> m_queue;
    BackgroundWork::Link m_link;
};

Listings::Listings(BackgroundWork *work, BrowseTree *tree, QObject *window)
    : m_work(work), m_tree(tree), m_window(window), m_queue(std::make_shared<ArrivalQueue>())
{
    // When idle: input and painting go first.
    m_nextSlice.setSingleShot(true);
    m_nextSlice.setInterval(0);
    connect(&m_nextSlice, &QTimer::timeout, this, &Listings::takeSlice);
}

void Listings::start(std::function<void(const Outlet &)> listing)
{
    m_tokens.push_back(m_work->start(
        [this, queue = m_queue, listing = std::move(listing)](const BackgroundWork::Link &link) {
            listing(Outlet(this, queue, link));
        }));
}

void Listings::stop()
{
    for (const hq::StopToken &token : m_tokens)
        token.stop();
    m_tokens.clear();
    m_queue = std::make_shared<ArrivalQueue>();
}

void Listings::open(const QString &address, std::function<void()> opened)
{
    start([address, opened = std::move(opened)](const Outlet &outlet) {
        const HQHANDLE file =
            hqOSCreateFile(address.toUtf8().constData(), HQ_ACCESS_READ, HQ_SHARE_READ, nullptr,
                           HQ_OPEN_EXISTING, HQ_ATTRIBUTE_NORMAL, nullptr);
        if (file == HQ_INVALID_HANDLE)
            return;
        hqOSCloseFile(file);
        outlet.call(opened);
    });
}

void Listings::listSource(const QString &address)
{
    start([this, address](const Outlet &outlet) {
        walkEntries(address, [&](EntryArrival entry) { return outlet.send(std::move(entry)); });
        outlet.call([this] {
            emit status(finishedLine);
            emit finished(nullptr, true);
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
    start([this, folder, address](const Outlet &outlet) {
        walkEntries(address, [&](EntryArrival entry) { return outlet.send(std::move(entry)); });
        outlet.call([this, folder] {
            emit finished(folder, false);
            emit status(finishedLine);
        });
    });
}

void Listings::listTamsFlows(const QString &site)
{
    start([this, site](const Outlet &outlet) {
        TamsFailure failure;
        const auto fail = [&] {
            outlet.call([this, failure] { emit failed(failure.title, failure.text); });
        };
        const auto endpoint = readTamsEndpoint(site, &failure);
        if (!endpoint)
            return fail();
        outlet.call([this, endpoint] {
            emit endpointRead(*endpoint);
            emit status(QStringLiteral("Connecting"));
        });
        auto flows = readTamsFlows(tamsFlowsAddress(site, *endpoint), &failure);
        if (!flows)
            return fail();
        for (FlowArrival &flow : *flows) {
            if (!outlet.send(std::move(flow)))
                return;
        }
        outlet.call([this] {
            emit status(finishedLine);
            emit finished(nullptr, true);
        });
    });
}

void Listings::takeSlice()
{
    const std::shared_ptr<ArrivalQueue> queue = m_queue;
    std::deque<Arrival> arrivals = queue->take(arrivalsPerSlice);
    if (arrivals.size() == arrivalsPerSlice)
        m_nextSlice.start();
    std::vector<EntryArrival> entries;
    std::vector<FlowArrival> flows;
    // A slot can stop the listings; the rest of the slice is void then.
    for (Arrival &arrival : arrivals) {
        if (auto *entry = std::get_if<EntryArrival>(&arrival)) {
            entries.push_back(std::move(*entry));
        } else if (auto *flow = std::get_if<FlowArrival>(&arrival)) {
            flows.push_back(std::move(*flow));
        } else {
            take(entries);
            take(flows);
            if (queue == m_queue)
                std::get<std::function<void()>>(arrival)();
            deliver();
        }
        if (queue != m_queue)
            return;
    }
    take(entries);
    if (queue == m_queue)
        take(flows);
}

void Listings::take(std::vector<EntryArrival> &entries)
{
    if (entries.empty())
        return;
    const std::shared_ptr<ArrivalQueue> queue = m_queue;
    for (const EntryArrival &entry : entries)
        emit status(entry.line);
    deliver();
    if (queue == m_queue)
        m_tree->append(entries);
    entries.clear();
}

void Listings::take(std::vector<FlowArrival> &flows)
{
    if (flows.empty())
        return;
    m_tree->append(flows);
    for (const FlowArrival &flow : flows)
        emit status(flow.line);
    deliver();
    flows.clear();
}

void Listings::deliver()
{
    QCoreApplication::sendPostedEvents(m_window, QEvent::MetaCall);
}
