// How long the window stops answering while it steps to the next video of a folder on a file
// system that answers slowly (slowfs: every directory read, lookup and open delayed), against
// the same folder on the local disk. Lunelo is asked over MPRIS, as a desktop panel asks it:
// one thread sends Next and waits for the next video to open and play, another asks for the
// playback status again and again, back to back; the longest wait for an answer is the longest
// the event loop was away. Reported apart: while the step is on the disk (from Next until the
// next video opens), and while the video that opened starts (a second from there).
// Run inside tests/run-x.sh (an X server and a session bus of its own).
//
//     bench_stall --lunelo BIN --slowfs BIN --clip FILE [--steps N] [--delays OP=MS,...]
#include "appdriver.h"
#include "mprisclient.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <mutex>
#include <thread>
#include <vector>

#include <sys/stat.h>

namespace {

struct Arguments {
    QString lunelo, slowfs, clip;
    int steps = 6;
    QString delays = QStringLiteral("readdir=300,getattr=40,open=150,readlink=40");
};

// Milliseconds since the benchmark started; one clock for every thread.
double now()
{
    static QElapsedTimer clock = [] {
        QElapsedTimer t;
        t.start();
        return t;
    }();
    return double(clock.nsecsElapsed()) / 1e6;
}

// Asks for the playback status back to back on a connection of its own, from its own thread,
// and keeps when each ask began and how long its answer took.
class Pinger {
public:
    Pinger()
        : m_thread([this] { run(); })
    {
    }
    ~Pinger()
    {
        m_stop = true;
        m_thread.join();
    }
    // The waits for answers in the time from `from` to `to`: of each ask, the part of its wait
    // that falls in that time.
    std::vector<double> waits(double from, double to)
    {
        std::lock_guard lock(m_mutex);
        std::vector<double> waits;
        for (const auto &[at, wait] : m_asks) {
            if (at <= to && at + wait >= from)
                waits.push_back(std::min(at + wait, to) - std::max(at, from));
        }
        return waits;
    }

private:
    void run()
    {
        QDBusConnection bus =
            QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("pinger"));
        while (!m_stop) {
            QDBusMessage ask = QDBusMessage::createMethodCall(
                Mpris::kService, Mpris::kPath, Mpris::kProperties, QStringLiteral("Get"));
            ask << Mpris::kPlayer << QStringLiteral("PlaybackStatus");
            const double at = now();
            bus.call(ask, QDBus::Block, 60000);
            std::lock_guard lock(m_mutex);
            m_asks.push_back({at, now() - at});
        }
        QDBusConnection::disconnectFromBus(QStringLiteral("pinger"));
    }

    std::atomic_bool m_stop = false;
    std::mutex m_mutex;
    std::vector<std::pair<double, double>> m_asks;
    std::thread m_thread;
};

// The longest and the median of `values`; zeros for none.
std::pair<double, double> longestAndMedian(std::vector<double> values)
{
    if (values.empty())
        return {0, 0};
    std::sort(values.begin(), values.end());
    return {values.back(), values[values.size() / 2]};
}

struct Figures {
    double onDisk = 0;      // median time from Next until the next video opens, ms
    double diskLongest = 0; // the longest wait for an answer meanwhile
    double diskMedian = 0;
    double startLongest = 0; // the longest wait while the video that opened starts playing
    bool ok = false;
};

// Steps through the videos of `folder` (v1.mp4 … vN.mp4, N = steps) from v1; each step waits
// for the video to play a second before the next.
Figures measure(const Arguments &args, const QString &folder)
{
    Figures figures;
    AppDriver app;
    if (!app.start({folder + QStringLiteral("/v1.mp4")}) ||
        app.waitForTrace(QStringLiteral("playing"), 30000) < 0)
        return figures;
    MprisClient mpris;
    if (!mpris.waitForPlayer())
        return figures;
    Pinger pinger;
    QTest::qWait(3000); // past the start-up's own work (the scene, fonts)
    std::vector<double> onDisk, diskWaits, startWaits;
    for (int i = 2; i <= args.steps + 1; ++i) {
        const QString next = QStringLiteral("%1/v%2.mp4").arg(folder).arg((i - 1) % args.steps + 1);
        const int mark = app.traceCount();
        const double asked = now();
        QDBusConnection::sessionBus().send(QDBusMessage::createMethodCall(
            Mpris::kService, Mpris::kPath, Mpris::kPlayer, QStringLiteral("Next")));
        const int opened = app.waitForTrace(QStringLiteral("url ") + next, 60000, mark);
        const double open = now();
        if (opened < 0 || app.waitForTrace(QStringLiteral("playing"), 60000, opened) < 0)
            return figures;
        QTest::qWait(1000);
        onDisk.push_back(open - asked);
        for (const double w : pinger.waits(asked, open))
            diskWaits.push_back(w);
        for (const double w : pinger.waits(open, now()))
            startWaits.push_back(w);
    }
    std::tie(figures.diskLongest, figures.diskMedian) = longestAndMedian(diskWaits);
    figures.startLongest = longestAndMedian(startWaits).first;
    std::sort(onDisk.begin(), onDisk.end());
    figures.onDisk = onDisk[onDisk.size() / 2];
    figures.ok = true;
    return figures;
}

} // namespace

