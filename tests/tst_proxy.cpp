// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "testmain.h"
#include "treeitems.h"
#include "treesortfilterproxymodel.h"

#include <QAbstractItemModelTester>
#include <QGuiApplication>
#include <QStandardItemModel>

class ProxyTest : public QObject
{
    Q_OBJECT
private slots:
    void rows();
};

// "root(clip(a,clip2(b),other(c)),x.y*(d),empty(void))" as one text: what a view would show.
static QString shown(const QAbstractItemModel &model, const QModelIndex &parent = {})
{
    QStringList rows;
    for (int row = 0; row < model.rowCount(parent); ++row) {
        const QModelIndex index = model.index(row, 0, parent);
        const QString below = shown(model, index);
        rows += index.data().toString() + (below.isEmpty() ? "" : "(" + below + ")");
    }
    return rows.join(',');
}

// A file, or a folder with rows.
static QStandardItem *entry(const QString &name, const QList<QStandardItem *> &rows = {})
{
    QStandardItem *item = makeEntryItem("s3://b/" + name, name.size() == 1, {});
    item->appendRows(rows);
    return item;
}

void ProxyTest::rows()
{
    QStandardItem *clip = entry("clip", {entry("z"), entry("a"), entry("clip2", {entry("b")}),
                                         entry("Clip3", {entry("c")})});
    QStandardItem *root = makeRootItem("root", {}, "s3://b", {});
    root->appendRows({clip, entry("x.y*[", {entry("d")}), entry("xzy", {entry("e")}),
                      entry("hollow", {entry("void")}), new QStandardItem("no kind")});
    QStandardItemModel model;
    model.appendRow(root);
    TreeSortFilterProxyModel folders("Folder");
    TreeSortFilterProxyModel files("File");
    for (TreeSortFilterProxyModel *proxy : {&folders, &files}) {
        new QAbstractItemModelTester(proxy, proxy);
        proxy->setSourceModel(&model);
    }
    QCOMPARE(shown(folders), QString("root(clip(clip2,Clip3),x.y*[,xzy,hollow(void))"));
    QCOMPARE(shown(files), QString("root(clip(z,a,clip2(b),Clip3(c)),x.y*[(d),xzy(e))"));
    // What the text of each lets through, in the whole tree and with the folder alone.
    const std::pair<const QStandardItem *, QString> rows[] = {
        {clip->child(2), "root(clip(clip2(b)))"},
        {root, "root"},
        {root->child(1), "root(x.y*[(d))"},
        {root->child(3), "root"},
        {clip, "root(clip(z,a,clip2(b)))"}};
    for (const auto &[folder, expected] : rows) {
        files.setFilterFixedString(folder->text());
        QCOMPARE(shown(files), expected);
        files.showFolder(folder);
        QCOMPARE(shown(files), expected);
    }
    // Rows that come and go later, there and elsewhere.
    clip->appendRows({entry("n"), entry("newFolder")});
    root->child(3)->appendRow(entry("l"));
    clip->removeRow(0);
    QCOMPARE(shown(files), QString("root(clip(a,clip2(b),n))"));
    QCOMPARE(shown(folders), QString("root(clip(clip2,Clip3,newFolder),x.y*[,xzy,hollow(void))"));
    model.clear();
    QCOMPARE(shown(files) + shown(folders), QString());
}

PELLORY_TEST_MAIN(ProxyTest, QGuiApplication)
#include "tst_proxy.moc"
