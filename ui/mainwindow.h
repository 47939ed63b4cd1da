// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "backgroundwork.h"

#include <QHash>
#include <QList>
#include <QMainWindow>
#include <QModelIndex>
#include <functional>
#include <memory>
#include <optional>

class ActionPreview;
class AddDialog;
class BrowseActions;
class BrowseTree;
class FolderActions;
class ListingWarnings;
class Listings;
class LogAccess;
class ParamDialog;
class PartialRestoreDialog;
class QFileSystemModel;
class QStandardItem;
class QStandardItemModel;
class ShownFolder;
class StatusLine;
class TamsDialog;
class TreeSortFilterProxyModel;
class TargetLook;
class URL;
class WindowPlace;
class Ui_MainWindow;
struct ActionState;
struct FolderJob;

// The program's one window. Its slots read widgets, call and show; GUI thread only. Relied on: the
// names of signals, slots and members without "m_", and their order, which for signals and slots
// gives the meta-object indices.
class MainWindow : public QMainWindow
{
    Q_OBJECT
public:
    explicit MainWindow(QWidget *parent = nullptr);
    ~MainWindow() override;

signals:
    void updateStatus(QString status);
    void finished(QStandardItem *item, bool isRoot);

private slots:
    void on_button_Params_clicked();
    void on_button_MakeStream_clicked();
    void on_button_LocalizeFile_clicked();
    void on_button_EncryptStream_clicked();
    void on_button_PartialFile_clicked();
    void on_button_Connect_clicked();
    void on_button_URL_Remove_clicked();
    void onAddUrl(const QString &key, const QString &secret, const QString &region,
                  const QString &bucket, const QString &site);
    void onUpdateUrl(const QString &key, const QString &secret, const QString &region,
                     const QString &bucket, URL *URL, int index);
    void on_treeView_clicked(QModelIndex index);
    void addTarget();
    void on_fileView_clicked(QModelIndex index);
    void on_button_TargetDir_Remove_clicked();
    void on_treeView_doubleClicked(QModelIndex index);
    void on_updateStatus(const QString &status);
    void on_finished(QStandardItem *item, bool isRoot);
    void on_button_Add_clicked();
    void on_button_tams_clicked();
    void onAddTams(const QString &tams, const QString &end, const QString &oauth, const QString &id,
                   const QString &secret);

private:
    friend class MainWindowProbe; // tests

    // Construction
    void applyStyleSheet();
    void makeModels();
    void fillTargetDirectories();

    // Sources: item i of the "URL:" box shows sources[i], the computer's entry comes last.
    void loadSources();
    void appendComputer();
    QString entryPath(const URL *source) const;
    void keepSite();
    void deleteEntryFile(const QString &path);
    void saveTargets();

    // Connecting and listing
    void makeListings();
    void leaveSource();
    void connectS3(const QString &url);
    void listAgain();
    void showComputer();
    void connectTams(const QString &text);
    void listSource(const QString &address);
    void listFolder(QStandardItem *item);
    void listTamsFlows(const QString &site);

    // Browsing
    void setBrowsing(bool local, bool tams);
    void showDrives(const QString &root);
    void showLocalFolder(const QModelIndex &folder);
    void showFolderFiles(const QStandardItem *folder);
    bool selectRow(const QModelIndex &name);
    QStandardItem *itemOf(const TreeSortFilterProxyModel *proxy, const QModelIndex &index) const;

    // Actions. A flow is taken as one of the repository that the box shows, or of its own.
    enum class FlowOf { Box, Itself };
    void makeActions();
    bool isFlowSelected() const;
    QString flowAddress(FlowOf repository) const;
    QString flowRefusal() const;
    ActionState actionState(FlowOf repository = FlowOf::Box) const;
    void writeSelected(bool encrypt, FlowOf repository = FlowOf::Box);
    std::optional<FolderJob> folderJob(const QModelIndex &folder) const;
    void deletePartialRestores();

    Ui_MainWindow *ui;
    QList<URL *> sources;
    QList<QStandardItem *> rootItems;
    ParamDialog *paramDialog = nullptr;
    AddDialog *addDialog = nullptr;
    TamsDialog *tamsDialog = nullptr;
    PartialRestoreDialog *partialRestoreDialog = nullptr;
    QStandardItemModel *treeModel = nullptr;
    TreeSortFilterProxyModel *folderProxy = nullptr;
    TreeSortFilterProxyModel *fileProxy = nullptr;
    QFileSystemModel *driveModel = nullptr;
    QFileSystemModel *localFileModel = nullptr;
    QString selectedName;
    QString selectedPath;
    quint32 itemCount = 0;
    bool localBrowsing = true;
    bool tamsBrowsing = false;
    QString tamsEndpoint;
    // Paths of the entry files that s3EntryPath() does not give: the record was edited, or the file
    // was put there by hand as "X.CSV".
    QHash<const URL *, QString> m_entryPaths;
    // What was clicked last, beside selectedName and selectedPath.
    struct Selection
    {
        enum class Kind { None, File, Flow } kind = Kind::None;
        QString repository; // of a flow, as both were then
        QString endpoint;
    } m_selection;
    BackgroundWork m_work;
    std::unique_ptr<BrowseTree> m_tree;
    std::unique_ptr<Listings> m_listings;
    std::unique_ptr<StatusLine> m_statusLine;
    BrowseActions *m_browseActions = nullptr;
    ListingWarnings *m_listingWarnings = nullptr;
    LogAccess *m_logAccess = nullptr;
    std::function<void()> m_connectAgain; // to the source connected to last; empty without one
    std::unique_ptr<WindowPlace> m_place;
    std::unique_ptr<TargetLook> m_targetLook;
    ActionPreview *m_preview = nullptr;
    FolderActions *m_folderActions = nullptr;
    ShownFolder *m_shownFolder = nullptr;
};
