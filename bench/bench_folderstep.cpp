// The cost of one step to the next video of a folder (list it, find the open file among its
// videos by identity and the video after it, open that), in folders of 1,000, 10,000 and 100,000
// files, with the page cache warm.
//
//     bench_folderstep [folder for the temporary files, default $TMPDIR or /tmp]
#include "fakeengine.h"
#include "folderplaylist.h"
#include "memorypreferences.h"
#include "playbacksession.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

// Names as cameras and downloads make them: mostly videos of mixed case and extension, some
// pictures and notes, a few hidden files.
QString nameOf(int i)
{
    static const char *const kinds[] = {"mp4", "MOV", "mkv", "jpg", "mp4", "txt", "webm", "MP4"};
    if (i % 50 == 0)
        return QStringLiteral(".hidden %1.mp4").arg(i);
    return QStringLiteral("%1 %2.%3")
        .arg(i % 3 ? QStringLiteral("Clip") : QStringLiteral("video"))
        .arg(i)
        .arg(QLatin1String(kinds[i % 8]));
}

double milliseconds(const QElapsedTimer &timer)
{
    return double(timer.nsecsElapsed()) / 1e6;
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

QString spread(const std::vector<double> &values)
{
    const auto [lo, hi] = std::minmax_element(values.begin(), values.end());
    return QStringLiteral("%1 (%2–%3)")
        .arg(median(values), 0, 'f', 1)
        .arg(*lo, 0, 'f', 1)
        .arg(*hi, 0, 'f', 1);
}

void printLine(const QStringList &cells)
{
    static constexpr int kWidths[] = {10, 22, 10, 10, 10, 0};
    QString line;
    for (int i = 0; i < cells.size(); ++i)
        line += cells[i].leftJustified(kWidths[i]) + QLatin1Char(' ');
    std::printf("%s\n", qPrintable(line.trimmed()));
}

struct Figures {
    double step = 0, listing = 0, neighbour = 0;
};

// One step, then the same work in its parts.
Figures measure(const QString &folder, PlaybackSession &session, QCoreApplication &app)
{
    Figures f;
    QElapsedTimer timer;
    timer.start();
    session.openSibling(1);
    f.step = milliseconds(timer);
    app.processEvents();

    timer.restart();
    const QUrl folderUrl = QUrl::fromLocalFile(folder);
    const std::optional<FolderPlaylist::Listing> listing = FolderPlaylist::list(folderUrl);
    f.listing = milliseconds(timer);

    timer.restart();
    if (!FolderPlaylist::neighbour(session.url(), *listing, folderUrl,
                                   PlaybackSession::videoExtensions(), 1))
        std::printf("the open file is missing from its folder\n");
    f.neighbour = milliseconds(timer);
    return f;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QString base = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QDir::tempPath();
    std::printf("One sibling step (Lunelo only), ms: median (min–max); the open file midway\n");
    printLine({QStringLiteral("files"), QStringLiteral("step"), QStringLiteral("listing"),
               QStringLiteral("neighbour"), QStringLiteral("target"), QString()});
    for (const int count : {1000, 10000, 100000}) {
        QTemporaryDir dir(base + QStringLiteral("/lunelo-bench-XXXXXX"));
        for (int i = 0; i < count; ++i)
            QFile(dir.filePath(nameOf(i))).open(QIODevice::WriteOnly);

        FakeEngine engine;
        MemoryPreferences preferences;
        PlaybackSession session(PlaybackSession::Services{engine, preferences});
        // A .MOV midway: the step looks through half the folder to find it.
        session.open(QUrl::fromLocalFile(dir.filePath(nameOf(count / 2 - count / 2 % 8 + 1))));
        measure(dir.path(), session, app); // warms the page cache

        const int runs = count >= 100000 ? 7 : 21;
        std::vector<double> step, listing, neighbour;
        for (int r = 0; r < runs; ++r) {
            const Figures f = measure(dir.path(), session, app);
            step.push_back(f.step);
            listing.push_back(f.listing);
            neighbour.push_back(f.neighbour);
        }
        // A step may take 20 ms at 10,000 files and 200 ms at 100,000.
        const double limit = count == 10000 ? 20 : count == 100000 ? 200 : 0;
        printLine({QString::number(count), spread(step), QString::number(median(listing), 'f', 1),
                   QString::number(median(neighbour), 'f', 1),
                   limit > 0 ? QStringLiteral("≤ %1").arg(limit) : QString(),
                   limit <= 0              ? QString()
                   : median(step) <= limit ? QStringLiteral("met")
                                           : QStringLiteral("NOT MET")});
    }
    return 0;
}
