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

        // Queues `call` for the owner's thread, where calls run in the order posted. A call is
        // discarded, even one that is queued already, when the work has been stopped or the owner
        // destroyed.
        void post(std::function<void()> call) const;

    private:
        friend class BackgroundWork;
        Link(std::shared_ptr<State> state, hq::StopToken token);

        std::shared_ptr<State> m_state;
        hq::StopToken m_token;
    };

    BackgroundWork();
    ~BackgroundWork() override;

    // Global: listings. Own: work that mostly waits (a copy, a look at a folder on a share that may
    // be gone), so that neither kind holds up the other.
    enum class Pool { Global, Own };

    // Starts `work` on a thread of the pool and returns a stop token for this piece alone. The
    // token also ends the utility library's calls of that thread. Work keeps its thread until it
    // returns and other work of the pool may wait for it: whatever takes long has to look at the
    // token and return soon after it is stopped. `work`, with what it holds, is destroyed on the
    // pool's thread.
    hq::StopToken start(std::function<void(const Link &)> work, Pool pool = Pool::Global);

    // Stops all work and waits until it has ended, for a second at most. Work that still hangs in
    // the operating system then is left alone; nothing that it posts is delivered.
    void stop();

private slots:
    void deliver();

private:
    static void runPiece(const std::shared_ptr<State> &state, quint64 number);

    std::shared_ptr<State> m_state;
};
