// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QObject>
#include <functional>

class QAction;
class QTreeView;

// What can be done with what is browsed, beside the buttons: the actions of the left view's context
// menu, with shortcuts for the whole window, and the cursor that tells of a listing under way. A
// child of the left view.
class BrowseActions : public QObject
{
    Q_OBJECT
public:
    struct Callbacks
    {
        std::function<void()> listAgain;
        std::function<void()> interrupt;
        std::function<void()> showComputer;
    };
    BrowseActions(QTreeView *folders, QTreeView *files, const Callbacks &callbacks);

    void setBusy(bool isBusy);

private:
    QTreeView *m_folders;
    QTreeView *m_files;
    QAction *m_interrupt;
};
