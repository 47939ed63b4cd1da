// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// bench_localize: 1 GiB from a shaped loopback server while the window is open: a whole copy, one
// that is cancelled, a window that is destroyed, a server that is killed. Prints for each how long
// it took to end, the longest gap between two turns of the event loop, on a 10 ms timer, and what
// stands in the target directory.
#include "openfiles.h"
#include "testmain.h"
#include "testserver.h"
#include "windowprobe.h"

#include <QElapsedTimer>
#include <QJsonObject>
#include <QProgressDialog>
#include <QTemporaryDir>
#include <algorithm>
#include <cstdio>
#include <functional>
#include <memory>

namespace {

constexpr int kSize = 1 << 30;
constexpr int kRate = 8'000'000; // bytes/s of each connection
constexpr int kLatency = 10;     // ms

class GapMeter : public QTimer
{
public:
    GapMeter()
    {
        setTimerType(Qt::PreciseTimer);
        connect(this, &QTimer::timeout, [this] { longest = std::max(longest, m_last.restart()); });
        m_last.start();
        start(10);
    }
    qint64 longest = 0;

private:
    QElapsedTimer m_last;
};

bool runUntil(const std::function<bool()> &condition, int seconds)
{
    const QDeadlineTimer deadline(seconds * 1000);
    while (!condition() && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    return condition();
}

struct Scene
{
    TestServer server{"fault_server.py"};
    QTemporaryDir target;
    std::unique_ptr<MainWindowProbe> probe = std::make_unique<MainWindowProbe>();

    QProgressDialog *dialog() const { return probe->dialog<QProgressDialog>(); }
    // Those that have no name yet included.
    QStringList files() const
    {
        return QDir(target.path()).entryList(QDir::Files | QDir::Hidden) +
               openFilesIn(target.path());
    }
};

// `end` brings the copy to its end once a tenth is there; what it leaves has to be `expected`.
bool play(const char *name, const std::function<void(Scene &)> &end, const QStringList &expected)
{
    Scene scene;
    if (!scene.server.start())
        qFatal("%s", scene.server.error().constData());
    scene.server.command("bucket",
                         {{"bucket", "media"}, {"objects", QJsonObject{{"large.mxf", kSize}}}});
    scene.server.command("set", {{"rate", kRate}, {"latency", kLatency}});
    MainWindowProbe &probe = *scene.probe;
    probe.ui.combo_TargetDir->setEditText(scene.target.path());
    probe.selectedName = "large.mxf";
    probe.selectedPath =
        QString("s3://AK:SK@127.0.0.1:%1/media/large.mxf").arg(scene.server.port());
    probe.window.show();
    QCoreApplication::processEvents();

    GapMeter gaps;
    QElapsedTimer timer;
    timer.start();
    probe.ui.button_LocalizeFile->click();
    bool good = runUntil([&] { return scene.dialog() && scene.dialog()->value() >= 100; }, 60);
    const qint64 reached = timer.restart();
    end(scene);
    good = runUntil([&] { return scene.files() == expected; }, 300) && good;
    const qint64 took = timer.elapsed();
    good = runUntil([&] { return !scene.probe || !scene.dialog() || scene.dialog()->isHidden(); },
                    300) &&
           good;
    std::printf("%-18s %10lld %14lld %14lld %10lld   %s\n", name, reached, took, timer.elapsed(),
                gaps.longest, good ? qPrintable(expected.join(' ')) : "NOT AS EXPECTED");
    std::fflush(stdout);
    return good;
}

} // namespace

int main(int argc, char **argv)
{
    TestHome home;
    QApplication application(argc, argv);
    std::printf("%-18s %10s %14s %14s %10s   %s\n", "ms", "first 10 %", "to the files",
                "to no dialog", "gap", "files");
    bool good = play("whole", [](Scene &) {}, {"large.mxf"});
    good &= play("cancelled",
                 [](Scene &scene) { scene.dialog()->findChild<QPushButton *>()->click(); }, {});
    good &= play("window destroyed", [](Scene &scene) { scene.probe.reset(); }, {});
    good &= play("server killed", [](Scene &scene) { scene.server.kill(); }, {});
    return good ? 0 : 1;
}
