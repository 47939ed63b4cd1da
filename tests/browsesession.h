// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// A window that browses, what it reports, and the error log.
#pragma once

#include "treeitems.h"
#include "treesortfilterproxymodel.h"
#include "windowprobe.h"

#include <QAbstractItemModelTester>

class BrowseSession
{
public:
    BrowseSession()
    {
        QObject::connect(&probe.window, &MainWindow::updateStatus, &probe.window,
                         [this](const QString &line) { events.append(line); });
        QObject::connect(&probe.window, &MainWindow::finished, &probe.window,
                         [this](QStandardItem *item, bool isRoot) {
                             events.append(item ? "end of " + item->text() : QString("end"));
                             endsOfSources += isRoot;
                         });
        for (QAbstractItemModel *model : std::initializer_list<QAbstractItemModel *>{
                 probe.treeModel, probe.folderProxy, probe.fileProxy})
            new QAbstractItemModelTester(model, &probe.window);
    }

    void addS3(const QString &key, const QString &secret, int port, const QString &bucket)
    {
        QMetaObject::invokeMethod(&probe.window, "onAddUrl", Q_ARG(QString, key),
                                  Q_ARG(QString, secret), Q_ARG(QString, ""),
                                  Q_ARG(QString, bucket),
                                  Q_ARG(QString, QString("127.0.0.1:%1").arg(port)));
    }

    // Presses Connect with the box's item that ends in `text`.
    void connectTo(const QString &text)
    {
        probe.ui.combo_URL->setCurrentIndex(probe.ui.combo_URL->findText(text, Qt::MatchEndsWith));
        events.clear();
        probe.ui.button_Connect->click();
    }

    // Clicks the row of an item in the left view, as it stands there.
    void click(const QStandardItem *item)
    {
        emit probe.ui.treeView->clicked(probe.folderProxy->mapFromSource(item->index()));
    }

    // The first item with that text; null when there is none.
    QStandardItem *item(const QString &text) const
    {
        return probe.treeModel->findItems(text, Qt::MatchExactly | Qt::MatchRecursive).value(0);
    }
    QStandardItem *root() const { return probe.rootItems.value(0); }

    QString status() const { return probe.ui.textbox_Status->toPlainText(); }

    // The texts of the rows that the right view shows; "no model" without one.
    QStringList files() const
    {
        const QTreeView *view = probe.ui.fileView;
        if (!view->model())
            return {"no model"};
        QStringList texts;
        for (int row = 0; row < view->model()->rowCount(view->rootIndex()); ++row)
            texts.append(view->model()->index(row, 0, view->rootIndex()).data().toString());
        return texts;
    }

    MainWindowProbe probe;
    QStringList events; // status lines and ends of listings in the order of their signals
    int endsOfSources = 0;
};

// What was logged since the last call, under the name "test".
inline QByteArray takeLog()
{
    static QFile file(qEnvironmentVariable("XDG_STATE_HOME") + "/Corvane/Pellory/test.log");
    return file.isOpen() || file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}
