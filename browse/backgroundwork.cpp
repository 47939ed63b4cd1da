// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "backgroundwork.h"

#include <QScopeGuard>
#include <QThreadPool>
#include <QtConcurrent>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>

struct BackgroundWork::State
{
    std::mutex mutex;
    std::condition_variable ended;
    BackgroundWork *owner = nullptr;
    std::deque<std::pair<hq::StopToken, std::function<void()>>> calls;
    std::map<quint64, hq::StopToken> running;
    std::map<quint64, std::function<void(const Link &)>> waiting;
    quint64 lastNumber = 0;
};

BackgroundWork::Link::Link(std::shared_ptr<State> state, hq::StopToken token)
    : m_state(std::move(state)), m_token(std::move(token))
{
}

void BackgroundWork::Link::post(std::function<void()> call) const
{
    // The lock keeps the owner alive until its event is queued; its destructor drops the event.
    const std::lock_guard lock(m_state->mutex);
    if (!m_state->owner || m_token.isStopped())
        return;
    m_state->calls.emplace_back(m_token, std::move(call));
    if (m_state->calls.size() == 1)
        QMetaObject::invokeMethod(m_state->owner, "deliver", Qt::QueuedConnection);
}

// Runs one call in each turn of the event loop, so that input and painting go on in between. The
// next turn is requested first, so that a call with an event loop of its own does not hold it up.
void BackgroundWork::deliver()
{
    std::unique_lock lock(m_state->mutex);
    const auto [token, call] = std::move(m_state->calls.front());
    m_state->calls.pop_front();
    if (!m_state->calls.empty())
        QMetaObject::invokeMethod(this, "deliver", Qt::QueuedConnection);
    lock.unlock();
    if (!token.isStopped())
        call();
}

BackgroundWork::BackgroundWork() : m_state(std::make_shared<State>())
{
    m_state->owner = this;
}

BackgroundWork::~BackgroundWork()
{
    stop();
    decltype(State::calls) undelivered; // destroyed without the lock: it may hold anything
    const std::lock_guard lock(m_state->mutex);
    m_state->owner = nullptr;
    undelivered.swap(m_state->calls);
}

// Never destroyed, since that would wait for work that hangs.
static QThreadPool *ownPool()
{
    static auto *const pool = [] {
        constexpr int maxThreads = 64;
        auto *made = new QThreadPool;
        made->setMaxThreadCount(maxThreads);
        return made;
    }();
    return pool;
}

hq::StopToken BackgroundWork::start(std::function<void(const Link &)> work, Pool pool)
{
    hq::StopToken token;
    quint64 number = 0;
    {
        const std::lock_guard lock(m_state->mutex);
        number = ++m_state->lastNumber;
        m_state->running.emplace(number, token);
        m_state->waiting.emplace(number, std::move(work));
    }
    QThreadPool *threads = pool == Pool::Own ? ownPool() : QThreadPool::globalInstance();
    static_cast<void>(
        QtConcurrent::run(threads, [state = m_state, number] { runPiece(state, number); }));
    return token;
}

void BackgroundWork::runPiece(const std::shared_ptr<State> &state, quint64 number)
{
    // Declared before the work, so that what the work holds is destroyed before it counts as ended,
    // also when it throws.
    const auto end = qScopeGuard([&] {
        const std::lock_guard lock(state->mutex);
        state->running.erase(number);
        state->ended.notify_all();
    });
    std::unique_lock lock(state->mutex);
    const auto piece = state->waiting.extract(number);
    const auto found = state->running.find(number);
    const bool isWanted = found != state->running.end(); // else stopped before its turn came
    const hq::StopToken token = isWanted ? found->second : hq::StopToken();
    lock.unlock();
    if (isWanted && !token.isStopped()) {
        const hq::ScopedStopToken scope(token);
        piece.mapped()(Link(state, token));
    }
}

void BackgroundWork::stop()
{
    std::unique_lock lock(m_state->mutex);
    for (const auto &[number, token] : m_state->running)
        token.stop();
    m_state->ended.wait_for(lock, std::chrono::seconds(1),
                            [this] { return m_state->running.empty(); });
    m_state->running.clear(); // what hangs is not waited for again
}
