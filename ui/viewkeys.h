// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QElapsedTimer>
#include <QObject>

class QAbstractItemView;
class QKeyEvent;

// Makes Return, Enter and Space a click on the view's current row. The view's own `activated` would
// come twice where a single click activates. A child of the view.
class ViewKeys : public QObject
{
public:
    explicit ViewKeys(QAbstractItemView *view);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    bool isClick(const QKeyEvent *key);

    QAbstractItemView *m_view;
    QElapsedTimer m_sinceTypeAhead; // invalid as long as no name was typed
};
