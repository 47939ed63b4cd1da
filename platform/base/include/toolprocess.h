// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QProcess>

namespace hq {

// A program that can be ended together with everything that it has started.
class ToolProcess : public QProcess
{
public:
    ToolProcess();
    ~ToolProcess() override;

    // Asks the running program and what it has started to end, and kills what is there after
    // `milliseconds`. What a program that has ended by itself left behind is left alone.
    void endAll(int milliseconds);

#if !defined(Q_OS_WIN) && QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
protected:
    void setupChildProcess() override;
#endif

private:
    qintptr m_group = 0; // the process group's number, on Windows the job's handle
};

} // namespace hq
