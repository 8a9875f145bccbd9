// Seeking, frame stepping and the scrubber on the real engine, judged by the picture on screen:
// the counter clip (60 s at 25 fps, a key frame every 10 s) draws its frame number, so a grab of
// the window tells which frame is shown.
#include "renderharness.h"
#include "testsupport.h"

#include <QTest>

#include <algorithm>
#include <cmath>

namespace {

constexpr double kFramesPerSecond = 25;
constexpr int kLastFrame = 1499;

QString counterClip()
{
    return testMedia(QStringLiteral("counter.mp4"));
}

// Where an exact seek to `seconds` lands: the first frame that starts at or after it, where a
// frame that starts less than 5 ms before counts as starting at it.
int frameAtOrAfter(double seconds)
{
    return int(std::ceil((seconds - 0.005) * kFramesPerSecond));
}

} // namespace

class TestSeekOnScreen : public QObject {
    Q_OBJECT

private slots:
    void exactSeekShowsTheFirstFrameAtOrAfterTheTarget()
    {
        RenderHarness h;
        PlaybackSession &s = h.session();
        QVERIFY(h.openAndWaitReady(counterClip()));
        s.togglePlay();
        QStringList landings;
        for (const double target : {12.0, 12.345, 33.4, 0.5, 7.99, 47.123, 47.126, 19.96}) {
            s.skip(target - s.currentTime());
            const int expected = frameAtOrAfter(target);
            QTRY_COMPARE_WITH_TIMEOUT(h.shownFrame(), expected, 10000);
            QVERIFY(h.waitForSeeksSettled());
            QCOMPARE(h.shownFrame(), expected);
            QVERIFY(!s.isPlaying());
            // The playhead stays at the target (the engine's on the grid of 1/600 s).
            QVERIFY(qAbs(s.currentTime() - target) <= 1.0 / 1200);
            QVERIFY(qAbs(h.player()->currentTime() - target) < 1e-3);
            landings << QStringLiteral("%1 s: frame %2 (+%3 ms), engine at %4 s")
                            .arg(target)
                            .arg(expected)
                            .arg((expected / kFramesPerSecond - target) * 1000, 0, 'f', 1)
                            .arg(h.player()->currentTime(), 0, 'f', 4);
        }
        qInfo().noquote() << "exact seeks:" << landings.join(QStringLiteral("; "));
    }

    // The step pauses, moves the playhead by one frame (0.04 s) and shows that frame; a step
    // back shows the frame before.
    void stepFrameShowsTheNextAndThePreviousFrame_data()
    {
        QTest::addColumn<bool>("playing");
        QTest::newRow("paused") << false;
        QTest::newRow("playing") << true;
    }

    void stepFrameShowsTheNextAndThePreviousFrame()
    {
        QFETCH(bool, playing);
        RenderHarness h;
        PlaybackSession &s = h.session();
        QVERIFY(h.openAndWaitReady(counterClip()));
        if (!playing)
            s.togglePlay();
        s.skip(20.0 - s.currentTime());
        if (playing)
            QTRY_VERIFY_WITH_TIMEOUT(s.currentTime() > 20.3, 10000);
        else
            QTRY_COMPARE_WITH_TIMEOUT(h.shownFrame(), 500, 10000);
        QVERIFY(h.waitForSeeksSettled());
        QCOMPARE(s.isPlaying(), playing);
        const double before = s.currentTime();

        s.stepFrame(1);
        QVERIFY(!s.isPlaying());
        QCOMPARE(h.player()->rate(), 0.0f);
        QCOMPARE(s.currentTime(), before + 0.04);
        const int next = frameAtOrAfter(s.currentTime());
        QTRY_COMPARE_WITH_TIMEOUT(h.shownFrame(), next, 10000);
        QVERIFY(h.waitForSeeksSettled());
        QCOMPARE(h.shownFrame(), next);
        QVERIFY(!s.isPlaying());

        s.stepFrame(-1);
        QCOMPARE(s.currentTime(), before);
        QTRY_COMPARE_WITH_TIMEOUT(h.shownFrame(), next - 1, 10000);
        QVERIFY(h.waitForSeeksSettled());
        QCOMPARE(h.shownFrame(), next - 1);
        QVERIFY(!s.isPlaying());
    }

    // Paused, a step forward decodes just the next frame. Steps sent faster than they show, and
    // steps into the last frame and past it, still show the frame an exact seek would, and each
    // completes once.
    void stepsInABurstAndAtTheEnd_data()
    {
        QTest::addColumn<double>("from");
        QTest::addColumn<int>("steps");
        QTest::addColumn<int>("expected");
        QTest::newRow("burst") << 20.0 << 6 << 506;
        QTest::newRow("into the last frame") << 59.92 << 1 << kLastFrame;
        QTest::newRow("past the last frame") << 59.92 << 3 << kLastFrame;
    }

