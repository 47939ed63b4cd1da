// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "browseactions.h"

#include "contextmenu.h"

#include <QAction>
#include <QTreeView>

BrowseActions::BrowseActions(QTreeView *folders, QTreeView *files, const Callbacks &callbacks)
    : QObject(folders), m_folders(folders), m_files(files)
{
    addMenuAction(folders, this, tr("List Again"), callbacks.listAgain, Qt::Key_F5);
    m_interrupt =
        addMenuAction(folders, this, tr("Stop Listing"), callbacks.interrupt, Qt::Key_Escape);
    addMenuAction(folders, this, tr("This Computer"), callbacks.showComputer,
                  QStringLiteral("Ctrl+Home"));
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
