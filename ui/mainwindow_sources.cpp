// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// The window's sources and target directories.
#include "adddialog.h"
#include "configdirectory.h"
#include "dialogplacement.h"
#include "hqutil.h"
#include "mainwindow.h"
#include "paramdialog.h"
#include "regioncache.h"
#include "s3entries.h"
#include "tamsdialog.h"
#include "tamsentries.h"
#include "targetdirectories.h"
#include "ui_mainwindow.h"
#include "url.h"
#include "warningbox.h"
#include "windowsettings.h"

#include <QFileSystemModel>
#include <algorithm>
#include <memory>

void MainWindow::loadSources()
{
    const QString directory = configDirectory();
    for (const hq::S3Entry &entry : readS3Entries(directory)) {
        auto *source =
            new URL(entry.key, entry.secret, entry.region, entry.bucket, entry.site, false);
        sources.append(source);
        if (entry.path != hq::s3EntryPath(directory, entry.bucket))
            m_entryPaths.insert(source, entry.path);
        ui->combo_URL->addItem(source->getDisplayName());
    }
    for (const QString &host : readTamsHosts(directory)) {
        sources.append(new URL({}, {}, {}, {}, host, true));
        ui->combo_URL->addItem(QStringLiteral("tamss://") + host);
    }
    ui->combo_URL->setMaxVisibleItems(12);
}

void MainWindow::appendComputer()
{
    ui->combo_URL->addItem(driveModel->myComputer().toString());
}

void MainWindow::onAddUrl(const QString &key, const QString &secret, const QString &region,
                          const QString &bucket, const QString &site)
{
    auto *source = new URL(key, secret, region, bucket, site, false);
    source->writeCsv();
    sources.append(source);
    const int position = ui->combo_URL->count() - 1;
    ui->combo_URL->insertItem(position, source->getDisplayName());
    ui->combo_URL->setCurrentIndex(position);
}

void MainWindow::onUpdateUrl(const QString &key, const QString &secret, const QString &region,
                             const QString &bucket, URL *target, int)
{
    // The list may have changed while the dialog was open, and box and list stay in step: the
    // record says where it stands now.
    const int position = sources.indexOf(target);
    if (position < 0)
        return;
    sources[position] = new URL(key, secret, region, bucket, target->getSite(), false);
    m_entryPaths.insert(sources[position], entryPath(target));
    m_entryPaths.remove(target);
    hq::tryRegionFirst(target->getSite().toStdString(), bucket.toStdString(), region.toStdString());
    ui->combo_URL->setCurrentIndex(position);
    ui->combo_URL->setItemText(position, sources[position]->getDisplayName());
    delete target;
}

QString MainWindow::entryPath(const URL *source) const
{
    return m_entryPaths.value(source, hq::s3EntryPath(configDirectory(), source->getBucket()));
}

void MainWindow::on_button_URL_Remove_clicked()
{
    const int current = ui->combo_URL->currentIndex();
    if (current < 0 || current >= sources.size())
        return;
    const QString directory = configDirectory();
    const QString text = ui->combo_URL->currentText();
    const QString scheme = QStringLiteral("://");
    const QString host = text.contains(scheme) ? text.section(scheme, 1) : text;
    deleteEntryFile(hq::tamsEntryPath(directory, host));

    const int position = ui->combo_URL->findText(text, Qt::MatchExactly | Qt::MatchCaseSensitive);
    if (position < 0 || position >= sources.size())
        return;
    ui->combo_URL->removeItem(position);
    const std::unique_ptr<URL> source(sources.takeAt(position));
    const QString path = entryPath(source.get());
    m_entryPaths.remove(source.get());
    const auto sharesFile = [&](const URL *other) {
        return !other->isTams && entryPath(other) == path;
    };
    if (!source->isTams && std::none_of(sources.cbegin(), sources.cend(), sharesFile))
        deleteEntryFile(path);
}

