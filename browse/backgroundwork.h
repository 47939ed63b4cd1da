// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "stoptoken.h"

#include <QObject>
#include <functional>
#include <memory>

// Runs work on a thread pool and ends it with its owner. Work is given values and a
// link, never a widget or a model. For use by the thread that made it.
class BackgroundWork : public QObject
{
    Q_OBJECT
    struct State;

public:
    // What a piece of work knows of its owner. Any thread.
    class Link
    {
    public:
        const hq::StopToken &token() const { return m_token; }

        // Queues `call` for the owner's thread. It is dropped, also when it is queued already,
        // once the work is stopped or the owner has gone. Calls arrive in the order posted.
        void post(std::function<void()> call) const;

    private:
        friend class BackgroundWork;
        Link(std::shared_ptr<State> state, hq::StopToken token);

        std::shared_ptr<State> m_state;
        hq::StopToken m_token;
    };

    BackgroundWork();
    ~BackgroundWork() override;

    // Listings share the global pool. What mostly waits (a copy, a look at a folder that may be
    // gone) and must neither hold them up nor wait for them has a pool of its own.
    enum class Pool { Global, Own };

    // Starts `work` with a stop token of its own, which also ends the utility library's calls of
    // its thread. The result stops this piece alone.
    hq::StopToken start(std::function<void(const Link &)> work, Pool pool = Pool::Global);

    // Stops all work and waits until it has ended, for a second at most: work that hangs in the
    // operating system is not waited for any longer, and nothing it posts is delivered.
    void stop();

private slots:
    void deliver();

private:
    static void runPiece(const std::shared_ptr<State> &state, quint64 number);

    std::shared_ptr<State> m_state;
};
