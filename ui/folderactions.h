// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "backgroundwork.h"
#include "folderstreams.h"

#include <QList>
#include <QObject>
#include <optional>

class QAction;
class QModelIndex;
class QTreeView;

// The context menu's actions on a whole folder of the left view. One folder at a time; a small
// window tells how far it is and stops it, a box tells what has come of it.
class FolderActions : public QObject
{
    Q_OBJECT
public:
    // Returns the job for the folder of a row, none for a row that is no folder.
    using FolderJobCallback = std::function<std::optional<FolderJob>(const QModelIndex &row)>;

    FolderActions(QTreeView *folders, BackgroundWork *work, FolderJobCallback folderJob);
    // Stops what is running; nothing is shown afterwards.
    ~FolderActions() override;

signals:
    void ended();

private:
    void start(bool encrypt);
    void showProgress(const QString &folder, const std::shared_ptr<FolderProgress> &progress);
    void end(const FolderJob &job, const FolderReport &report);

    QTreeView *m_folders;
    BackgroundWork *m_work;
    FolderJobCallback m_folderJob;
    QList<QAction *> m_actions;
    // Of its own: the token of the work would also discard the report of the job that it stops.
    hq::StopToken m_cancel;
    QObject *m_progress = nullptr;
};
