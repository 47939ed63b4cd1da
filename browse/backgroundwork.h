// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "transfer.h"

#include <functional>
#include <memory>

class QObject;

// Runs work on the global thread pool and ends it with its owner. Work is given values and a
// link, never a widget or a model. For use by the thread of `context`.
class BackgroundWork
{
    struct State;

public:
    // What a piece of work knows of its owner. Any thread.
    class Link
    {
    public:
        const hq::StopToken &token() const { return m_token; }

        // Queues `call` for the context's thread. It is dropped, also when it is queued already,
        // once the work is stopped or the context has gone. Calls arrive in the order posted.
        void post(std::function<void()> call) const;

    private:
        friend class BackgroundWork;
        Link(std::shared_ptr<State> state, hq::StopToken token);

        std::shared_ptr<State> m_state;
        hq::StopToken m_token;
    };

    explicit BackgroundWork(QObject *context);
    ~BackgroundWork();
    BackgroundWork(const BackgroundWork &) = delete;
    BackgroundWork &operator=(const BackgroundWork &) = delete;

    // Starts `work` with a stop token of its own, which also ends the utility library's calls of
    // its thread. The result stops this piece alone.
    hq::StopToken start(std::function<void(const Link &)> work);

    // Stops all work and waits until it has ended, for a second at most: work that hangs in the
    // operating system is left behind, and nothing it posts is delivered.
    void stop();

private:
    std::shared_ptr<State> m_state;
};
