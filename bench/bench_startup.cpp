// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// bench_startup PROGRAM [RUNS]: what a start costs, offscreen, with 0 and with 200 entry files:
// the window from process start to its first paint, its parts, and a command-line run of PROGRAM.
// Prints medians in milliseconds. Started with "window" or "parts" it is the process measured.
#include "configdirectory.h"
#include "mainwindow.h"
#include "s3entries.h"
#include "tamsentries.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileSystemModel>
#include <QProcess>
#include <QTemporaryDir>
#include <QTextStream>
#include <QTreeView>
#include <algorithm>
#include <cstdio>
#include <map>
#include <sys/resource.h>
#include <vector>

namespace {

double processorMs(int who)
{
    rusage usage = {};
    getrusage(who, &usage);
    const auto ms = [](const timeval &time) { return 1e3 * time.tv_sec + time.tv_usec / 1e3; };
    return ms(usage.ru_utime) + ms(usage.ru_stime);
}

class FirstPaint : public QObject
{
public:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Paint)
            QMetaObject::invokeMethod(qApp, &QCoreApplication::quit, Qt::QueuedConnection);
        return QObject::eventFilter(watched, event);
    }
};

int paintWindow(int argc, char **argv)
{
    QApplication application(argc, argv);
    MainWindow window;
    FirstPaint firstPaint;
    window.centralWidget()->installEventFilter(&firstPaint);
    window.show();
    return QApplication::exec();
}

// Each step by itself: a name, wall time and processor time in milliseconds.
int measureParts(int argc, char **argv)
{
    QTextStream out(stdout);
    QElapsedTimer timer;
    double processor = 0;
    const auto begin = [&] {
        timer.start();
        processor = processorMs(RUSAGE_SELF);
    };
    const auto end = [&](const char *name) {
        out << name << '\t' << double(timer.nsecsElapsed()) / 1e6 << '\t'
            << processorMs(RUSAGE_SELF) - processor << '\n';
    };

    begin();
    QApplication application(argc, argv);
    end("Qt application");
    begin();
    const QString directory = configDirectory();
    const auto entries = readS3Entries(directory);
    const QStringList hosts = readTamsHosts(directory);
    end("sources read");
    begin();
    QTreeView view;
    QFileSystemModel model;
    model.setFilter(QDir::Dirs | QDir::NoDotAndDotDot);
    model.setRootPath(QFileSystemModel().myComputer().toString());
    view.setModel(&model);
    end("file-system model");
    begin();
    MainWindow window;
    end("whole window made");
    begin();
    window.show();
    QApplication::processEvents();
    end("window shown, style applied");
    begin();
    window.setStyleSheet(window.styleSheet() + QLatin1Char(' '));
    end("style sheet, once more");
    return 0;
}

struct Cost
{
    std::vector<double> wall, processor;
};

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.empty() ? 0 : values[values.size() / 2];
}

QByteArray run(const QString &program, const QStringList &arguments, int expected, Cost *cost)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    const double processor = processorMs(RUSAGE_CHILDREN);
    QElapsedTimer timer;
    timer.start();
    process.start(program, arguments);
    process.waitForFinished();
    cost->wall.push_back(double(timer.nsecsElapsed()) / 1e6);
    cost->processor.push_back(processorMs(RUSAGE_CHILDREN) - processor);
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != expected)
        qFatal("%s ended with %d", qPrintable(program), process.exitCode());
    return process.readAllStandardOutput();
}

void makeEntries(int count)
{
    const QString directory = configDirectory();
    for (int i = 0; i < count; ++i) {
        const QString name = QStringLiteral("source-%1").arg(i);
        if (i % 4)
            writeS3Entry(directory, {"AKIAEXAMPLE", "secret", "eu-west-1", name, {}});
        else
            writeTamsEntry(hq::tamsEntryPath(directory, name + ".amazonaws.com"),
                           {{}, "id", "secret"});
    }
}

int measure(const QString &self, const QString &program, int runs)
{
    for (const int entries : {0, 200}) {
        QTemporaryDir home;
        for (const char *name : {"HOME", "XDG_CONFIG_HOME", "XDG_STATE_HOME", "XDG_RUNTIME_DIR"})
            qputenv(name, home.path().toUtf8());
        makeEntries(entries);
        QFile source(home.filePath("clip.mxf"));
        if (!source.open(QIODevice::WriteOnly))
            return 1;

        std::map<QByteArray, Cost> costs;
        for (int i = 0; i < runs; ++i) {
            run(self, {"window"}, 0, &costs["0 window, start to end of first paint"]);
            run(program, {"-u", source.fileName(), "-t", home.filePath("out.stream")}, 1,
                &costs["1 command-line run"]);
            Cost whole;
            for (const QByteArray &line : run(self, {"parts"}, 0, &whole).split('\n')) {
                const QByteArrayList fields = line.split('\t');
                if (fields.size() != 3)
                    continue;
                costs["2 " + fields[0]].wall.push_back(fields[1].toDouble());
                costs["2 " + fields[0]].processor.push_back(fields[2].toDouble());
            }
        }
        std::printf("%d entry files, median of %d runs%24s %10s\n", entries, runs, "wall ms",
                    "processor");
        for (const auto &[name, cost] : costs)
            std::printf("  %-46s %10.1f %10.1f\n", name.constData() + 2, median(cost.wall),
                        median(cost.processor));
    }
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QByteArray role = argc > 1 ? argv[1] : "";
    if (role == "window")
        return paintWindow(argc, argv);
    if (role == "parts")
        return measureParts(argc, argv);
    if (role.isEmpty()) {
        std::fprintf(stderr, "usage: bench_startup PROGRAM [RUNS]\n");
        return 2;
    }
    return measure(QFile::decodeName(argv[0]), QFile::decodeName(argv[1]),
                   argc > 2 ? std::max(1, QByteArray(argv[2]).toInt()) : 15);
}