// Entry files are written without a site, so a source of another one comes back as the provider's,
// and "Connect" would send its key there.
void MainWindow::keepSite()
{
    const URL *source = sources.value(ui->combo_URL->currentIndex());
    if (!source || source->isTams)
        return;
    const QString path = entryPath(source);
    if (keepS3Site(path, source->getKey(), source->getSite()))
        openInformation(
            this, tr("Keep Site"),
            tr("The site %1 was added to the entry file <%2>.").arg(source->getSite(), path));
    else
        openWarning(this, tr("Keep Site"),
                    tr("The site %1 was not added to the entry file <%2>: it cannot be written, or "
                       "holds another key, or could not be read back with this site.")
                        .arg(source->getSite(), path));
}

void MainWindow::deleteEntryFile(const QString &path)
{
    const QByteArray encoded = path.toUtf8();
    if (path.isEmpty() || hqOSFileExists(encoded.constData()) == 0 ||
        hqOSDeleteFile(encoded.constData()) != 0)
        return;
    showWarning(this, QStringLiteral("Unable to delete file"),
                QStringLiteral("Unable to delete file <%1>").arg(path));
}

void MainWindow::onAddTams(const QString &tams, const QString &end, const QString &oauth,
                           const QString &id, const QString &secret)
{
    const QString host = tamsHost(tams);
    qint32 length = host.size();
    hqCFGValueString(-1, hq::tamsSection(host).toUtf8().constData(), hq::kTamsServerKey,
                     oauth.toUtf8().constData(), &length, 1);
    hqCFGSave(-1, 0, 0);

    const QString directory = configDirectory();
    const QString path = hq::tamsEntryPath(directory, host);
    if (!writeTamsEntry(path, {end, id, secret})) {
        const quint32 error = hqOSGetLastError();
        showWarning(this, QStringLiteral("Unable to create file"),
                    QStringLiteral("Unable to create file <%1>\nPlease check your permissions on\n"
                                   "%2\nError %3.")
                        .arg(path, directory, QString::number(error)));
    }

    qDeleteAll(sources);
    sources.clear();
    m_entryPaths.clear();
    ui->combo_URL->clear();
    loadSources();
    appendComputer();
}

void MainWindow::on_button_Params_clicked()
{
    const int index = ui->combo_URL->currentIndex();
    if (index < 0 || index >= sources.size() || sources[index]->isTams)
        return;
    paramDialog = new ParamDialog(this, index, sources[index]);
    connect(paramDialog, SIGNAL(updateUrl(QString, QString, QString, QString, URL *, int)), this,
            SLOT(onUpdateUrl(QString, QString, QString, QString, URL *, int)));
    showInFront(paramDialog);
}

void MainWindow::on_button_Add_clicked()
{
    if (!addDialog) {
        addDialog = new AddDialog(this);
        connect(addDialog, SIGNAL(addUrl(QString, QString, QString, QString, QString)), this,
                SLOT(onAddUrl(QString, QString, QString, QString, QString)));
    }
    showInFront(addDialog);
}

void MainWindow::on_button_tams_clicked()
{
    if (!tamsDialog) {
        tamsDialog = new TamsDialog(this);
        connect(tamsDialog, SIGNAL(addTams(QString, QString, QString, QString, QString)), this,
                SLOT(onAddTams(QString, QString, QString, QString, QString)));
    }
    showInFront(tamsDialog);
}

void MainWindow::fillTargetDirectories()
{
    ui->combo_TargetDir->addItems(loadTargetDirectories(WindowSettings()));
}

void MainWindow::addTarget()
{
    const QString text = ui->combo_TargetDir->currentText();
    if (ui->combo_TargetDir->findText(text) < 0)
        ui->combo_TargetDir->addItem(text);
    saveTargets();
}

void MainWindow::on_button_TargetDir_Remove_clicked()
{
    const int position = ui->combo_TargetDir->findText(ui->combo_TargetDir->currentText());
    if (position >= 0)
        ui->combo_TargetDir->removeItem(position);
    saveTargets();
}

void MainWindow::saveTargets()
{
    QStringList directories;
    for (int i = 0; i < ui->combo_TargetDir->count(); ++i)
        directories.append(ui->combo_TargetDir->itemText(i));
    WindowSettings settings;
    saveTargetDirectories(settings, directories);
}
