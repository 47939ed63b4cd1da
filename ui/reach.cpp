// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "reach.h"

#include "boxes.h"
#include "copyprogressdialog.h"
#include "displaytext.h"
#include "ui_mainwindow.h"
#include "viewkeys.h"

#include <QAction>
#include <QFileSystemModel>

namespace {

void addCancelKey(QMainWindow *window)
{
    auto *cancel = new QAction(QMainWindow::tr("Cancel Newest Copy"), window);
    cancel->setShortcut(QKeySequence(QStringLiteral("Shift+Esc")));
    QObject::connect(cancel, &QAction::triggered, window,
                     [window] { CopyProgressDialog::cancelNewest(window); });
    window->addAction(cancel);
}

void growNameColumn(QTreeView *view)
{
    const QAbstractItemView *items = view;
    if (items->sizeHintForColumn(0) > view->columnWidth(0))
        view->resizeColumnToContents(0);
}

// Fits the column when a folder is opened by a key, as a double-click does. What is in the
// computer's folders is known later only; for them the column grows and never shrinks.
void fitOpenedFolders(QTreeView *view)
{
    auto *drives = qobject_cast<QFileSystemModel *>(view->model());
    QObject::connect(view, &QTreeView::expanded, view, [view, drives] {
        if (view->model() == drives)
            growNameColumn(view);
        else
            view->resizeColumnToContents(0);
    });
    QObject::connect(drives, &QFileSystemModel::directoryLoaded, view,
                     [view, drives](const QString &path) {
                         if (view->model() == drives && view->isExpanded(drives->index(path)))
                             growNameColumn(view);
                     });
}

} // namespace

void makeReachable(QMainWindow *window, const Ui_MainWindow &ui)
{
    addCancelKey(window);
    completeInList(ui.combo_TargetDir);
    for (QComboBox *box : {ui.combo_URL, ui.combo_TargetDir}) {
        nameParts(box);
        new LongTextBox(box);
    }
    for (QTreeView *view : {ui.treeView, ui.fileView}) {
        new ViewKeys(view);
        new WholeNameTips(view);
    }
    fitOpenedFolders(ui.treeView);
}
