// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// "Connect" and the listings that it and the first click on a folder start.
#include "hqutil.h"
#include "mainwindow.h"
#include "treeviews.h"
#include "ui_mainwindow.h"
#include "url.h"

#include <QFileSystemModel>

void MainWindow::on_button_Connect_clicked()
{
    itemCount = 0;
    const int index = ui->combo_URL->currentIndex();
    if (index < 0 || index >= sources.size()) {
        ErrOut("ERROR: Out of bounds URL selection");
        return;
    }
    const QString text = ui->combo_URL->currentText();
    if (text.contains(QLatin1String("tamss://")))
        return;
    const QByteArray url = sources[index]->getUrl().toUtf8();
    showModel(ui->treeView, nullptr);
    showModel(ui->fileView, nullptr);
    rootItems.clear();
    if (hqOSIsNetworkSource(url.constData()) == 0) {
        setBrowsing(true, false);
        driveModel->setRootPath(text);
        showModel(ui->treeView, driveModel);
        ui->treeView->setRootIndex(driveModel->index(driveModel->rootPath()));
    }
}

void MainWindow::listFolder(QStandardItem *) {}
