// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "signals.h"
#include "winapi.h"

#include <mutex>
#include <utility>

namespace hq {

struct EndSignals::State
{
};

namespace {

std::mutex g_mutex;
std::function<bool()> g_call; // false: it was called before

// The system gives each call a thread.
BOOL WINAPI handleEvent(DWORD event)
{
    {
        const std::lock_guard<std::mutex> lock(g_mutex);
        if (!g_call || !g_call())
            return FALSE;
    }
    // These end the process when the call returns; the work gets the time to end before.
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT)
        ::Sleep(4000);
    return TRUE;
}

} // namespace

EndSignals::EndSignals(std::function<void()> stop)
{
    const std::lock_guard<std::mutex> lock(g_mutex);
    g_call = [stop = std::move(stop), isStopped = false]() mutable {
        if (std::exchange(isStopped, true))
            return false;
        stop();
        return true;
    };
    ::SetConsoleCtrlHandler(handleEvent, TRUE);
}

EndSignals::~EndSignals()
{
    ::SetConsoleCtrlHandler(handleEvent, FALSE);
    const std::lock_guard<std::mutex> lock(g_mutex);
    g_call = nullptr;
}

} // namespace hq
