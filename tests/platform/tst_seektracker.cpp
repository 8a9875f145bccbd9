// The seek bookkeeping of the mpv player, without mpv. Each row feeds a script of requests and
// engine events and reads back, event by event, the commands for the core and the seeks
// completed (numbered from 1). The video: 60 s at 25 fps, key frames 10 s apart, paused at 20.4 s
// by an exact seek.
#include "picturestretch.h"
#include "seektracker.h"
#include "testsupport.h"

#include <QTest>

#include <functional>
#include <map>

class TestSeekTracker : public QObject {
    Q_OBJECT

private slots:
    void script_data()
    {
        const auto row = textColumns("script", "expected");
        row("a seek completes at the restart after it started",
            "seek 30;ok 1;restart;start;restart", "seek 30 exact;;;;done 1");
        row("seeks started as one complete once each", "drag 30;seek 41;ok 1;ok 2;start;restart",
            "seek 30 keyframes;seek 41 exact;;;;done 1 done 2");
        row("a refused seek completes at its reply", "seek 30;refuse 1", "seek 30 exact;done 1");
        row("failing completes every seek", "drag 30;seek 31;fail",
            "seek 30 keyframes;seek 31 exact;done 1 done 2");
        row("steps forward decode a frame each", "seek 20.44;seek 20.48;at 20.44;at 20.48",
            "step;step;done 1;done 2");
        row("two frames ahead is a seek", "seek 20.48", "seek 20.48 exact");
        row("a step just after pausing is a seek", "play;pause;seek 20.44", ";;seek 20.44 exact");
        row("a step past the last frame completes at the end", "from 59.92;seek 59.96;seek 60;end",
            ";step;seek 60 exact;done 1");
        row("the end pauses until a seek", "play;end;play;seek 10;play",
            ";played;stays;seek 10 exact;");
        row("a paused player sent to the end stays", "seek 60;end;play", "seek 60 exact;;stays");
        row("slow steps back are seeks", "seek 20.36;wait;seek 20.32",
            "seek 20.36 exact;;seek 20.32 exact");
        const char *held = "seek 20.36;seek 20.32;ok 1;start;restart;start;restart;at 20.32";
        const QString turned =
            QStringLiteral("seek 20.36 exact;;;;done 1 silence back;;step;done 2");
        QTest::newRow("held steps back turn the core")
            << QString::fromLatin1(held) + ";seek 20.28;at 20.28" << turned + ";step;done 3";
        QTest::newRow("a step forward turns it forward")
            << QString::fromLatin1(held) + ";seek 20.36" << turned + ";forward seek 20.36 exact";
        QTest::newRow("the sound comes back once no seek is under way")
            << QString::fromLatin1(held) +
                   ";seek 20.36;ok 3;start;seek 30;restart;ok 4;start;restart"
            << turned + ";forward seek 20.36 exact;;;seek 30 exact;done 3;;;done 4 sound";
        QTest::newRow("playing turns it forward")
            << QString::fromLatin1(held) + ";play" << turned + ";forward seek 20.32 exact";
        row("steps waiting to turn give way to a seek",
            "seek 20.36;seek 20.32;seek 30;ok 3;start;restart",
            "seek 20.36 exact;;seek 30 exact;;;done 2 done 3");
        row("no room for the stretch", "tight;seek 20.36;seek 20.32",
            ";seek 20.36 exact;seek 20.32 exact");
        row("a hold goes by seeks until it has lasted",
            "hold 0.1;seek 20.36;seek 20.32;seek 20.28;seek 20.24;seek 20.2",
            ";seek 20.36 exact;seek 20.32 exact;seek 20.28 exact;seek 20.24 exact;");
    }

