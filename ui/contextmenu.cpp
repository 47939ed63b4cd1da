// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "contextmenu.h"

#include <QAction>
#include <QWidget>

QAction *addMenuAction(QWidget *widget, QObject *owner, const QString &text,
                       const std::function<void()> &run, const QKeySequence &keys)
{
    auto *action = new QAction(text, owner);
    action->setShortcut(keys);
    QObject::connect(action, &QAction::triggered, owner, run);
    widget->addAction(action);
    widget->setContextMenuPolicy(Qt::ActionsContextMenu);
    return action;
}
