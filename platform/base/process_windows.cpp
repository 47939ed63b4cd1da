// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "process.h"
#include "toolprocess.h"
#include "winapi.h"

namespace hq {

void makeProcessDpiAware()
{
    ::SetProcessDPIAware();
}

ToolProcess::ToolProcess()
{
    connect(this, &QProcess::started, [this] {
        const HANDLE job = ::CreateJobObjectW(nullptr, nullptr);
        const HANDLE process = ::OpenProcess(PROCESS_SET_QUOTA | PROCESS_TERMINATE, FALSE,
                                             static_cast<DWORD>(processId()));
        if (job && process && ::AssignProcessToJobObject(job, process))
            m_group = reinterpret_cast<qintptr>(job);
        else if (job)
            ::CloseHandle(job);
        if (process)
            ::CloseHandle(process);
    });
}

ToolProcess::~ToolProcess()
{
    if (m_group != 0)
        ::CloseHandle(reinterpret_cast<HANDLE>(m_group));
}

void ToolProcess::endAll(int milliseconds)
{
    if (state() == NotRunning)
        return;
    terminate();
    waitForFinished(milliseconds);
    if (m_group != 0)
        ::TerminateJobObject(reinterpret_cast<HANDLE>(m_group), 1);
    else
        kill();
    waitForFinished();
}

} // namespace hq
