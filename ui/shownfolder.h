// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QObject>
#include <QPersistentModelIndex>

class QTreeView;

// Keeps the current row of the folders' view on the folder whose files are shown: it moves when the
// files of another folder are shown, and returns after a drag or a context menu has moved it to
// another row. Keys move it freely.
class ShownFolder : public QObject
{
    Q_OBJECT
public:
    explicit ShownFolder(QTreeView *folders);

    // The files of this row's folder are shown, or will be when they are listed.
    void set(const QModelIndex &row);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void comeBack();
    void goTo(const QModelIndex &row);

    QTreeView *m_folders;
    QPersistentModelIndex m_row;
};
