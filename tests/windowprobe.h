// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// A window and what tests look at inside it, and a hand that closes its message boxes.
#pragma once

#include "mainwindow.h"
#include "streamcontent.h"
#include "ui_mainwindow.h"

#include <QtWidgets>

class MainWindowProbe
{
public:
    MainWindow window{nullptr};
    Ui_MainWindow &ui = *window.ui;
    QList<URL *> &sources = window.sources;
    QStandardItemModel *&treeModel = window.treeModel;
    TreeSortFilterProxyModel *&folderProxy = window.folderProxy;
    TreeSortFilterProxyModel *&fileProxy = window.fileProxy;
    QFileSystemModel *&driveModel = window.driveModel;
    QString &selectedName = window.selectedName;
    QString &selectedPath = window.selectedPath;
    QList<QStandardItem *> &rootItems = window.rootItems;

    void setBrowsing(bool local, bool tams) { window.setBrowsing(local, tams); }

    QStringList urlTexts() const { return texts(ui.combo_URL); }
    QStringList targets() const { return texts(ui.combo_TargetDir); }

    // The newest dialog of a class; null when there is none.
    template <class Dialog>
    Dialog *dialog() const
    {
        const auto dialogs = window.findChildren<Dialog *>();
        return dialogs.isEmpty() ? nullptr : dialogs.last();
    }

    // The row of a text in a view; invalid while there is none.
    static QModelIndex row(const QTreeView *view, const QString &text)
    {
        const QAbstractItemModel *model = view->model();
        const auto flags = Qt::MatchExactly | Qt::MatchCaseSensitive | Qt::MatchRecursive;
        return model ? model
                           ->match(model->index(0, 0, view->rootIndex()), Qt::DisplayRole, text, 1,
                                   flags)
                           .value(0)
                     : QModelIndex();
    }
    // By the mouse; false where there is no such row.
    static bool click(QTreeView *view, const QString &text, Qt::MouseButton button = Qt::LeftButton)
    {
        const QModelIndex index = row(view, text);
        view->scrollTo(index);
        QTest::mouseClick(view->viewport(), button, {}, view->visualRect(index).center());
        return index.isValid();
    }
    // Those that are enabled and begin so.
    static void runActions(const QTreeView *view, const QString &start)
    {
        for (QAction *action : view->actions()) {
            if (action->isEnabled() && action->text().startsWith(start))
                action->trigger();
        }
    }

private:
    static QStringList texts(const QComboBox *box)
    {
        QStringList items;
        for (int i = 0; i < box->count(); ++i)
            items.append(box->itemText(i));
        return items;
    }
};

// Types into a dialog's fields, in the order of their creation, and accepts it.
inline void fillDialog(QDialog *dialog, const QStringList &values)
{
    const auto fields = dialog->findChildren<QLineEdit *>();
    for (int i = 0; i < values.size(); ++i)
        fields.at(i)->setText(values.at(i));
    dialog->findChildren<QPushButton *>().first()->click(); // "Accept"
}

// Closes message boxes as long as it lives and keeps "title: text" of each.
struct BoxCloser
{
    BoxCloser()
    {
        QObject::connect(&m_timer, &QTimer::timeout, [this] {
            if (auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget())) {
                const QString end = box->textFormat() == Qt::PlainText ? ": " : " (rich): ";
                boxes.append(box->windowTitle() + end + box->text());
                box->close();
            }
        });
        m_timer.start(5);
    }
    QStringList boxes;
    QTimer m_timer;
};
