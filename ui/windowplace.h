// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QList>
#include <QObject>
#include <QRect>

class QTreeView;
class QWidget;

// Keeps a window's size and place and the widths of its views' columns in the settings store from
// one run to the next. Reads them when the window is shown for the first time. Writes them when
// this object is destroyed, which has to be before the window is. A window that is never shown is
// neither read for nor written. One that was resized before it is shown keeps that size.
class WindowPlace : public QObject
{
public:
    // The views have names.
    WindowPlace(QWidget *window, QList<QTreeView *> views);
    ~WindowPlace() override;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void restore();
    void store() const;

    QWidget *m_window;
    const QList<QTreeView *> m_views;
    const QSize m_firstSize;
    QRect m_shownAt; // invalid until it is shown
};
