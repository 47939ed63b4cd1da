// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>
#include <QTimer>

class QTextEdit;

// Shows one line at a time in the status box. Setting its text costs as much as tens of tree items,
// so of many lines that follow close upon each other only some are shown, the latest at the end.
class StatusLine
{
public:
    explicit StatusLine(QTextEdit *box);

    // Now; with a count in front of the text.
    void show(const QString &text);
    void show(quint32 count, const QString &text);

    // Now for the first lines of a burst, then the latest one every few milliseconds.
    void showPaced(quint32 count, const QString &text);

private:
    void tick();

    QTextEdit *m_box;
    QTimer m_pace; // runs as long as the burst goes on
    int m_shown = 0;
    quint32 m_waitingCount = 0;
    QString m_waitingText;
    bool m_isWaiting = false;
};
