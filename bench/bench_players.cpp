// Lunelo against the mpv player on the same files, in the same X server and window size, runs
// alternating between the two, and the ratios. Run it through bench/run.sh, which builds it,
// makes the clips and starts it inside its own X server:
//
//     bench_players --lunelo <binary> --media <folder> [--runs N] [--only cpu,memory,...]
//
// Measures: CPU over 10 s of steady playback (1080p and 2160p, at 1× and 16×) with the frames
// each player dropped meanwhile, peak resident memory while playing 1080p, process start to
// first picture (on screen, and as each player reports it), exact seeks and frame steps both ways
// on a long-GOP file, a two-second drag through that file (positions shown, release to exact
// picture), and stepping back through long-GOP files at 1080p and 2160p (one step, comma held
// for 20, the memory meanwhile).
#include "framecounter.h"
#include "players.h"

#include <QCommandLineParser>
#include <QDir>
#include <QGuiApplication>
#include <QImage>
#include <QPixmap>
#include <QScreen>
#include <QSet>
#include <QTemporaryDir>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <vector>

using namespace Bench;

namespace {

// What each run of a measure gave, per player.
struct Samples {
    std::vector<double> lunelo;
    std::vector<double> mpv;
};

double median(std::vector<double> v)
{
    if (v.empty())
        return NAN;
    std::sort(v.begin(), v.end());
    const size_t n = v.size();
    return n % 2 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
}

QString figure(const std::vector<double> &v, double scale, int decimals)
{
    if (v.empty())
        return QStringLiteral("n/a");
    const auto [lo, hi] = std::minmax_element(v.begin(), v.end());
    if (v.size() == 1)
        return QString::number(median(v) * scale, 'f', decimals);
    return QStringLiteral("%1 (%2–%3)")
        .arg(median(v) * scale, 0, 'f', decimals)
        .arg(*lo * scale, 0, 'f', decimals)
        .arg(*hi * scale, 0, 'f', decimals);
}

// How a measure is judged: Lunelo's median against mpv's, as a ratio or as a difference.
struct Target {
    enum class Kind {
        Ratio,      // Lunelo's median at most `limit` times mpv's
        Difference, // Lunelo's median at most `limit` more than mpv's
        Own,        // Lunelo's median at most `limit`
        None,
    } kind = Kind::None;
    double limit = 0;
};

struct Row {
    QString measure;
    QString unit;
    double scale = 1; // from the samples' unit to the printed one
    int decimals = 2;
    Samples samples;
    Target target;
};

// One line of the table; the columns are padded by characters, not bytes.
void printLine(const QStringList &cells)
{
    static constexpr int kWidths[] = {36, 24, 24, 10, 10, 0};
    QString line;
    for (int i = 0; i < cells.size(); ++i)
        line += cells[i].leftJustified(kWidths[i]) + QLatin1Char(' ');
    std::printf("%s\n", qPrintable(line.trimmed()));
}

void printRows(const std::vector<Row> &rows)
{
    std::printf("\n");
    printLine({QStringLiteral("measure"), QStringLiteral("Lunelo median (min–max)"),
               QStringLiteral("mpv median (min–max)"), QStringLiteral("vs mpv"),
               QStringLiteral("target"), QString()});
    for (const Row &row : rows) {
        const double l = median(row.samples.lunelo);
        const double m = median(row.samples.mpv);
        QString compared = QStringLiteral("");
        QString target = QStringLiteral("");
        QString verdict = QStringLiteral("");
        switch (row.target.kind) {
        case Target::Kind::Ratio:
            compared = QString::number(l / m, 'f', 2) + QStringLiteral("×");
            target = QStringLiteral("≤ %1×").arg(row.target.limit, 0, 'f', 2);
            verdict = l / m <= row.target.limit ? QStringLiteral("met") : QStringLiteral("NOT MET");
            break;
        case Target::Kind::Difference:
            compared = QStringLiteral("%1%2")
                           .arg(l >= m ? "+" : "")
                           .arg((l - m) * row.scale, 0, 'f', row.decimals);
            target = QStringLiteral("≤ +%1").arg(row.target.limit * row.scale, 0, 'f', 0);
            verdict = l - m <= row.target.limit ? QStringLiteral("met") : QStringLiteral("NOT MET");
            break;
        case Target::Kind::Own:
            target = QStringLiteral("≤ %1").arg(row.target.limit, 0, 'f', 2);
            verdict = l <= row.target.limit ? QStringLiteral("met") : QStringLiteral("NOT MET");
            break;
        case Target::Kind::None:
            if (!row.samples.mpv.empty() && m != 0)
                compared = QString::number(l / m, 'f', 2) + QStringLiteral("×");
            break;
        }
        const bool needsMpv =
            row.target.kind == Target::Kind::Ratio || row.target.kind == Target::Kind::Difference;
        if (std::isnan(l) || (needsMpv && std::isnan(m)))
            verdict = QStringLiteral("no figure");
        const QString name =
            row.unit.isEmpty() ? row.measure : row.measure + QStringLiteral(", ") + row.unit;
        printLine({name, figure(row.samples.lunelo, row.scale, row.decimals),
                   row.samples.mpv.empty() ? QStringLiteral("—")
                                           : figure(row.samples.mpv, row.scale, row.decimals),
                   compared, target, verdict});
    }
    std::fflush(stdout);
}

void note(const char *format, const QString &text = {})
{
    std::fprintf(stderr, format, qPrintable(text));
    std::fflush(stderr);
}

// The frame number the long-GOP clip's counter shows in `area` (a player's 1280×720 window
// showing the 1920×1080 picture); -1 when none can be read.
int shownFrame(const QRect &area)
{
    // The counter's grid lies at 720, 360 in the picture, 480 × 360: two thirds of that on screen.
    const QRect grid(area.x() + 480, area.y() + 240, 320, 240);
    const QImage image = QGuiApplication::primaryScreen()
                             ->grabWindow(0, grid.x(), grid.y(), grid.width(), grid.height())
                             .toImage();
    return readFrameCounter(image, QRectF(image.rect()));
}

// Whether `area` (a player's window) shows the colour bars of the playing clips: a band across
// its middle, where no control is drawn, holds at least four of the six bars' colours (red,
// green, yellow, blue, magenta, cyan), each over a twentieth of its width or more. Nothing else
// the players show (black, grey controls, the screen's background) has them.
bool showsColourBars(const QRect &area)
{
    const QImage band =
        QGuiApplication::primaryScreen()
            ->grabWindow(0, area.x(), area.y() + area.height() * 3 / 5, area.width(), 2)
            .toImage()
            .convertToFormat(QImage::Format_RGB32);
    if (band.width() < 20)
        return false;
    int counts[8] = {};
    const auto *row = reinterpret_cast<const QRgb *>(band.constScanLine(0));
    for (int x = 0; x < band.width(); ++x) {
        const auto level = [](int c) { return c > 190 ? 1 : c < 70 ? 0 : -1; };
        const int r = level(qRed(row[x])), g = level(qGreen(row[x])), b = level(qBlue(row[x]));
        if (r >= 0 && g >= 0 && b >= 0)
            ++counts[r * 4 + g * 2 + b];
    }
    // Of the eight corners of the colour cube, the six that are neither black nor white.
    int bars = 0;
    for (const int c : {1, 2, 3, 4, 5, 6})
        bars += counts[c] * 20 >= band.width();
    return bars >= 4;
}

// Reads the counter in `area` until it shows `frame`: when it did, or nothing after 10 s.
std::optional<double> waitForFrame(const QRect &area, int frame)
{
    std::optional<double> at;
    waitUntil(
        [&] {
            if (shownFrame(area) == frame)
                at = now();
            return at.has_value();
        },
        10000);
    return at;
}

class Suite {
public:
    Suite(const QString &lunelo, const QString &media, int runs)
        : m_media(media)
        , m_runs(runs)
        , m_lunelo(std::make_unique<LuneloPlayer>(lunelo, m_home.path()))
        , m_mpv(std::make_unique<MpvPlayer>(m_home.path()))
    {
    }

