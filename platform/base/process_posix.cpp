// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "process.h"
#include "toolprocess.h"

#include <QThread>

#include <csignal>
#include <unistd.h>

namespace hq {

void makeProcessDpiAware() {}

ToolProcess::ToolProcess()
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    setChildProcessModifier([] { ::setpgid(0, 0); });
#endif
    connect(this, &QProcess::started, [this] { m_group = static_cast<qintptr>(processId()); });
}

ToolProcess::~ToolProcess() = default;

#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
void ToolProcess::setupChildProcess()
{
    ::setpgid(0, 0);
}
#endif

void ToolProcess::endAll(int milliseconds)
{
    if (state() == NotRunning || m_group == 0)
        return;
    const auto group = static_cast<pid_t>(m_group);
    constexpr int kStep = 20;
    ::kill(-group, SIGTERM);
    // The group is there as long as one of them is.
    for (; milliseconds > 0 && ::kill(-group, 0) == 0; milliseconds -= kStep) {
        if (!waitForFinished(kStep) && state() == NotRunning)
            QThread::msleep(kStep);
    }
    ::kill(-group, SIGKILL);
    waitForFinished();
}

} // namespace hq
