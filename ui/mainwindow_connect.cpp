// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// "Connect" and the listings that it and the first click on a folder start.
#include "actionpreview.h"
#include "browsetree.h"
#include "hqutil.h"
#include "listings.h"
#include "mainwindow.h"
#include "statusline.h"
#include "treeviews.h"
#include "ui_mainwindow.h"
#include "url.h"
#include "warningbox.h"

#include <QApplication>
#include <QFileSystemModel>
#include <QStyle>

void MainWindow::makeListings()
{
    const QStyle *style = QApplication::style();
    const ItemIcons icons{style->standardIcon(QStyle::SP_DirIcon),
                          style->standardIcon(QStyle::SP_FileIcon)};
    m_tree = std::make_unique<BrowseTree>(treeModel, &rootItems, icons);
    m_listings = std::make_unique<Listings>(&m_work, m_tree.get(), this);
    m_statusLine = std::make_unique<StatusLine>(ui->textbox_Status);
    const Listings *listings = m_listings.get();
    connect(listings, SIGNAL(status(QString)), this, SIGNAL(updateStatus(QString)));
    connect(listings, SIGNAL(finished(QStandardItem *, bool)), this,
            SIGNAL(finished(QStandardItem *, bool)));
    connect(listings, &Listings::endpointRead, this, [this](const QString &endpoint) {
        tamsEndpoint = endpoint;
        m_preview->refresh();
    });
    connect(listings, &Listings::failed, this, &MainWindow::showListingFailure);
}

void MainWindow::on_button_Connect_clicked()
{
    itemCount = 0;
    const int index = ui->combo_URL->currentIndex();
    if (index < 0 || index >= sources.size()) {
        ErrOut("ERROR: Out of bounds URL selection");
        return;
    }
    const QString text = ui->combo_URL->currentText();
    if (text.contains(QLatin1String("tamss://"))) {
        connectTams(text);
        return;
    }
    const QString url = sources[index]->getUrl();
    leaveSource();
    if (hqOSIsNetworkSource(url.toUtf8().constData()) == 0) {
        setBrowsing(true, false);
        driveModel->setRootPath(text);
        showModel(ui->treeView, driveModel);
        ui->treeView->setRootIndex(driveModel->index(driveModel->rootPath()));
        return;
    }
    emit updateStatus(QStringLiteral("Connecting"));
    // On the pool: a server that does not answer must not hold up the window.
    m_listings->open(url, [this, url] { showSource(url); });
}

void MainWindow::leaveSource()
{
    m_listings->stop();
    showModel(ui->treeView, nullptr);
    showModel(ui->fileView, nullptr);
    m_tree->forget();
}

void MainWindow::showSource(const QString &url)
{
    setBrowsing(false, false);
    m_tree->startS3(url);
    listSource(url);
}

void MainWindow::connectTams(const QString &text)
{
    leaveSource();
    const QString site = text.split(QStringLiteral("//")).at(1);
    setBrowsing(false, true);
    m_tree->startTams(text, site);
    listTamsFlows(site);
}

void MainWindow::listSource(const QString &address)
{
    m_listings->listSource(address);
}

void MainWindow::listFolder(QStandardItem *item)
{
    m_listings->listFolder(item);
}

void MainWindow::listTamsFlows(const QString &site)
{
    m_listings->listTamsFlows(site);
}

void MainWindow::showListingFailure(const QString &title, const QString &text)
{
    openWarning(this, title, text);
}
