// Seeking, frame stepping and the scrubber on the real engine, judged by the picture on screen:
// the counter clip (60 s at 25 fps, a key frame every 10 s) draws its frame number, so a grab of
// the window tells which frame is shown.
#include "renderharness.h"
#include "testsupport.h"

#include <QSignalSpy>
#include <QTest>

#include <algorithm>
#include <cmath>

namespace {

constexpr int kLastFrame = 1499;

// The frame an exact seek to `seconds` shows: the first that starts at or after it, where a frame
// that starts less than 5 ms before counts as starting at it; at the end, the last.
int frameAt(double seconds)
{
    return std::min(int(std::ceil((seconds - 0.005) * 25)), kLastFrame);
}

} // namespace

class TestSeekOnScreen : public QObject {
    Q_OBJECT

private slots:
    // Each row is a script of the user's requests, from playing at the start of the clip:
    // a number skips to that time; + and - step a frame, several at once are a held key (a press
    // every 30 ms); "~T" drags the scrubber to T and lets go. While paused, every request must end
    // on the frame the arithmetic names, with the playhead at its target and every seek completed
    // "play" must then run forward from that frame.
    void requestsShowTheirFrame_data()
    {
        QTest::addColumn<QString>("script");
        QTest::addColumn<qint64>("room"); // for the pictures kept by steps back
        const qint64 room = MpvEngine::Options{}.reversalBytes;
        const auto row = [room](const char *name, const char *script, qint64 r = 0) {
            QTest::newRow(name) << QString::fromLatin1(script) << (r ? r : room);
        };
        row("exact seeks", "pause 12 12.345 33.4 0.5 7.99 47.123 47.126 19.96");
        row("a step each way, paused", "pause 20 + -");
        row("a step each way, playing", "20 + -");
        row("steps into and past the last frame", "pause 59.92 + 59.92 +++");
        // Frame 510 is 10 frames past the key frame at 500: twelve steps back cross it.
        row("back one at a time, then forward", "pause 20.4 - - - - - - - - - - - - +");
        row("back held, then play", "pause 20.4 ------------ play");
        row("back held, faster, then play", "pause 20.4 ----- 2x play");
        row("both ways held, then skip", "pause 20.4 ---++--+ 19.32");
        row("back from between frames", "pause 12.345 - - play");
        row("back from the end", "pause 60 - - +");
        row("no room for the stretch", "pause 20.4 ---- play", 1);
        row("next file while stepping back", "pause 20.4 ------ open");
        row("drag, then release", "pause 10 ~37.48");
        row("past the end, playing", "57 62");
        row("past the end, paused", "pause 57 62");
        row("past the end, paused, repeat on", "pause repeat 57 62"); // only playing repeats
    }

    void requestsShowTheirFrame()
    {
        QFETCH(QString, script);
        QFETCH(qint64, room);
        RenderHarness h(room);
        PlaybackSession &s = h.session;
        QVERIFY(h.openAndWaitReady(testMedia(QStringLiteral("counter.mp4"))));
        QSignalSpy playing(&s, &PlaybackSession::isPlayingChanged);
        bool paused = false;
        double target = 0;
        for (const QString &request : script.split(QLatin1Char(' '))) {
            const int changes = int(playing.count());
            if (request == QLatin1String("pause")) {
                s.togglePlay();
                paused = true;
                continue;
            } else if (request == QLatin1String("repeat")) {
                s.setRepeating(true);
                continue;
            } else if (request == QLatin1String("2x")) {
                s.setRate(2.0f);
                continue;
            } else if (request == QLatin1String("open")) {
                QVERIFY(h.openAndWaitReady(testMedia(QStringLiteral("clip.mp4"))));
                QTRY_VERIFY_WITH_TIMEOUT(s.currentTime() > 0.5, 10000);
                return;
            } else if (request == QLatin1String("play")) {
                s.togglePlay();
                // Forward from the frame shown, and on: never back, never from elsewhere.
                QTRY_VERIFY_WITH_TIMEOUT(h.shownFrame() > frameAt(target) + 10, 10000);
                const int later = h.shownFrame();
                QVERIFY2(later < frameAt(target) + 100, qPrintable(QString::number(later)));
                QTRY_VERIFY_WITH_TIMEOUT(h.shownFrame() > later, 10000);
                QVERIFY(s.isPlaying());
                return;
            } else if (request.startsWith(QLatin1Char('~'))) {
                target = request.mid(1).toDouble();
                for (double t = s.currentTime(); t < target; t += 0.19) {
                    s.scrub(t);
                    QTest::qWait(3); // a pointer reports a position every few milliseconds
                }
                s.scrub(target);
                // The drag's seeks land on key frames.
                QTRY_VERIFY_WITH_TIMEOUT(h.shownFrame() % 250 == 0 && s.isSeeking(), 10000);
                s.endScrub();
                QTRY_VERIFY_WITH_TIMEOUT(!s.isSeeking(), 10000);
            } else if (request[0] == QLatin1Char('+') || request[0] == QLatin1Char('-')) {
                if (!paused)
                    target = s.currentTime();
                for (const QChar press : request) {
                    const int frames = press == QLatin1Char('+') ? 1 : -1;
                    s.stepFrame(frames);
                    target = std::clamp(target + frames / 25.0, 0.0, 60.0);
                    QTest::qWait(request.size() > 1 ? 30 : 0); // a held key's repeat
                }
            } else {
                target = std::clamp(request.toDouble(), 0.0, 60.0);
                s.skip(target - s.currentTime());
                if (!paused && target < 60) { // it plays on
                    QTRY_VERIFY_WITH_TIMEOUT(s.currentTime() > target + 0.3, 10000);
                    continue;
                }
            }
            // The frame shows and stays, and the steps' mpv frame-steps never read as playing.
            QTRY_COMPARE_WITH_TIMEOUT(h.shownFrame(), frameAt(target), 10000);
            QTRY_VERIFY_WITH_TIMEOUT(!s.isPlaying(), 10000);
            settle();
            QCOMPARE(h.shownFrame(), frameAt(target));
            // The playhead reads as the target; in the last frame, once the core reached the end
            // there, as the end.
            for (const double t : {s.currentTime(), s.player()->currentTime()})
                QVERIFY2(qAbs(t - target) < 1e-3 || (frameAt(target) == kLastFrame && t == 60),
                         qPrintable(QStringLiteral("%1: %2 s").arg(request).arg(t)));
            QCOMPARE(s.player()->rate(), 0.0f);
            if (paused)
                QCOMPARE(playing.count(), changes);
            paused = true;
        }
    }
};

QTEST_MAIN(TestSeekOnScreen)
#include "tst_seekonscreen.moc"
