// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QObject>

class QTextEdit;

// Leads from the status box to the error log: its tooltip is the last line logged, its context menu
// opens the log. A child of the box.
class LogAccess : public QObject
{
    Q_OBJECT
public:
    explicit LogAccess(QTextEdit *box);

    // Brings the tooltip up to date, which also happens before it is shown.
    void refresh();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void openLog();

    QTextEdit *m_box;
};
