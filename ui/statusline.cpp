// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "statusline.h"

#include <QTextEdit>

namespace {
constexpr int linesAtOnce = 50;
constexpr int paceMilliseconds = 25;
} // namespace

StatusLine::StatusLine(QTextEdit *box) : m_box(box)
{
    m_pace.setInterval(paceMilliseconds);
    QObject::connect(&m_pace, &QTimer::timeout, [this] { tick(); });
}

void StatusLine::show(const QString &line)
{
    m_isWaiting = false;
    m_box->setPlainText(line);
}

void StatusLine::showPaced(const QString &line)
{
    if (!m_pace.isActive()) {
        m_pace.start();
        m_shown = 0;
    }
    if (m_shown < linesAtOnce) {
        ++m_shown;
        show(line);
    } else {
        m_waiting = line;
        m_isWaiting = true;
    }
}

void StatusLine::tick()
{
    if (m_isWaiting)
        show(m_waiting);
    else
        m_pace.stop();
}