    QString clip(const char *name) const { return QDir(m_media).absoluteFilePath(name); }

    // Both players, in turns that alternate which goes first.
    template<typename Run> void alternate(int runs, Run run)
    {
        for (int r = 0; r < runs; ++r) {
            Player *first = r % 2 ? static_cast<Player *>(m_mpv.get()) : m_lunelo.get();
            Player *second = r % 2 ? static_cast<Player *>(m_lunelo.get()) : m_mpv.get();
            run(*first, first == m_lunelo.get());
            run(*second, second == m_lunelo.get());
        }
    }

    bool startAndShow(Player &player, const QString &file)
    {
        if (!player.start(file) || !player.waitFirstFrame(20000)) {
            note("bench: %s did not show the file\n", player.name());
            player.stop();
            return false;
        }
        // The pointer away from the window, so that no controls show.
        xdotool({QStringLiteral("mousemove"), QString::number(kWindow.center().x()),
                 QStringLiteral("1000")});
        return true;
    }

    void warmUp()
    {
        note("bench: warming up (one launch each)\n");
        alternate(1, [&](Player &p, bool) {
            if (startAndShow(p, clip("play-1080p30.mp4")))
                waitFor(1000);
            p.stop();
        });
    }

    // CPU over 10 s of steady playback; the frames dropped meanwhile; the peak resident memory.
    void cpu(const char *file, bool zoom, Samples &cpu, Samples &dropped, Samples *memory)
    {
        note("bench: CPU, %s\n", QStringLiteral("%1 at %2").arg(file).arg(zoom ? "16×" : "1×"));
        alternate(m_runs, [&](Player &p, bool isLunelo) {
            if (!startAndShow(p, clip(file)))
                return;
            if (zoom && !p.zoomTo16()) {
                note("bench: %s did not zoom\n", p.name());
                p.stop();
                return;
            }
            waitFor(2000);
            const std::optional<Drops> before = p.drops();
            const double start = cpuSeconds(p.pid());
            waitFor(10000);
            const double end = cpuSeconds(p.pid());
            const std::optional<Drops> after = p.drops();
            const qint64 peak = peakResidentKiB(p.pid());
            p.stop();
            (isLunelo ? cpu.lunelo : cpu.mpv).push_back(end - start);
            if (before && after)
                (isLunelo ? dropped.lunelo : dropped.mpv)
                    .push_back(double(after->total() - before->total()));
            if (memory)
                (isLunelo ? memory->lunelo : memory->mpv).push_back(double(peak));
        });
    }

