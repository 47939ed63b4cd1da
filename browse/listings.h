// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "backgroundwork.h"

#include <QObject>
#include <vector>

class BrowseTree;
class QStandardItem;
struct EntryBatch;
struct WalkEnd;

// Runs the listings of the connected source on the thread pool and brings what they report into the
// tree, a batch at a time, so that the event loop keeps turning. GUI thread. `work` and `tree`
// belong to the caller, who stops `work` before destroying this object, and this object before the
// tree.
//
// Signals are emitted in the GUI thread. The items that they name belong to the tree and live until
// the folder is listed again (`renewing`) or the tree is emptied. Slots may be connected as queued:
// a folder is replaced only when those that were queued for its listing have run. After stop() the
// receiver has to discard the calls that are still queued for it.
class Listings : public QObject
{
    Q_OBJECT
public:
    Listings(BackgroundWork *work, BrowseTree *tree);

    // Runs `opened` in the GUI thread when `address` can be opened. When it cannot, nothing is told
    // here, which is relied on; the utility library logs it.
    void open(const QString &address, std::function<void()> opened);

    // Start to list. `folder` belongs to the tree; one that is listed already is left alone.
    void listSource(const QString &address);
    void listFolder(QStandardItem *folder);
    void listTamsFlows(const QString &site);

    // Lists a folder of the tree once more and puts a fresh item in its place. Listings of it and
    // of folders below it are interrupted first; the item is replaced when they have ended.
    void listAgain(QStandardItem *folder);

    // Ends the calls that are under way. What has been listed stays, and the end of a listing is
    // reported as usual. A source that was still being opened stays closed.
    void interrupt();

    // Stops everything without waiting. Nothing is reported afterwards and the tree is not changed
    // any more.
    void stop();

signals:
    // A line for the status box. "Finished" comes before finished() for a source and after it for a
    // folder. Relied on.
    void status(QString line);
    // A listing has ended, completely or not: of a source (null, true) or of a folder (item,
    // false). A TAMS listing that fails or is interrupted sends none.
    void finished(QStandardItem *item, bool isRoot);
    // The path of a TAMS repository's API, with "/" at both ends.
    void endpointRead(QString endpoint);
    // A TAMS listing failed: title and text of a message box, without credentials.
    void failed(QString title, QString text);
    // The listing that has just finished() broke off: its folder, the number of entries that it
    // reported, and why. Both texts are without credentials.
    void brokeOff(QString folder, quint64 entries, QString reason);
    // Whether something is being opened or listed.
    void busyChanged(bool isBusy);
    // Before and after a folder's item is replaced: the old item, then the fresh one.
    void renewing(QStandardItem *folder);
    void renewed(QStandardItem *folder);

private:
    using Link = BackgroundWork::Link;
    // Runs on a pool thread. interrupt() stops `call`: the utility library's calls return, and the
    // listing goes on to report its end.
    using ListingWork = std::function<void(const Link &link, const hq::StopToken &call)>;
    struct Piece
    {
        quint64 number;
        const QStandardItem *folder; // null for the source
        hq::StopToken work;
        // Ends the utility library's calls; what they have reported still arrives.
        hq::StopToken call;
    };

    void start(const QStandardItem *folder, ListingWork listing);
    void list(const QString &address, QStandardItem *folder); // null for the source
    void end(quint64 number);
    WalkEnd walk(const QString &address, const Link &link);
    void append(EntryBatch batch);
    void reportFailure(const QString &address, const WalkEnd &walk);
    void listWaiting();
    bool isListedWithin(const QStandardItem *folder) const;

    BackgroundWork *m_work;
    BrowseTree *m_tree;
    std::vector<Piece> m_pieces; // that have not ended
    quint64 m_lastNumber = 0;
    std::vector<QStandardItem *> m_waiting; // to be listed again
};
