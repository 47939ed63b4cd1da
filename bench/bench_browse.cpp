// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// bench_browse [COUNT [RUNS [LATENCY]]]: what browsing large folders costs in the window,
// offscreen, against the bare walk of the same listing, and the longest time between two turns of
// the event loop. The server waits LATENCY milliseconds (0) before each response.
//
// bench_browse clicks [COUNT [RUNS]]: what clicks on folders cost beside COUNT entries (1,000,000)
// that are loaded already, against a view on a proxy that filters nothing.
#include "hqutil.h"
#include "mainwindow.h"
#include "testserver.h"
#include "treeitems.h"

#include <QApplication>
#include <QComboBox>
#include <QElapsedTimer>
#include <QPushButton>
#include <QSortFilterProxyModel>
#include <QStandardItemModel>
#include <QTemporaryDir>
#include <QTextEdit>
#include <QTimer>
#include <QTreeView>
#include <algorithm>
#include <cstdio>
#include <ctime>
#include <malloc.h>
#include <memory>
#include <sys/resource.h>

namespace {

double milliseconds(const QElapsedTimer &timer)
{
    return double(timer.nsecsElapsed()) / 1e6;
}

double processorMilliseconds(int who)
{
    rusage usage = {};
    getrusage(who, &usage);
    const auto ms = [](const timeval &time) { return 1e3 * time.tv_sec + time.tv_usec / 1e3; };
    return ms(usage.ru_utime) + ms(usage.ru_stime);
}

// The longest time between two ticks of a 10 ms timer, and when it was.
class GapWatch : public QObject
{
public:
    GapWatch()
    {
        m_timer.setTimerType(Qt::PreciseTimer);
        connect(&m_timer, &QTimer::timeout, this, [this] { tick(); });
        m_timer.start(10);
    }
    void reset()
    {
        longest = 0;
        m_sinceTick.start();
        m_sinceReset.start();
    }
    double longest = 0;
    double when = 0;

private:
    void tick()
    {
        const double gap = milliseconds(m_sinceTick);
        m_sinceTick.start();
        if (gap > longest) {
            longest = gap;
            when = milliseconds(m_sinceReset);
        }
    }
    QTimer m_timer;
    QElapsedTimer m_sinceTick;
    QElapsedTimer m_sinceReset;
};

class Browser
{
public:
    explicit Browser(const TestServer &server) : m_server(server)
    {
        QObject::connect(
            &m_window, &MainWindow::finished, &m_window, [this] { ++m_ends; },
            Qt::QueuedConnection);
        m_window.show();
    }

    void add(const QString &bucket)
    {
        const QString site = QStringLiteral("127.0.0.1:%1").arg(m_server.port());
        QMetaObject::invokeMethod(&m_window, "onAddUrl", Q_ARG(QString, "AK"), Q_ARG(QString, "SK"),
                                  Q_ARG(QString, "us-east-1"), Q_ARG(QString, bucket),
                                  Q_ARG(QString, site));
    }

    // Runs `action` and the event loop until its listing has ended, prints the time and the longest
    // gap, that of the half second after it included.
    template <class Action>
    double measure(const char *name, Action action, bool lists = true)
    {
        settle();
        const int ends = m_ends;
        m_gaps.reset();
        const double processor = processorMilliseconds(RUSAGE_SELF);
        const double gui = processorMilliseconds(RUSAGE_THREAD);
        QElapsedTimer timer;
        timer.start();
        action();
        while (lists && m_ends == ends)
            QApplication::processEvents(QEventLoop::WaitForMoreEvents);
        const double wall = milliseconds(timer);
        const double guiSpent = processorMilliseconds(RUSAGE_THREAD) - gui;
        const double spent = processorMilliseconds(RUSAGE_SELF) - processor;
        settle();
        std::printf("  %-26s %6.0f ms (processor: GUI %.0f, all %.0f), longest gap %5.1f ms (at "
                    "%.0f)\n",
                    name, wall, guiSpent, spent, m_gaps.longest, m_gaps.when);
        std::fflush(stdout);
        return wall;
    }

    void connectTo(const QString &bucket)
    {
        auto *box = m_window.findChild<QComboBox *>("combo_URL");
        box->setCurrentIndex(box->findText(bucket, Qt::MatchEndsWith));
        m_window.findChild<QPushButton *>("button_Connect")->click();
    }