    // From the launch to the clip's picture on screen, as someone watching the screen sees it:
    // the screen is read from the moment the process starts until the window shows the clip's
    // colours. Beside it, when the player itself says it showed its first picture.
    void firstPicture(Samples &onScreen, Samples &ownReport)
    {
        note("bench: first picture\n");
        alternate(m_runs * 2, [&](Player &p, bool isLunelo) {
            // The last player's picture gone from the screen first.
            if (!waitUntil([] { return !showsColourBars(kWindow); }, 5000))
                note("bench: the screen still shows the last picture\n");
            if (!p.start(clip("play-1080p30.mp4"))) {
                p.stop();
                return;
            }
            std::optional<double> seen;
            waitUntil(
                [&] {
                    if (showsColourBars(kWindow))
                        seen = now();
                    return seen || !p.isRunning();
                },
                20000);
            if (seen && p.waitFirstFrame(20000)) {
                (isLunelo ? onScreen.lunelo : onScreen.mpv).push_back(*seen - p.startedAt());
                (isLunelo ? ownReport.lunelo : ownReport.mpv)
                    .push_back(p.firstFrameAt() - p.startedAt());
            } else {
                note("bench: %s did not show the file\n", p.name());
            }
            p.stop();
        });
    }

    // From a paused start at 0: skips to 10 and 20 s, back to 10 s, three steps forward and three
    // back, each timed from the player taking the request to its frame on screen (read from the
    // counter), so both players are timed alike and must show the same frames.
    void seeks(Samples &forward, Samples &back, Samples &stepForward, Samples &stepBack)
    {
        note("bench: seeks and frame steps\n");
        using Op = Player::Op;
        const std::vector<std::pair<Op, int>> plan{
            {Op::SkipForward, 250}, {Op::SkipForward, 500}, {Op::SkipBack, 250},
            {Op::StepForward, 251}, {Op::StepForward, 252}, {Op::StepForward, 253},
            {Op::StepBack, 252},    {Op::StepBack, 251},    {Op::StepBack, 250},
        };
        alternate(m_runs, [&](Player &p, bool isLunelo) {
            if (!startAndShow(p, clip("longgop-1080p25.mp4")))
                return;
            const QRect area = p.contentArea();
            if (!p.pause() || !p.perform(Op::SkipBack) || !waitForFrame(area, 0)) {
                note("bench: %s did not pause at the start\n", p.name());
                p.stop();
                return;
            }
            waitFor(500);
            QStringList wrong;
            for (const auto &[op, frame] : plan) {
                const std::optional<double> asked = p.perform(op);
                const std::optional<double> shown =
                    asked ? waitForFrame(area, frame) : std::nullopt;
                waitFor(300);
                if (const int last = shownFrame(area); last != frame)
                    wrong << QStringLiteral("%1 for %2").arg(last).arg(frame);
                if (!shown) {
                    note("bench: %s did not show a seek\n", p.name());
                    continue;
                }
                const double latency = *shown - *asked;
                Samples &s = op == Op::SkipForward   ? forward
                             : op == Op::SkipBack    ? back
                             : op == Op::StepForward ? stepForward
                                                     : stepBack;
                (isLunelo ? s.lunelo : s.mpv).push_back(latency);
            }
            if (!wrong.isEmpty())
                note("bench: %s\n", p.name() +
                                        QStringLiteral(" showed other frames than planned: ") +
                                        wrong.join(QStringLiteral(", ")));
            p.stop();
        });
    }

