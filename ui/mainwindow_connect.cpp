// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// "Connect" and the listings that it and the first click on a folder start.
#include "actionpreview.h"
#include "browseactions.h"
#include "browsetree.h"
#include "hqutil.h"
#include "listings.h"
#include "listingwarnings.h"
#include "logaccess.h"
#include "mainwindow.h"
#include "shownfolder.h"
#include "statusline.h"
#include "treesortfilterproxymodel.h"
#include "treeviews.h"
#include "ui_mainwindow.h"
#include "url.h"
#include "warningbox.h"

#include <QApplication>
#include <QFileSystemModel>
#include <QStandardItem>
#include <QStyle>

void MainWindow::makeListings()
{
    const QStyle *style = QApplication::style();
    const ItemIcons icons{style->standardIcon(QStyle::SP_DirIcon),
                          style->standardIcon(QStyle::SP_FileIcon)};
    m_tree = std::make_unique<BrowseTree>(treeModel, &rootItems, icons);
    fileProxy->setFileCount([this](const QStandardItem *item) { return m_tree->fileCount(item); });
    m_listings = std::make_unique<Listings>(&m_work, m_tree.get());
    m_statusLine = std::make_unique<StatusLine>(ui->textbox_Status);
    const Listings *listings = m_listings.get();
    connect(listings, SIGNAL(status(QString)), this, SIGNAL(updateStatus(QString)));
    connect(listings, SIGNAL(finished(QStandardItem *, bool)), this,
            SIGNAL(finished(QStandardItem *, bool)));
    connect(listings, &Listings::endpointRead, this, [this](const QString &endpoint) {
        tamsEndpoint = endpoint;
        m_preview->refresh();
    });
    connect(listings, &Listings::failed, this,
            [this](const QString &title, const QString &text) { openWarning(this, title, text); });
    m_listingWarnings = new ListingWarnings(this);
    connect(listings, &Listings::brokeOff, this,
            [this](const QString &folder, quint64 entries, const QString &reason) {
                m_listingWarnings->add(folder, entries, reason);
            });
    m_browseActions = new BrowseActions(
        ui->treeView, ui->fileView,
        {[this] { listAgain(); }, [this] { m_listings->interrupt(); }, [this] { showComputer(); }});
    m_logAccess = new LogAccess(ui->textbox_Status);
    connect(listings, &Listings::busyChanged, this, [this](bool isBusy) {
        m_browseActions->setBusy(isBusy);
        m_logAccess->refresh();
    });
    // The right view may show rows below the item that is replaced.
    connect(listings, &Listings::renewing, this, [this] { showModel(ui->fileView, nullptr); });
    connect(listings, &Listings::renewed, this, [this](const QStandardItem *folder) {
        m_shownFolder->set(folderProxy->mapFromSource(folder->index()));
    });
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
    if (text.contains(QLatin1String("tamss://")))
        m_connectAgain = [this, text] { connectTams(text); };
    else
        m_connectAgain = [this, url = sources[index]->getUrl()] { connectS3(url); };
    m_connectAgain();
}

void MainWindow::connectS3(const QString &url)
{
    leaveSource();
    if (hqOSIsNetworkSource(url.toUtf8().constData()) == 0) {
        setBrowsing(true, false);
        showDrives(ui->combo_URL->currentText());
        return;
    }
    emit updateStatus(QStringLiteral("Connecting"));
    // On the pool: a server that does not answer must not hold up the window.
    m_listings->open(url, [this, url] {
        setBrowsing(false, false);
        m_tree->startS3(url);
        listSource(url);
    });
}

void MainWindow::leaveSource()
{
    m_listings->stop();
    // Their reports may still be queued for this window's slots.
    QCoreApplication::removePostedEvents(this, QEvent::MetaCall);
    m_listingWarnings->clear();
    showModel(ui->treeView, nullptr);
    showModel(ui->fileView, nullptr);
    m_tree->forget();
}

void MainWindow::listAgain()
{
    const QModelIndex current = ui->treeView->currentIndex();
    if (current.model() == driveModel) {
        on_treeView_clicked(current);
        return;
    }
    QStandardItem *item = itemOf(folderProxy, current);
    if (item && item->parent()) {
        m_listings->listAgain(item);
    } else if (m_connectAgain) {
        itemCount = 0;
        m_connectAgain();
    }
}

void MainWindow::showComputer()
{
    m_connectAgain = nullptr;
    leaveSource();
    itemCount = 0;
    m_statusLine->show({});
    setBrowsing(true, false);
    showDrives({});
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
