// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "browseactions.h"

#include <QAction>
#include <QTreeView>

namespace {

QAction *addAction(QTreeView *view, const QString &text, const QKeySequence &keys,
                   const std::function<void()> &call)
{
    auto *action = new QAction(text, view);
    action->setShortcut(keys);
    view->addAction(action);
    QObject::connect(action, &QAction::triggered, view, call);
    return action;
}

} // namespace

BrowseActions::BrowseActions(QTreeView *folders, QTreeView *files, const Callbacks &callbacks)
    : QObject(folders), m_folders(folders), m_files(files)
{
    addAction(folders, tr("List Again"), Qt::Key_F5, callbacks.listAgain);
    m_interrupt = addAction(folders, tr("Stop Listing"), Qt::Key_Escape, callbacks.interrupt);
    addAction(folders, tr("This Computer"), QStringLiteral("Ctrl+Home"), callbacks.showComputer);
    folders->setContextMenuPolicy(Qt::ActionsContextMenu);
    setBusy(false);
}

void BrowseActions::setBusy(bool isBusy)
{
    // While it is disabled, the key goes to whatever else uses it.
    m_interrupt->setEnabled(isBusy);
    for (QTreeView *view : {m_folders, m_files}) {
        if (isBusy)
            view->setCursor(Qt::BusyCursor);
        else
            view->unsetCursor();
    }
}