    // A two-second drag from 0 to 27 s: the distinct positions shown meanwhile, and the time
    // from the release to the exact picture, both read from the frame counter on screen.
    void scrub(Samples &positions, Samples &release)
    {
        note("bench: scrubbing\n");
        alternate(m_runs, [&](Player &p, bool isLunelo) {
            if (!startAndShow(p, clip("longgop-1080p25.mp4")))
                return;
            const QRect area = p.contentArea();
            if (!p.pause() || !p.perform(Player::Op::SkipBack) || !waitForFrame(area, 0)) {
                p.stop();
                return;
            }
            waitFor(500);
            QSet<int> seen;
            const std::optional<Player::Release> released = p.scrub(27.0, 2.0, [&] {
                const int frame = shownFrame(area);
                if (frame >= 0)
                    seen.insert(frame);
            });
            // The exact picture: the first frame that starts at or after the target (a frame
            // starting up to 5 ms before it counts), read from the screen.
            const std::optional<double> shownAt =
                released ? waitForFrame(area, int(std::ceil((released->target - 0.005) * 25)))
                         : std::nullopt;
            if (qEnvironmentVariableIsSet("LUNELO_BENCH_VERBOSE")) {
                QStringList frames;
                for (const int f : std::as_const(seen))
                    frames << QString::number(f);
                note("bench: %s\n", QStringLiteral("%1 in %2,%3 %4x%5 showed %6")
                                        .arg(p.name())
                                        .arg(area.x())
                                        .arg(area.y())
                                        .arg(area.width())
                                        .arg(area.height())
                                        .arg(frames.join(QLatin1Char(' '))));
            }
            p.stop();
            (isLunelo ? positions.lunelo : positions.mpv).push_back(double(seen.size()));
            if (shownAt)
                (isLunelo ? release.lunelo : release.mpv).push_back(*shownAt - released->at);
            else
                note("bench: %s did not show the exact frame after the scrub\n", p.name());
        });
    }