    QTreeView *tree() const { return m_window.findChild<QTreeView *>("treeView"); }
    QTreeView *files() const { return m_window.findChild<QTreeView *>("fileView"); }
    QStandardItemModel *model() const { return m_window.findChild<QStandardItemModel *>(); }
    void click(const QModelIndex &index) { emit tree()->clicked(index); }
    void click(const QStandardItem *item)
    {
        const auto *proxy = qobject_cast<QSortFilterProxyModel *>(tree()->model());
        click(proxy->mapFromSource(item->index()));
    }
    QModelIndex root() const { return tree()->model()->index(0, 0); }
    QString status() const
    {
        return m_window.findChild<QTextEdit *>("textbox_Status")->toPlainText();
    }

private:
    static void settle()
    {
        QElapsedTimer timer;
        timer.start();
        while (timer.elapsed() < 500)
            QApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }

    const TestServer &m_server;
    MainWindow m_window;
    GapWatch m_gaps;
    int m_ends = 0;
};

int countEntry(void *user, const char *, unsigned int)
{
    ++*static_cast<int *>(user);
    return 0;
}

// The bare walk's time.
double walk(const TestServer &server, const QByteArray &folder)
{
    const QByteArray address =
        "s3://AK:SK@127.0.0.1:" + QByteArray::number(server.port()) + "/" + folder;
    int entries = 0;
    const double processor = processorMilliseconds(RUSAGE_SELF);
    QElapsedTimer timer;
    timer.start();
    if (!hqOSRecurseDirectory(&entries, address.constData(), countEntry, HQ_WALK_ONE_LEVEL))
        qFatal("the walk broke off");
    const double wall = milliseconds(timer);
    std::printf("  %-26s %6.0f ms (processor %.0f)\n", "bare walk", wall,
                processorMilliseconds(RUSAGE_SELF) - processor);
    return wall;
}

double usedBytes()
{
    return double(mallinfo2().uordblks);
}

double bareItemBytes(int count)
{
    QStandardItem parent;
    const double before = usedBytes();
    QList<QStandardItem *> rows;
    for (int i = 0; i < count; ++i)
        rows.append(new QStandardItem(QString::number(i)));
    parent.appendRows(rows);
    rows.clear();
    return (usedBytes() - before) / count;
}

double threadMilliseconds()
{
    timespec time = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return 1e3 * double(time.tv_sec) + double(time.tv_nsec) / 1e6;
}

// The best of `runs`: the others were disturbed.
template <class Prepare, class Action>
double bestOf(int runs, Prepare prepare, Action action)
{
    double best = 1e9;
    for (int i = 0; i < runs; ++i) {
        prepare();
        QApplication::processEvents();
        const double before = threadMilliseconds();
        action();
        QApplication::processEvents(); // lays the view out and paints it
        best = std::min(best, threadMilliseconds() - before);
    }
    return best;
}

// Clicks on `folder`, each after one on `other`.
void benchClick(Browser &browser, const char *what, const QStandardItem *folder,
                const QStandardItem *other, int runs)
{
    const double ours = bestOf(
        runs, [&] { browser.click(other); }, [&] { browser.click(folder); });
    QTreeView view;
    view.resize(browser.files()->size());
    view.show();
    std::unique_ptr<QSortFilterProxyModel> bare;
    const double theirs = bestOf(
        runs,
        [&] {
            view.setModel(nullptr);
            bare = std::make_unique<QSortFilterProxyModel>();
        },
        [&] {
            bare->setSourceModel(folder->model());
            view.setModel(bare.get());
            view.setRootIndex(bare->mapFromSource(folder->index()));
        });
    std::printf("  %-34s %7.1f ms, a bare proxy %7.1f ms: %.2f times\n", what, ours, theirs,
                ours / theirs);
}

QStandardItem *childOf(const QStandardItem *parent, const QString &text)
{
    for (int row = 0; row < parent->rowCount(); ++row) {
        if (parent->child(row)->text() == text)
            return parent->child(row);
    }
    qFatal("no such folder");
}

int benchClicks(int count, int runs)
{
    TestServer server("fault_server.py");
    if (!server.start())
        qFatal("%s", server.error().constData());
    QJsonObject objects;
    for (int i = 0; i < 10; ++i) {
        for (const char *name : {"small/%1", "third/%1", "top%1"})
            objects[QString(name).arg(i)] = "";
    }
    server.command("bucket", {{"bucket", "files"},
                              {"count", count},
                              {"format", "large/clip-{:06}.mxf"},
                              {"objects", objects}});
    server.command("bucket",
                   {{"bucket", "folders"}, {"count", count}, {"format", "folder-{:06}/clip.mxf"}});
    Browser browser(server);
    browser.add("files");
    browser.add("folders");

    browser.measure("Connect", [&] { browser.connectTo("files"); });
    QStandardItem *root = browser.model()->item(0);
    const auto list = [&](const QString &name) {
        QStandardItem *folder = childOf(root, name);
        browser.measure("first click", [&] { browser.click(folder); });
        return folder;
    };
    const QStandardItem *large = list("large"), *small = list("small"), *third = list("third");
    std::printf("processor time of clicks, %d files in a folder\n", count);
    benchClick(browser, "few files, after many", small, large, runs);
    benchClick(browser, "few files, many loaded", small, third, runs);
    benchClick(browser, "few files, many below", root, small, runs);
    benchClick(browser, "many files", large, small, runs);

    browser.measure("Connect", [&] { browser.connectTo("folders"); });
    root = browser.model()->item(0);
    const auto name = [&](int number) {
        return QStringLiteral("folder-%1").arg(number, 6, 10, QLatin1Char('0'));
    };
    const QStandardItem *middle = list(name(count / 2)), *next = list(name(count / 2 + 1));
    std::printf("processor time of clicks, %d folders\n", count);
    benchClick(browser, "few files, many folders beside", middle, next, runs);
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QTemporaryDir home;
    for (const char *name : {"HOME", "XDG_CONFIG_HOME", "XDG_STATE_HOME", "XDG_RUNTIME_DIR"})
        qputenv(name, home.path().toUtf8());
    QApplication application(argc, argv);
    if (argc > 1 && QByteArray(argv[1]) == "clicks")
        return benchClicks(argc > 2 ? std::max(10, QByteArray(argv[2]).toInt()) : 1'000'000,
                           argc > 3 ? std::max(1, QByteArray(argv[3]).toInt()) : 5);
    const int count = argc > 1 ? std::max(1, QByteArray(argv[1]).toInt()) : 100'000;
    const int runs = argc > 2 ? std::max(1, QByteArray(argv[2]).toInt()) : 3;
    const int latency = argc > 3 ? QByteArray(argv[3]).toInt() : 0;

    TestServer server("fault_server.py");
    if (!server.start())
        qFatal("%s", server.error().constData());
    server.command("set", {{"latency", latency}});
    const QStringList names{"objects", "folders", "below"};
    const QStringList formats{"clip-{:06}.mxf", "folder-{:06}/clip.mxf", "reel/clip-{:06}.mxf"};
    for (int i = 0; i < names.size(); ++i)
        server.command("bucket", {{"bucket", names[i]}, {"count", count}, {"format", formats[i]}});

    const double bareItem = bareItemBytes(count);
    Browser browser(server);
    for (const QString &name : names)
        browser.add(name);
    browser.add("empty");
    server.command("bucket", {{"bucket", "empty"}});

    for (const QString &name : {names[0], names[1]}) {
        std::printf("%d %s\n", count, qPrintable(name));
        std::vector<double> ratios;
        for (int i = 0; i < runs + 1; ++i) { // one more: the first makes the server's pages
            const double bare = walk(server, name.toUtf8());
            browser.measure("the tree before cleared", [&] { browser.connectTo("empty"); });
            const double before = usedBytes();
            const double whole = browser.measure("Connect", [&] { browser.connectTo(name); });
            if (i > 0)
                ratios.push_back(whole / bare);
            else
                std::printf("  %.0f bytes per entry, %.0f of them a bare item's\n",
                            (usedBytes() - before) / count, bareItem);
        }
        std::sort(ratios.begin(), ratios.end());
        std::printf("  %.2f to %.2f, median %.2f times the bare walk; %s\n", ratios.front(),
                    ratios.back(), ratios[ratios.size() / 2], qPrintable(browser.status()));
        browser.measure(
            "click on the Root", [&] { browser.click(browser.root()); }, false);
        browser.measure(
            "Root expanded", [&] { browser.tree()->expand(browser.root()); }, false);
    }

    browser.measure("Connect, one folder", [&] { browser.connectTo("below"); });
    walk(server, "below/reel/");
    browser.tree()->expand(browser.root());
    const auto folder = [&] { return browser.tree()->model()->index(0, 0, browser.root()); };
    browser.measure("first click", [&] { browser.click(folder()); });
    browser.measure(
        "second click", [&] { browser.click(folder()); }, false);
    std::printf("  %s\n", qPrintable(browser.status()));
    return 0;
}
