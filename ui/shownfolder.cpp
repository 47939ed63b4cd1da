// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "shownfolder.h"

#include <QApplication>
#include <QEvent>
#include <QMenu>
#include <QTimer>
#include <QTreeView>

ShownFolder::ShownFolder(QTreeView *folders) : QObject(folders), m_folders(folders)
{
    folders->viewport()->installEventFilter(this);
    folders->installEventFilter(this);
}

void ShownFolder::set(const QModelIndex &row)
{
    m_row = row.sibling(row.row(), 0);
    goTo(m_row);
}

bool ShownFolder::eventFilter(QObject *watched, QEvent *event)
{
    // Later: the release may be a click, and the menu has an event loop of its own.
    if (event->type() == QEvent::MouseButtonRelease || event->type() == QEvent::ContextMenu)
        QTimer::singleShot(0, this, &ShownFolder::comeBack);
    return QObject::eventFilter(watched, event);
}

void ShownFolder::comeBack()
{
    // The menu's row stays until what was chosen from it has run.
    if (auto *menu = qobject_cast<QMenu *>(QApplication::activePopupWidget()))
        connect(menu, &QMenu::aboutToHide, this,
                [this] { QTimer::singleShot(0, this, &ShownFolder::comeBack); });
    else
        goTo(m_row);
}

void ShownFolder::goTo(const QModelIndex &row)
{
    const QModelIndex current = m_folders->currentIndex();
    const bool isThere = row == current.sibling(current.row(), 0);
    if (row.isValid() && row.model() == m_folders->model() && !isThere)
        m_folders->setCurrentIndex(row);
}