int main(int argc, char *argv[])
{
    QGuiApplication app(argc, argv);
    Arguments args;
    const QStringList list = app.arguments();
    for (qsizetype i = 1; i + 1 < list.size(); i += 2) {
        const QString &name = list[i];
        const QString &value = list[i + 1];
        if (name == QLatin1String("--lunelo"))
            args.lunelo = value;
        else if (name == QLatin1String("--slowfs"))
            args.slowfs = value;
        else if (name == QLatin1String("--clip"))
            args.clip = value;
        else if (name == QLatin1String("--steps"))
            args.steps = value.toInt();
        else if (name == QLatin1String("--delays"))
            args.delays = value;
    }
    if (args.lunelo.isEmpty() || args.clip.isEmpty() || args.steps < 2) {
        std::fprintf(stderr, "usage: bench_stall --lunelo BIN --slowfs BIN --clip FILE "
                             "[--steps N] [--delays OP=MS,...]\n");
        return 2;
    }
    qputenv("LUNELO_BINARY", args.lunelo.toLocal8Bit());

    // The videos, and a thousand other files beside them, as in a downloads folder.
    QTemporaryDir root;
    const QString source = root.filePath(QStringLiteral("source"));
    const QString mount = root.filePath(QStringLiteral("mount"));
    QDir().mkpath(source);
    QDir().mkpath(mount);
    for (int i = 1; i <= args.steps; ++i)
        QFile::copy(args.clip, QStringLiteral("%1/v%2.mp4").arg(source).arg(i));
    for (int i = 0; i < 1000; ++i)
        QFile(QStringLiteral("%1/note %2.txt").arg(source).arg(i)).open(QIODevice::WriteOnly);

    std::printf("Waits for an answer over MPRIS while stepping through %d videos, ms\n",
                args.steps);
    std::printf("%-18s %-12s %-26s %-22s %s\n", "folder", "on the disk",
                "longest (median) meanwhile", "longest as it starts", "target");
    const auto print = [](const char *name, const Figures &f) {
        if (!f.ok) {
            std::printf("%-18s failed\n", name);
            return;
        }
        std::printf("%-18s %-12.0f %-26s %-22.1f ≤ 50 on the disk: %s\n", name, f.onDisk,
                    qPrintable(QStringLiteral("%1 (%2)")
                                   .arg(f.diskLongest, 0, 'f', 1)
                                   .arg(f.diskMedian, 0, 'f', 1)),
                    f.startLongest, f.diskLongest <= 50 ? "met" : "NOT MET");
    };
    print("local disk", measure(args, source));

    QProcess slowfs;
    slowfs.setProcessChannelMode(QProcess::ForwardedChannels);
    slowfs.start(args.slowfs, {QStringLiteral("-d"), args.delays, source, mount});
    struct stat mounted {
    }, parent{};
    const bool isMounted = QTest::qWaitFor(
        [&] {
            return ::stat(QFile::encodeName(mount).constData(), &mounted) == 0 &&
                   ::stat(QFile::encodeName(root.path()).constData(), &parent) == 0 &&
                   mounted.st_dev != parent.st_dev;
        },
        10000);
    if (!isMounted) {
        std::printf("%-18s skipped: FUSE cannot mount here\n", "slow file system");
        return 0;
    }
    print("slow file system", measure(args, mount));
    std::printf("(slow: %s)\n", qPrintable(args.delays));
    QProcess::execute(QStringLiteral("fusermount3"), {QStringLiteral("-uz"), mount});
    slowfs.waitForFinished(5000);
    return 0;
}
