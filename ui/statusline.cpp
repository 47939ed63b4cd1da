// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "statusline.h"

#include <QTextEdit>

namespace {
constexpr int linesAtOnce = 50;
constexpr int paceMilliseconds = 50;
} // namespace

StatusLine::StatusLine(QTextEdit *box) : m_box(box)
{
    m_pace.setInterval(paceMilliseconds);
    QObject::connect(&m_pace, &QTimer::timeout, [this] { tick(); });
}

void StatusLine::show(const QString &text)
{
    m_isWaiting = false;
    m_box->setPlainText(text);
}

void StatusLine::show(quint32 count, const QString &text)
{
    show(QStringLiteral("Count: %1 | ").arg(count) + text);
}

void StatusLine::showPaced(quint32 count, const QString &text)
{
    if (m_shown < linesAtOnce) {
        if (m_shown++ == 0)
            m_pace.start();
        show(count, text);
    } else {
        m_waitingCount = count;
        m_waitingText = text;
        m_isWaiting = true;
    }
}

void StatusLine::tick()
{
    if (m_isWaiting) {
        show(m_waitingCount, m_waitingText);
    } else {
        m_pace.stop();
        m_shown = 0;
    }
}
