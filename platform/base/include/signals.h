// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>

namespace hq {

// As long as it lives, what asks the process to end (SIGTERM, SIGINT, SIGHUP; on Windows Ctrl+C or
// the end of the console) calls `stop` on a thread of its own, once, so that work can end in order.
// A signal that was ignored before stays ignored; the second of a kind ends the process at once.
// One at a time.
class EndSignals
{
public:
    explicit EndSignals(std::function<void()> stop);
    ~EndSignals();
    EndSignals(const EndSignals &) = delete;
    EndSignals &operator=(const EndSignals &) = delete;

private:
    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace hq
