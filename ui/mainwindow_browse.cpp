// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// The window's two views and its status line.
#include "mainwindow.h"

#include "actionpreview.h"
#include "rowselection.h"
#include "shownfolder.h"
#include "statusline.h"
#include "treeitems.h"
#include "treesortfilterproxymodel.h"
#include "treeviews.h"
#include "ui_mainwindow.h"

#include <QFileSystemModel>
#include <QStandardItemModel>

void MainWindow::setBrowsing(bool local, bool tams)
{
    localBrowsing = local;
    tamsBrowsing = tams;
    // For a remote source the double-click slot expands; the view would collapse it again.
    ui->treeView->setExpandsOnDoubleClick(local);
}

// An empty `root` is the computer. Its own text names it too, but on Windows only to index():
// setRootPath() takes it for a folder that is missing and stays where the program was started.
void MainWindow::showDrives(const QString &root)
{
    driveModel->setRootPath(root);
    showModel(ui->treeView, driveModel);
    ui->treeView->setRootIndex(driveModel->index(driveModel->rootPath()));
}

void MainWindow::on_treeView_clicked(QModelIndex index)
{
    if (!index.isValid())
        return;
    m_shownFolder->set(index);
    if (localBrowsing) {
        showLocalFolder(index);
        return;
    }
    QStandardItem *item = itemOf(folderProxy, index);
    if (!item)
        return;
    const NodeData node = nodeData(item);
    if (!node.isFile && !node.listed) {
        listFolder(item);
        // The files of the folder before would be taken for those of this one.
        showModel(ui->fileView, nullptr);
    } else {
        showFolderFiles(item);
    }
}

void MainWindow::showLocalFolder(const QModelIndex &folder)
{
    if (folder.model() != driveModel)
        return;
    QFileSystemModel *previous = localFileModel;
    localFileModel = new QFileSystemModel(this);
    localFileModel->setReadOnly(true);
    localFileModel->setFilter(QDir::Files);
    const QString path = driveModel->filePath(folder);
    // For a folder that has gone since it was listed the model would show the working directory.
    if (QDir(path).exists()) {
        localFileModel->setRootPath(path);
        showModel(ui->fileView, localFileModel);
        ui->fileView->setRootIndex(localFileModel->index(localFileModel->rootPath()));
    } else {
        showModel(ui->fileView, nullptr);
    }
    delete previous;
}

void MainWindow::showFolderFiles(const QStandardItem *folder)
{
    fileProxy->showFolder(folder);
    const QModelIndex root = fileProxy->mapFromSource(folder->index());
    showModel(ui->fileView, root.isValid() ? fileProxy : nullptr);
    ui->fileView->setRootIndex(root);
    // A listing that ends switches the files, whatever was clicked since it began.
    m_shownFolder->set(folderProxy->mapFromSource(folder->index()));
}

QStandardItem *MainWindow::itemOf(const TreeSortFilterProxyModel *proxy,
                                  const QModelIndex &index) const
{
    if (index.model() != proxy || proxy->sourceModel() != treeModel)
        return nullptr;
    return treeModel->itemFromIndex(proxy->mapToSource(index.sibling(index.row(), 0)));
}

void MainWindow::on_fileView_clicked(QModelIndex index)
{
    const QModelIndex name = index.sibling(index.row(), 0);
    if (!name.isValid() || !RowSelection::of(ui->fileView)->isNews(name))
        return;
    if (selectRow(name))
        m_preview->refresh();
}

// Whether the row is one that can be acted on.
bool MainWindow::selectRow(const QModelIndex &name)
{
    if (localBrowsing) {
        if (name.model() != localFileModel)
            return false;
        selectedName = localFileModel->fileName(name);
        selectedPath = localFileModel->filePath(name);
        m_selection = {Selection::Kind::File, {}, {}};
        return true;
    }
    const QStandardItem *item = itemOf(fileProxy, name);
    if (!item || (tamsBrowsing && !item->parent()))
        return false;
    if (tamsBrowsing) {
        const TamsNodeData flow = tamsNodeData(item);
        selectedName = flow.id;
        selectedPath = flow.label;
        m_selection = {Selection::Kind::Flow, item->parent()->text(), tamsEndpoint};
    } else {
        selectedName = item->text();
        selectedPath = nodeData(item).path;
        m_selection = {Selection::Kind::File, {}, {}};
    }
    return true;
}

void MainWindow::on_treeView_doubleClicked(QModelIndex index)
{
    if (localBrowsing || !index.isValid())
        return;
    index = index.sibling(index.row(), 0); // where the view keeps what is expanded
    if (ui->treeView->isExpanded(index)) {
        ui->treeView->collapse(index);
    } else {
        ui->treeView->expand(index);
        ui->treeView->resizeColumnToContents(0);
    }
}

void MainWindow::on_updateStatus(const QString &status)
{
    if (status == QLatin1String("Connecting")) {
        m_statusLine->show(status);
    } else if (status == QLatin1String("Finished")) {
        m_statusLine->show(itemCount, status);
    } else {
        m_statusLine->showPaced(++itemCount, status);
    }
}

void MainWindow::on_finished(QStandardItem *item, bool isRoot)
{
    if (isRoot) {
        folderProxy->setSourceModel(treeModel);
        showModel(ui->treeView, folderProxy);
    } else if (item) {
        showFolderFiles(item);
    }
}
