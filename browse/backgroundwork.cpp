// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "backgroundwork.h"

#include <QObject>
#include <QtConcurrent>
#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>

struct BackgroundWork::State
{
    std::mutex mutex;
    std::condition_variable ended;
    QObject *context = nullptr;
    std::map<quint64, hq::StopToken> running;
    quint64 lastNumber = 0;
};

BackgroundWork::Link::Link(std::shared_ptr<State> state, hq::StopToken token)
    : m_state(std::move(state)), m_token(std::move(token))
{
}

void BackgroundWork::Link::post(std::function<void()> call) const
{
    // The lock keeps the context alive while the call is queued; the queue drops it afterwards.
    const std::lock_guard lock(m_state->mutex);
    if (!m_state->context || m_token.isStopped())
        return;
    QMetaObject::invokeMethod(
        m_state->context,
        [token = m_token, call = std::move(call)] {
            if (!token.isStopped())
                call();
        },
        Qt::QueuedConnection);
}

BackgroundWork::BackgroundWork(QObject *context) : m_state(std::make_shared<State>())
{
    m_state->context = context;
}

BackgroundWork::~BackgroundWork()
{
    stop();
    const std::lock_guard lock(m_state->mutex);
    m_state->context = nullptr;
}

hq::StopToken BackgroundWork::start(std::function<void(const Link &)> work)
{
    hq::StopToken token;
    quint64 number = 0;
    {
        const std::lock_guard lock(m_state->mutex);
        number = ++m_state->lastNumber;
        m_state->running.emplace(number, token);
    }
    QtConcurrent::run([state = m_state, token, number, work = std::move(work)]() mutable {
        if (!token.isStopped()) {
            const hq::ScopedStopToken scope(token);
            work(Link(state, token));
        }
        // What the work holds must be gone before it counts as ended.
        work = nullptr;
        const std::lock_guard lock(state->mutex);
        state->running.erase(number);
        state->ended.notify_all();
    });
    return token;
}

void BackgroundWork::stop()
{
    std::unique_lock lock(m_state->mutex);
    for (const auto &[number, token] : m_state->running)
        token.stop();
    m_state->ended.wait_for(lock, std::chrono::seconds(1),
                            [this] { return m_state->running.empty(); });
}