    // Stepping back in a long-GOP file, paused 10 s in (37 or 62 frames past a key frame): one
    // step, then comma held for 20 presses (25 a second, a keyboard's repeat), timed until the
    // 20th frame before is on screen, and the peak resident memory after them. mpv ignores a
    // frame-back-step while one runs, so its 20 go one after the other, each once the one
    // before shows: what holding comma gets from it at best.
    void backSteps(const char *file, Samples &one, Samples &held, Samples &memory)
    {
        note("bench: stepping back, %s\n", QString::fromLatin1(file));
        using Op = Player::Op;
        constexpr int kFrom = 250;
        constexpr int kPresses = 20;
        alternate(m_runs, [&](Player &p, bool isLunelo) {
            if (!startAndShow(p, clip(file)))
                return;
            const QRect area = p.contentArea();
            if (!p.pause() || !p.perform(Op::SkipBack) || !waitForFrame(area, 0) ||
                !p.perform(Op::SkipForward) || !waitForFrame(area, kFrom)) {
                note("bench: %s did not pause 10 s in\n", p.name());
                p.stop();
                return;
            }
            waitFor(500);
            const std::optional<double> asked = p.perform(Op::StepBack);
            const std::optional<double> shown =
                asked ? waitForFrame(area, kFrom - 1) : std::nullopt;
            waitFor(300);
            const double begin = now();
            std::optional<double> last;
            if (isLunelo) {
                if (m_lunelo->pressRepeatedly(QStringLiteral("comma"), kPresses, 40))
                    last = waitForFrame(area, kFrom - 1 - kPresses);
            } else {
                for (int i = 1; i <= kPresses; ++i) {
                    last =
                        p.perform(Op::StepBack) ? waitForFrame(area, kFrom - 1 - i) : std::nullopt;
                    if (!last)
                        break;
                }
            }
            const qint64 peak = peakResidentKiB(p.pid());
            waitFor(500);
            if (const int frame = shownFrame(area); frame != kFrom - 1 - kPresses)
                note("bench: %s\n", QStringLiteral("%1 ended on frame %2 instead of %3")
                                        .arg(p.name())
                                        .arg(frame)
                                        .arg(kFrom - 1 - kPresses));
            p.stop();
            if (shown)
                (isLunelo ? one.lunelo : one.mpv).push_back(*shown - *asked);
            if (last)
                (isLunelo ? held.lunelo : held.mpv).push_back(*last - begin);
            else
                note("bench: %s did not show the held steps\n", p.name());
            (isLunelo ? memory.lunelo : memory.mpv).push_back(double(peak));
        });
    }

private:
    QTemporaryDir m_home;
    QString m_media;
    int m_runs;
    std::unique_ptr<LuneloPlayer> m_lunelo;
    std::unique_ptr<MpvPlayer> m_mpv;
};

} // namespace

