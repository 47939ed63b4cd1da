// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "signals.h"

#include "posix.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <optional>
#include <thread>
#include <unistd.h>
#include <utility>

namespace hq {

namespace {

constexpr std::array kSignals{SIGTERM, SIGINT, SIGHUP};

// The pipe's end that the handler writes to.
std::atomic<int> g_handlerEnd{-1};
static_assert(std::atomic<int>::is_always_lock_free, "a signal handler uses it");

void tell(int pipeEnd, char what)
{
    const int error = errno;
    [[maybe_unused]] const ssize_t written = ::write(pipeEnd, &what, 1);
    errno = error;
}

extern "C" void handleSignal(int)
{
    tell(g_handlerEnd, 's');
}

} // namespace

struct EndSignals::State
{
    std::array<std::optional<struct sigaction>, kSignals.size()> before; // of those that are caught
    int pipe[2] = {-1, -1};
    std::thread reader;
};

EndSignals::EndSignals(std::function<void()> stop) : m_state(std::make_unique<State>())
{
    State &state = *m_state;
    if (::pipe(state.pipe) != 0)
        return; // the signals end the process as they always did
    for (const int end : state.pipe)
        ::fcntl(end, F_SETFD, FD_CLOEXEC);
    state.reader = std::thread([from = state.pipe[0], stop = std::move(stop)] {
        char what = 0;
        bool isStopped = false;
        while (system::uninterrupted([&] { return ::read(from, &what, 1); }) == 1 && what == 's') {
            if (!std::exchange(isStopped, true))
                stop();
        }
    });
    g_handlerEnd = state.pipe[1];
    struct sigaction action
    {
    };
    action.sa_handler = handleSignal;
    action.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
    ::sigemptyset(&action.sa_mask);
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
        struct sigaction before;
        if (::sigaction(kSignals[i], nullptr, &before) == 0 && before.sa_handler != SIG_IGN &&
            ::sigaction(kSignals[i], &action, nullptr) == 0)
            state.before[i] = before;
    }
}

EndSignals::~EndSignals()
{
    State &state = *m_state;
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
        if (state.before[i])
            ::sigaction(kSignals[i], &*state.before[i], nullptr);
    }
    if (!state.reader.joinable())
        return;
    // The pipe stays open: a handler may still be at work on another thread.
    tell(state.pipe[1], 'e');
    state.reader.join();
}

} // namespace hq