    void stepsInABurstAndAtTheEnd()
    {
        QFETCH(double, from);
        QFETCH(int, steps);
        QFETCH(int, expected);
        RenderHarness h;
        PlaybackSession &s = h.session();
        QVERIFY(h.openAndWaitReady(counterClip()));
        s.togglePlay();
        s.skip(from - s.currentTime());
        QTRY_COMPARE_WITH_TIMEOUT(h.shownFrame(), frameAtOrAfter(from), 10000);
        QVERIFY(h.waitForSeeksSettled());

        for (int i = 0; i < steps; ++i)
            s.stepFrame(1);
        QTRY_COMPARE_WITH_TIMEOUT(h.shownFrame(), expected, 10000);
        QVERIFY(h.waitForSeeksSettled());
        QCOMPARE(h.shownFrame(), expected);
        QVERIFY(!s.isPlaying());
        for (const RecordingPlayer::Seek &seek : h.player()->seeks())
            QCOMPARE(seek.completions, 1);
    }

    // Runs of steps both ways, pressed one at a time (the next once the frame shows, or a while
    // after it) or held (each press sent while the one before is on its way). A run's first step
    // back is an exact seek; the steps that follow at a key's repeat keep the decoded pictures of
    // the stretch before the playhead, here 250 frames of 320 × 240 (29 MB), unless the engine's
    // room for them is smaller; either way every step shows the frame the arithmetic names, and
    // afterwards the player plays, steps and seeks forward from there, or opens the next file while
    // steps are on their way.
    void stepRunsBothWays_data()
    {
        QTest::addColumn<double>("from");
        QTest::addColumn<QList<int>>("presses");
        QTest::addColumn<int>("pause"); // ms between presses; -1: the next once the frame shows
        QTest::addColumn<qint64>("room");
        QTest::addColumn<QString>("then");
        const qint64 room = MpvEngine::Options{}.reversalBytes;
        const QList<int> twelveBack(12, -1);
        // Frame 510 is 10 frames past the key frame at 500: twelve steps back cross it.
        QTest::newRow("back one at a time, then forward")
            << 20.4 << twelveBack << -1 << room << "step";
        QTest::newRow("back slowly, then play")
            << 20.4 << QList<int>(3, -1) << 400 << room << "play";
        QTest::newRow("back held, then play") << 20.4 << twelveBack << 30 << room << "play";
        QTest::newRow("back held, faster, then play")
            << 20.4 << QList<int>(5, -1) << 30 << room << "faster and play";
        QTest::newRow("both ways, then skip")
            << 20.4 << QList<int>{-1, -1, -1, 1, 1, -1, -1, 1} << 30 << room << "skip";
        QTest::newRow("back from between frames")
            << 12.345 << QList<int>{-1, -1} << -1 << room << "play";
        QTest::newRow("back from the end") << 60.0 << QList<int>{-1, -1} << -1 << room << "step";
        QTest::newRow("no room for the stretch")
            << 20.4 << QList<int>(4, -1) << 30 << qint64(1) << "play";
        QTest::newRow("next file while stepping back")
            << 20.4 << QList<int>(6, -1) << 30 << room << "open";
    }

    void stepRunsBothWays()
    {
        QFETCH(double, from);
        QFETCH(QList<int>, presses);
        QFETCH(int, pause);
        QFETCH(qint64, room);
        QFETCH(QString, then);
        RenderHarness h(QSize(640, 480), room);
        PlaybackSession &s = h.session();
        QVERIFY(h.openAndWaitReady(counterClip()));
        s.togglePlay();
        s.skip(from - s.currentTime());
        QTRY_COMPARE_WITH_TIMEOUT(h.shownFrame(), std::min(frameAtOrAfter(from), kLastFrame),
                                  10000);
        QVERIFY(h.waitForSeeksSettled());

        double target = from;
        for (const int press : presses) {
            s.stepFrame(press);
            target = std::clamp(target + press / kFramesPerSecond, 0.0, 60.0);
            if (pause < 0 || pause >= 100) // held: the next press at the key's repeat
                QTRY_COMPARE_WITH_TIMEOUT(h.shownFrame(), frameAtOrAfter(target), 10000);
            QTest::qWait(std::max(pause, 0));
        }
        if (then == QLatin1String("open")) {
            QVERIFY(h.openAndWaitReady(testMedia(QStringLiteral("clip.mp4"))));
            QTRY_VERIFY_WITH_TIMEOUT(s.currentTime() > 0.5, 10000);
            return;
        }
        const int expected = frameAtOrAfter(target);
        QTRY_COMPARE_WITH_TIMEOUT(h.shownFrame(), expected, 10000);
        QVERIFY(h.waitForSeeksSettled());
        QCOMPARE(h.shownFrame(), expected);
        QVERIFY(qAbs(s.currentTime() - target) < 1e-3);
        QVERIFY(!s.isPlaying());
        for (const RecordingPlayer::Seek &seek : h.player()->seeks())
            QCOMPARE(seek.completions, 1);

        if (then == QLatin1String("step")) {
            s.stepFrame(1);
            QTRY_COMPARE_WITH_TIMEOUT(h.shownFrame(), expected + 1, 10000);
        } else if (then == QLatin1String("skip")) {
            s.skip(-1.0);
            QTRY_COMPARE_WITH_TIMEOUT(h.shownFrame(), expected - 25, 10000);
        } else {
            if (then == QLatin1String("faster and play"))
                s.setRate(2.0f);
            s.togglePlay();
            // Forward from the frame shown, and on: never back, never from elsewhere.
            QTRY_VERIFY_WITH_TIMEOUT(h.shownFrame() > expected + 10, 10000);
            const int later = h.shownFrame();
            QVERIFY2(later < expected + 100, qPrintable(QString::number(later)));
            QTRY_VERIFY_WITH_TIMEOUT(h.shownFrame() > later, 10000);
            QVERIFY(s.isPlaying());
        }
        QVERIFY(h.waitForSeeksSettled());
    }

