// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "actionpreview.h"

class QAction;
class QTreeView;

// The context menu of the right view: what can be done with the selected file or flow. A flow is
// taken as one of its own repository, whatever the window's boxes show.
class FileActions : public QObject
{
    Q_OBJECT
public:
    struct Callbacks
    {
        std::function<ActionState()> state;
        std::function<void(bool encrypt)> write;
        std::function<void()> localize;
    };

    FileActions(QTreeView *files, Callbacks callbacks);

    // Enables what can be done in this state.
    void update(const TargetAnswer &target);

private:
    void openTargetFolder() const;

    Callbacks m_callbacks;
    QList<QAction *> m_onFile; // need a selected file and a target
    QList<QAction *> m_copies; // need a selected file
    QAction *m_localize;
    QAction *m_openTarget;
};