    void script()
    {
        QFETCH(QString, script);
        QFETCH(QString, expected);
        SeekTracker tracker(0);
        SeekTracker::Media media{.isReady = true,
                                 .playhead = 20.4,
                                 .duration = 60,
                                 .containerFps = 25,
                                 .longestKeyFrameInterval = 10.0,
                                 .pictureBytes = 320 * 240 * 3 / 2,
                                 .reversalBytes = qint64(640) << 20};
        SeekTracker::Clock::time_point now;
        // Paused on the frame an exact seek showed.
        tracker.seek(20.4, true, media, now, {});
        tracker.accepted(0, true, true);
        tracker.started();
        tracker.restarted();
        (void)tracker.takeCommands();
        int seeks = 0;
        QString out;
        const auto seek = [&](double target, bool isExact) {
            now += std::chrono::milliseconds(30); // a held key's repeat
            tracker.seek(target, isExact, media, now,
                         [&out, id = ++seeks] { out += QStringLiteral(" done %1").arg(id); });
            media.playhead = target;
        };
        using Event = std::function<void(double)>;
        const std::map<QString, Event> events = {
            {"seek", [&](double t) { seek(t, true); }},
            {"drag", [&](double t) { seek(t, false); }},
            {"ok", [&](double id) { tracker.accepted(uint64_t(id), true, true); }},
            {"refuse", [&](double id) { tracker.accepted(uint64_t(id), false, true); }},
            {"pause", [&](double) { tracker.pause(); }},
            {"start", [&](double) { tracker.started(); }},
            {"restart", [&](double) { tracker.restarted(); }},
            {"at", [&](double t) { tracker.playheadMoved(t); }},
            {"end", [&](double) { out += tracker.reachedEnd() ? " played" : ""; }},
            {"fail", [&](double) { tracker.completeAll(); }},
            {"wait", [&](double) { now += std::chrono::seconds(1); }},
            {"from", [&](double t) { media.playhead = t; }},
            {"tight", [&](double) { media.reversalBytes = 1; }},
            {"hold",
             [&](double s) {
                 media.turnAfter = std::chrono::duration_cast<SeekTracker::Clock::duration>(
                     std::chrono::duration<double>(s));
             }},
            {"play",
             [&](double) {
                 if (!tracker.mayPlay())
                     out += " stays";
                 else if (tracker.playNeedsSeek())
                     seek(media.playhead, true);
                 if (tracker.mayPlay())
                     tracker.play();
             }},
        };
        QStringList log;
        for (const QString &event : script.split(QLatin1Char(';'))) {
            out.clear();
            events.at(event.section(QLatin1Char(' '), 0, 0))(
                event.section(QLatin1Char(' '), 1).toDouble());
            for (const SeekTracker::Command &c : tracker.takeCommands()) {
                static const char *const kNames[] = {"seek",    "step",    "back",
                                                     "forward", "silence", "sound"};
                out += QLatin1Char(' ') + QLatin1String(kNames[int(c.kind)]);
                if (c.kind == SeekTracker::Command::Kind::Seek)
                    out += QStringLiteral(" %1 %2").arg(c.target).arg(c.isExact ? "exact"
                                                                                : "keyframes");
            }
            log << out.trimmed();
        }
        QCOMPARE(log.join(QLatin1Char(';')), expected);
    }

    // Which kept picture a step shows: the one an exact seek would, or none when it may lie
    // outside them. Kept: the pictures at 20.00 to 20.12 s; "previous" when the one before
    // them is known to start at 19.96.
    void keptPictureForTarget_data()
    {
        const auto row = textColumns("targets", "expected");
        row("the first picture at or after the target", "20.04 20.01 20.12", "1 1 3");
        row("one less than 5 ms before counts as at it", "20.084 20.086", "2 3");
        row("past the newest is not kept", "20.126 21", "- -");
        row("before the oldest, its predecessor unknown", "20 19.996 19.99 19.97", "0 0 - -");
        row("before the oldest, its predecessor known", "previous 20 19.97 19.964 19.9", "0 0 - -");
    }

    void keptPictureForTarget()
    {
        QFETCH(QString, targets);
        QFETCH(QString, expected);
        const std::vector<double> starts{20.0, 20.04, 20.08, 20.12};
        std::optional<double> previous;
        QStringList found;
        for (const QString &t : targets.split(QLatin1Char(' '))) {
            if (t == QLatin1String("previous")) {
                previous = 19.96;
                continue;
            }
            const auto index = pictureForTarget(starts, previous, t.toDouble());
            found << (index ? QString::number(*index) : QStringLiteral("-"));
        }
        QCOMPARE(found.join(QLatin1Char(' ')), expected);
    }
};

QTEST_APPLESS_MAIN(TestSeekTracker)
#include "tst_seektracker.moc"