int main(int argc, char *argv[])
{
    QGuiApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addOptions({
        {QStringLiteral("lunelo"), QStringLiteral("The lunelo binary."), QStringLiteral("path")},
        {QStringLiteral("media"), QStringLiteral("The clips of bench/media.sh."),
         QStringLiteral("folder")},
        {QStringLiteral("runs"), QStringLiteral("Runs per player and measure (5)."),
         QStringLiteral("n"), QStringLiteral("5")},
        {QStringLiteral("only"),
         QStringLiteral("Comma-separated: cpu, cpu4k, memory, start, seek, scrub, backstep."),
         QStringLiteral("list")},
    });
    parser.addHelpOption();
    parser.process(app);
    const QStringList only =
        parser.value(QStringLiteral("only")).split(QLatin1Char(','), Qt::SkipEmptyParts);
    const auto wanted = [&](const char *measure) {
        return only.isEmpty() || only.contains(QLatin1String(measure));
    };

    Suite bench(parser.value(QStringLiteral("lunelo")), parser.value(QStringLiteral("media")),
                std::max(1, parser.value(QStringLiteral("runs")).toInt()));
    // A solid background, so that the screen is cleared where a player's window closed.
    QProcess::execute(QStringLiteral("xsetroot"),
                      {QStringLiteral("-solid"), QStringLiteral("black")});
    bench.warmUp();

    std::vector<Row> rows;
    constexpr Target kCpu{Target::Kind::Ratio, 1.10};
    const auto cpuRows = [&](const char *file, const char *label, bool withMemory) {
        Samples one, sixteen, dropsOne, dropsSixteen, memory;
        bench.cpu(file, false, one, dropsOne, withMemory ? &memory : nullptr);
        bench.cpu(file, true, sixteen, dropsSixteen, nullptr);
        rows.push_back({QStringLiteral("CPU %1 1×").arg(label), QStringLiteral("s per 10 s"), 1, 2,
                        one, kCpu});
        rows.push_back({QStringLiteral("CPU %1 16×").arg(label), QStringLiteral("s per 10 s"), 1, 2,
                        sixteen, kCpu});
        rows.push_back(
            {QStringLiteral("  frames dropped %1 1×").arg(label), {}, 1, 0, dropsOne, {}});
        rows.push_back(
            {QStringLiteral("  frames dropped %1 16×").arg(label), {}, 1, 0, dropsSixteen, {}});
        // 16× against 1× for each player: Lunelo's judged, mpv's for comparison.
        Samples zoomCost{{median(sixteen.lunelo) / median(one.lunelo)},
                         {median(sixteen.mpv) / median(one.mpv)}};
        rows.push_back({QStringLiteral("  16× CPU / 1× CPU, %1").arg(label),
                        {},
                        1,
                        2,
                        zoomCost,
                        {Target::Kind::Own, 1.05}});
        if (!memory.lunelo.empty())
            rows.push_back({QStringLiteral("Peak resident memory %1").arg(label),
                            QStringLiteral("MiB"),
                            1.0 / 1024,
                            0,
                            memory,
                            {Target::Kind::Ratio, 1.15}});
    };
    if (wanted("cpu") || wanted("memory"))
        cpuRows("play-1080p30.mp4", "1080p", true);
    if (wanted("cpu4k"))
        cpuRows("play-2160p30.mp4", "2160p", false);
    if (wanted("start")) {
        Samples onScreen, ownReport;
        bench.firstPicture(onScreen, ownReport);
        rows.push_back({QStringLiteral("Start to first picture, on screen"),
                        QStringLiteral("ms"),
                        1000,
                        0,
                        onScreen,
                        {Target::Kind::Difference, 0.050}});
        rows.push_back({QStringLiteral("  the players' own report"),
                        QStringLiteral("ms"),
                        1000,
                        0,
                        ownReport,
                        {}});
    }
    if (wanted("seek")) {
        Samples forward, back, stepForward, stepBack;
        bench.seeks(forward, back, stepForward, stepBack);
        // One frame of the 25 fps clip: 40 ms.
        constexpr Target kFrame{Target::Kind::Difference, 0.040};
        rows.push_back({QStringLiteral("Exact seek forward 10 s"), QStringLiteral("ms"), 1000, 0,
                        forward, kFrame});
        rows.push_back(
            {QStringLiteral("Exact seek back 10 s"), QStringLiteral("ms"), 1000, 0, back, kFrame});
        rows.push_back({QStringLiteral("Frame step forward"), QStringLiteral("ms"), 1000, 0,
                        stepForward, kFrame});
        rows.push_back(
            {QStringLiteral("Frame step back"), QStringLiteral("ms"), 1000, 0, stepBack, kFrame});
    }
    if (wanted("scrub")) {
        Samples positions, release;
        bench.scrub(positions, release);
        rows.push_back({QStringLiteral("Scrub: positions shown in 2 s"), {}, 1, 0, positions, {}});
        rows.push_back({QStringLiteral("Scrub: release to exact frame"),
                        QStringLiteral("ms"),
                        1000,
                        0,
                        release,
                        {}});
    }
    if (wanted("backstep")) {
        for (const auto &[file, label] : {std::pair{"longgop-1080p25.mp4", "1080p"},
                                          std::pair{"longgop-2160p25.mp4", "2160p"}}) {
            Samples one, held, memory;
            bench.backSteps(file, one, held, memory);
            rows.push_back({QStringLiteral("Frame step back, %1").arg(label),
                            QStringLiteral("ms"),
                            1000,
                            0,
                            one,
                            {}});
            rows.push_back({QStringLiteral("Comma held, 20 steps back, %1").arg(label),
                            QStringLiteral("ms"),
                            1000,
                            0,
                            held,
                            {Target::Kind::Ratio, 0.25}});
            rows.push_back({QStringLiteral("  peak resident memory, %1").arg(label),
                            QStringLiteral("MiB"),
                            1.0 / 1024,
                            0,
                            memory,
                            {}});
        }
    }
    printRows(rows);
    return 0;
}