    // A drag over a file with a key frame every 10 s: the drag's seeks land on key frames, the
    // release on the exact frame, and every seek completes exactly once.
    void releaseOfTheScrubberShowsTheExactFrame()
    {
        RenderHarness h;
        PlaybackSession &s = h.session();
        QVERIFY(h.openAndWaitReady(counterClip()));
        s.togglePlay();
        s.skip(10.0 - s.currentTime());
        QTRY_COMPARE_WITH_TIMEOUT(h.shownFrame(), 250, 10000);
        QVERIFY(h.waitForSeeksSettled());
        const size_t before = h.player()->seeks().size();

        int positions = 0;
        for (double t = 10.0; t < 37.48; t += 0.19, ++positions) {
            s.scrub(t);
            QTest::qWait(3); // a pointer reports a position every few milliseconds
        }
        s.scrub(37.48);
        ++positions;
        QVERIFY(h.waitForSeeksSettled());
        const int dragged = h.shownFrame();
        QVERIFY2(dragged % 250 == 0 && dragged != 937, qPrintable(QString::number(dragged)));
        QVERIFY(s.isSeeking());

        s.endScrub();
        QTRY_VERIFY_WITH_TIMEOUT(!s.isSeeking(), 10000);
        QTRY_COMPARE_WITH_TIMEOUT(h.shownFrame(), 937, 10000);
        QVERIFY(h.waitForSeeksSettled());
        QCOMPARE(h.shownFrame(), 937);
        QVERIFY(!s.isPlaying());

        const std::vector<RecordingPlayer::Seek> &seeks = h.player()->seeks();
        QVERIFY(seeks.size() > before + 1);
        for (size_t i = before; i < seeks.size(); ++i) {
            const bool last = i + 1 == seeks.size();
            QCOMPARE(seeks[i].mode,
                     last ? MediaPlayer::SeekMode::Exact : MediaPlayer::SeekMode::Approximate);
            QCOMPARE(seeks[i].completions, 1);
        }
        QCOMPARE(seeks.back().target, 37.48);
        qInfo().noquote() << QStringLiteral("drag: %1 positions, %2 approximate seeks, key frame "
                                            "%3 shown before the release")
                                 .arg(positions)
                                 .arg(seeks.size() - before - 1)
                                 .arg(dragged);
    }

    // Five seconds forward at 3 s before the end of the 60 s clip: the playhead is at 60 s and
    // the last frame shows. Playing, the video then stops there; paused, it stays paused, even
    // with repeat on, because only playback reaches the end.
    void skipPastTheEndLandsOnTheEnd_data()
    {
        QTest::addColumn<bool>("playing");
        QTest::addColumn<bool>("repeating");
        QTest::newRow("playing") << true << false;
        QTest::newRow("paused") << false << false;
        QTest::newRow("paused, repeat on") << false << true;
    }

    void skipPastTheEndLandsOnTheEnd()
    {
        QFETCH(bool, playing);
        QFETCH(bool, repeating);
        RenderHarness h;
        PlaybackSession &s = h.session();
        QVERIFY(h.openAndWaitReady(counterClip()));
        QCOMPARE(s.duration(), 60.0);
        s.setRepeating(repeating);
        if (!playing)
            s.togglePlay();
        s.skip(57.0 - s.currentTime());
        if (!playing) {
            QTRY_COMPARE_WITH_TIMEOUT(h.shownFrame(), 1425, 10000);
            QVERIFY(h.waitForSeeksSettled());
            QCOMPARE(s.currentTime(), 57.0);
        }

        s.skip(5);
        QCOMPARE(s.currentTime(), 60.0);
        QTRY_COMPARE_WITH_TIMEOUT(h.shownFrame(), kLastFrame, 10000);
        QTRY_VERIFY_WITH_TIMEOUT(!s.isPlaying(), 10000);
        QVERIFY(h.waitForSeeksSettled());
        QCOMPARE(s.currentTime(), 60.0);
        QCOMPARE(h.shownFrame(), kLastFrame);
        QCOMPARE(h.player()->rate(), 0.0f);
        for (const RecordingPlayer::Seek &seek : h.player()->seeks())
            QCOMPARE(seek.completions, 1);
        QVERIFY(h.player()->seeks().back().target > 59.9); // no restart from zero
    }
};

QTEST_MAIN(TestSeekOnScreen)
#include "tst_seekonscreen.moc"
