// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "arrivalqueue.h"
#include "backgroundwork.h"

#include <QObject>
#include <QTimer>
#include <vector>

class BrowseTree;
class QStandardItem;

// Runs the listings of the connected source on the thread pool and brings what they report into
// the tree, a batch at a time, so that the event loop keeps turning. GUI thread.
//
// Each source has a queue of its own. Stopping gives up the queue, so what a stopped listing still
// sends has nobody to take it. Signals are emitted in the GUI thread, and the calls that they
// queue for `window` are delivered before the batch goes on: a line has passed before its item is
// there, and no report about an item is left waiting when a later slot removes the item.
class Listings : public QObject
{
    Q_OBJECT
public:
    Listings(BackgroundWork *work, BrowseTree *tree, QObject *window);

    // Runs `opened` in the GUI thread when `address` can be opened.
    void open(const QString &address, std::function<void()> opened);

    // Start to list. `folder` belongs to the tree.
    void listSource(const QString &address);
    void listFolder(QStandardItem *folder);
    void listTamsFlows(const QString &site);

    // Stops all of it, without waiting. Nothing is reported or changed afterwards.
    void stop();

signals:
    void status(QString line);
    void finished(QStandardItem *item, bool isRoot);
    void endpointRead(QString endpoint);
    void failed(QString title, QString text);

private:
    class Outlet;

    void start(std::function<void(const Outlet &)> listing);
    void plan(ArrivalQueue::Take when);
    void takeBatch();

    BackgroundWork *m_work;
    BrowseTree *m_tree;
    QObject *m_window;
    std::shared_ptr<ArrivalQueue> m_queue;
    std::vector<hq::StopToken> m_tokens;
    QTimer m_nextBatch;
};
