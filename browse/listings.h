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

// Runs the listings of the connected source on the thread pool and brings what they report into
// the tree, a batch at a time, so that the event loop keeps turning. GUI thread.
//
// Signals are emitted in the GUI thread. Slots that are queued for them run before a folder that
// they are told of is exchanged; what is still queued when the listings are stopped is for the
// receiver to drop.
class Listings : public QObject
{
    Q_OBJECT
public:
    Listings(BackgroundWork *work, BrowseTree *tree);

    // Runs `opened` in the GUI thread when `address` can be opened.
    void open(const QString &address, std::function<void()> opened);

    // Start to list. `folder` belongs to the tree.
    void listSource(const QString &address);
    void listFolder(QStandardItem *folder);
    void listTamsFlows(const QString &site);

    // Lists a folder of the tree once more, by a fresh item in its row. A listing of it or of what
    // is below is interrupted and comes to its end before.
    void listAgain(QStandardItem *folder);

    // Makes the calls that are under way return. What is listed by then stays, and its end is
    // reported as always; what is not open by then stays closed.
    void interrupt();

    // Stops all of it, without waiting. Nothing is reported or changed afterwards.
    void stop();

signals:
    void status(QString line);
    void finished(QStandardItem *item, bool isRoot);
    void endpointRead(QString endpoint);
    void failed(QString title, QString text);
    // Behind the end of a listing that broke off: its folder without credentials, what it had
    // reported, and why.
    void brokeOff(QString folder, quint64 entries, QString reason);
    // Whether something is being opened or listed.
    void busyChanged(bool isBusy);
    // Before and after the exchange of a folder's item.
    void renewing(QStandardItem *folder);
    void renewed(QStandardItem *folder);

private:
    using Link = BackgroundWork::Link;
    // `call` is stopped when the person wants no more of it; it goes on to its end then.
    using Listing = std::function<void(const Link &link, const hq::StopToken &call)>;
    struct Piece
    {
        quint64 number;
        const QStandardItem *folder; // null for the source
        hq::StopToken work;
        hq::StopToken call; // of the utility library alone: what it has reported still arrives
    };

    void start(const QStandardItem *folder, Listing listing);
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
