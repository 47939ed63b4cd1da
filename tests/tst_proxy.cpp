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
    void payloads();
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

// A folder with rows, or a file.
static QStandardItem *entry(const QString &name, const QList<QStandardItem *> &rows,
                            bool isFile = false)
{
    QStandardItem *item = makeEntryItem("s3://b/" + name, isFile, {});
    item->appendRows(rows);
    return item;
}

void ProxyTest::rows()
{
    const auto file = [](const char *name) { return entry(name, {}, true); };
    QStandardItem *clip = entry(
        "clip", {file("z"), file("a"), entry("clip2", {file("b")}), entry("Clip3", {file("c")})});
    QStandardItem *root = makeRootItem("root", {}, "s3://b", {});
    root->appendRows({clip, entry("x.y*[", {file("d")}), entry("xzy", {file("e")}),
                      entry("hollow", {entry("void", {})}), new QStandardItem("no kind")});
    QStandardItemModel model;
    model.appendRow(root);
    TreeSortFilterProxyModel folderProxy("Folder");
    TreeSortFilterProxyModel files("File");
    QAbstractItemModelTester folderTester(&folderProxy);
    QAbstractItemModelTester fileTester(&files);
    folderProxy.setSourceModel(&model);
    files.setSourceModel(&model);
    QCOMPARE(shown(folderProxy), QString("root(clip(clip2,Clip3),x.y*[,xzy,hollow(void))"));
    const QList<QPair<QString, QString>> filters{
        {"", "root(clip(z,a,clip2(b),Clip3(c)),x.y*[(d),xzy(e))"},
        {"x.y*[", "root(x.y*[(d))"},
        {"hollow", "root"},
        {"Root", "root"},
        {"clip", "root(clip(z,a,clip2(b)))"}};
    for (const auto &[filter, expected] : filters) {
        files.setFilterFixedString(filter);
        QCOMPARE(shown(files), expected);
    }
    // One folder alone: what leads to it and what is below, or nothing.
    const QList<QPair<QStandardItem *, QString>> folders{{clip, "root(clip(z,a,clip2(b)))"},
                                                         {clip->child(2), "root(clip(clip2(b)))"},
                                                         {root->child(3), "root"},
                                                         {clip->child(3), "root(clip(Clip3(c)))"},
                                                         {root, "root"},
                                                         {root->child(1), "root(x.y*[(d))"}};
    for (const auto &[folder, expected] : folders) {
        files.showFolder(folder);
        QCOMPARE(shown(files), expected);
    }
    root->child(3)->appendRow(file("late"));
    root->appendRow(file("top"));
    root->child(1)->appendRow(file("more"));
    QCOMPARE(shown(files), QString("root(x.y*[(d,more))"));
    root->child(1)->removeRow(1);
    root->child(3)->removeRow(1);
    root->removeRow(5);
    files.setFilterFixedString("clip");
    QCOMPARE(shown(files), QString("root(clip(z,a,clip2(b)))"));
    files.showFolder(clip);
    // Rows that come and go later.
    clip->appendRows({file("new"), entry("newFolder", {})});
    QCOMPARE(shown(files), QString("root(clip(z,a,clip2(b),new))"));
    QCOMPARE(shown(folderProxy),
             QString("root(clip(clip2,Clip3,newFolder),x.y*[,xzy,hollow(void))"));
    clip->removeRow(0);
    QCOMPARE(shown(files), QString("root(clip(a,clip2(b),new))"));
    model.clear();
    QCOMPARE(shown(files) + shown(folderProxy), QString());
}

void ProxyTest::payloads()
{
    const QScopedPointer<QStandardItem> item(makeEntryItem("s3://b//odd/ name", false, {}));
    QCOMPARE(item->text(), QString(" name"));
    NodeData node = nodeData(item.data());
    QCOMPARE(node.pathParts, (QStringList{"s3:", "", "b", "", "odd", " name"}));
    QVERIFY(!node.isFile && !node.listed && node.date.isNull() && node.size == 0);
    markListed(item.data());
    QVERIFY(nodeData(item.data()).listed);
    QCOMPARE(item->data(257).typeName(), "NodeData");
    QVERIFY(nodeData(nullptr).path.isEmpty());

    QStandardItemModel model;
    resetForTams(&model);
    model.appendRow(makeFlowRow({"label", "id", "format", "created"}, {}));
    QCOMPARE(model.item(0)->data(257).typeName(), "TamsNodeData");
    QCOMPARE(model.item(0, 3)->text(), QString("created"));
    QVERIFY(!model.item(0, 1)->data(KindRole).isValid());
}

PELLORY_TEST_MAIN(ProxyTest, QGuiApplication)
#include "tst_proxy.moc"
