// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "mainwindow.h"

#include "actionpreview.h"
#include "browsetree.h"
#include "folderactions.h"
#include "listings.h"
#include "paramdialog.h"
#include "reach.h"
#include "rowselection.h"
#include "shownfolder.h"
#include "statusline.h"
#include "targetlook.h"
#include "treeitems.h"
#include "treesortfilterproxymodel.h"
#include "treeviews.h"
#include "ui_mainwindow.h"
#include "url.h"
#include "windowplace.h"

#include <QFile>
#include <QFileSystemModel>
#include <QLineEdit>
#include <QStandardItemModel>
#include <QTextDocument>

// The resources stand in a static library, which leaves them out unless they are named. The macro
// works in the global namespace only.
static void initResources()
{
    Q_INIT_RESOURCE(resources);
}

MainWindow::MainWindow(QWidget *parent) : QMainWindow(parent), ui(new Ui_MainWindow)
{
    ui->setupUi(this);
    setWindowTitle(QStringLiteral("Pellory"));
    applyStyleSheet();
    makeModels();
    makeListings();

    ui->combo_TargetDir->setEditable(true);
    fillTargetDirectories();
    // After the box's own connection, so that the box has taken the text when the slot runs.
    connect(ui->combo_TargetDir->lineEdit(), SIGNAL(returnPressed()), this, SLOT(addTarget()));

    connect(this, SIGNAL(updateStatus(QString)), this, SLOT(on_updateStatus(QString)),
            Qt::QueuedConnection);
    connect(this, SIGNAL(finished(QStandardItem *, bool)), this,
            SLOT(on_finished(QStandardItem *, bool)), Qt::QueuedConnection);

    loadSources();
    appendComputer();
    ui->combo_URL->setCurrentIndex(ui->combo_URL->count() - 1);

    makeActions();

    connect(ui->button_Exit, SIGNAL(clicked()), QCoreApplication::instance(), SLOT(quit()));
    ui->button_PartialFile->hide();
    // The strip is one line high: the usual margin would cut the letters, a scroll bar hide them.
    ui->textbox_Status->setLineWrapMode(QTextEdit::NoWrap);
    ui->textbox_Status->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    ui->textbox_Status->document()->setDocumentMargin(1);
    makeReachable(this, *ui);
    m_place = std::make_unique<WindowPlace>(this, QList<QTreeView *>{ui->treeView, ui->fileView});
}

MainWindow::~MainWindow()
{
    m_place.reset();
    delete m_folderActions;
    m_work.stop();
    delete m_preview;
    delete paramDialog;
    deletePartialRestores();
    showModel(ui->treeView, nullptr);
    showModel(ui->fileView, nullptr);
    delete fileProxy;
    delete folderProxy;
    qDeleteAll(sources);
    delete ui;
}

void MainWindow::applyStyleSheet()
{
    initResources();
    QFile file(QStringLiteral(":/resources/default.qss"));
    const QByteArray text = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    setStyleSheet(QString::fromLatin1(text.constData()));
}

void MainWindow::makeModels()
{
    treeModel = new QStandardItemModel(this);
    fileProxy = new TreeSortFilterProxyModel(fileKind);
    folderProxy = new TreeSortFilterProxyModel(folderKind);

    driveModel = new QFileSystemModel(this);
    driveModel->setReadOnly(true);
    driveModel->setFilter(QDir::Dirs | QDir::NoDotAndDotDot);
    showDrives({});

    // A double-click opens a folder; it must not start to edit the name.
    ui->treeView->setEditTriggers(QAbstractItemView::NoEditTriggers);
    ui->fileView->setEditTriggers(QAbstractItemView::NoEditTriggers);

    m_shownFolder = new ShownFolder(ui->treeView);
    // The actions take the highlighted row, whether a mouse, a key or a screen reader chose it.
    connect(new RowSelection(ui->fileView), &RowSelection::selected, this,
            &MainWindow::on_fileView_clicked);
}
