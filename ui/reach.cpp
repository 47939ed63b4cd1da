// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "reach.h"

#include "boxes.h"
#include "copyprogressdialog.h"
#include "ui_mainwindow.h"
#include "viewkeys.h"

#include <QAction>

namespace {

void addCancelKey(QMainWindow *window)
{
    auto *cancel = new QAction(QMainWindow::tr("Cancel Newest Copy"), window);
    cancel->setShortcut(QKeySequence(QStringLiteral("Shift+Esc")));
    QObject::connect(cancel, &QAction::triggered, window,
                     [window] { CopyProgressDialog::cancelNewest(window); });
    window->addAction(cancel);
}

} // namespace

void makeReachable(QMainWindow *window, const Ui_MainWindow &ui)
{
    addCancelKey(window);
    completeInList(ui.combo_TargetDir);
    for (QComboBox *box : {ui.combo_URL, ui.combo_TargetDir})
        nameParts(box);
    for (QTreeView *view : {ui.treeView, ui.fileView})
        new ViewKeys(view);
}
