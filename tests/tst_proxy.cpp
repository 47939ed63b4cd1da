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
    void rows_data();
    void rows();
    void laterRows();
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

static QStandardItem *entry(const QString &name, bool isFile = false)
{
    return makeEntryItem("s3://b/" + name, isFile, {});
}

struct Tree
{
    Tree()
    {
        QStandardItem *root = makeRootItem("root", {}, "s3://b", {});
        clip = entry("clip");
        QStandardItem *inner = entry("clip2");
        inner->appendRow(entry("b", true));
        QStandardItem *capital = entry("Clip3");
        capital->appendRow(entry("c", true));
        clip->appendRows({entry("z", true), entry("a", true), inner, capital});
        QStandardItem *special = entry("x.y*[");
        special->appendRow(entry("d", true));
        QStandardItem *likeSpecial = entry("xzy");
        likeSpecial->appendRow(entry("e", true));
        QStandardItem *hollow = entry("hollow");
        hollow->appendRow(entry("void"));
        root->appendRows({clip, special, likeSpecial, hollow, new QStandardItem("no kind")});
        model.appendRow(root);
    }
    QStandardItemModel model;
    QStandardItem *clip;
};

void ProxyTest::rows_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("filter");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char *kind, const char *filter, const char *expected) {
        QTest::addRow("%s %s", kind, filter)
            << QString(kind) << QString(filter) << QString(expected);
    };
    row("Folder", "", "root(clip(clip2,Clip3),x.y*[,xzy,hollow(void))");
    row("File", "", "root(clip(z,a,clip2(b),Clip3(c)),x.y*[(d),xzy(e))");
    row("File", "clip", "root(clip(z,a,clip2(b)))");
    row("File", "x.y*[", "root(x.y*[(d))");
    row("File", "hollow", "root");
    row("File", "Root", "root");
}

void ProxyTest::rows()
{
    QFETCH(QString, kind);
    QFETCH(QString, filter);
    Tree tree;
    TreeSortFilterProxyModel proxy(kind);
    QAbstractItemModelTester tester(&proxy);
    proxy.setSourceModel(&tree.model);
    proxy.setFilterFixedString(filter);
    QTEST(shown(proxy), "expected");
}

void ProxyTest::laterRows()
{
    Tree tree;
    TreeSortFilterProxyModel folders("Folder");
    TreeSortFilterProxyModel files("File");
    QAbstractItemModelTester folderTester(&folders);
    QAbstractItemModelTester fileTester(&files);
    for (TreeSortFilterProxyModel *proxy : {&folders, &files})
        proxy->setSourceModel(&tree.model);
    files.setFilterFixedString("clip");
    shown(folders);
    shown(files);
    tree.clip->appendRows({entry("new", true), entry("newFolder")});
    QCOMPARE(shown(files), QString("root(clip(z,a,clip2(b),new))"));
    QCOMPARE(shown(folders), QString("root(clip(clip2,Clip3,newFolder),x.y*[,xzy,hollow(void))"));
    markListed(tree.clip);
    tree.clip->removeRow(0);
    QCOMPARE(shown(files), QString("root(clip(a,clip2(b),new))"));
    tree.model.clear();
    QCOMPARE(shown(files) + shown(folders), QString());
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
    QCOMPARE(tamsNodeData(model.item(0)).created, QString("created"));
    QCOMPARE(model.item(0, 3)->text(), QString("created"));
    QVERIFY(!model.item(0, 1)->data(KindRole).isValid());
}

PELLORY_TEST_MAIN(ProxyTest, QGuiApplication)
#include "tst_proxy.moc"
