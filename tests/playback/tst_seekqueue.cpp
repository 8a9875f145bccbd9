// The seek queue on a scripted engine: one seek at a time, only the newest target kept, exact
// requests at once, stale completions ignored, clamping, frame steps.
#include "fakeengine.h"
#include "memorypreferences.h"
#include "playbacksession.h"
#include "sessionfixture.h"
#include "testsupport.h"

#include <QTest>

#include <cmath>

namespace {

using Mode = MediaPlayer::SeekMode;
using Operation = void (*)(PlaybackSession &);

// Media times go to the engine at a time scale of 600.
double onTimeScale(double seconds)
{
    return std::round(seconds * 600) / 600;
}

struct Fixture : SessionFixture {
    // Opens `name`, brings it to ready with `duration` seconds (it plays) and puts the playhead
    // at `position`.
    FakePlayer *openReady(double duration = 60, double position = 0,
                          const QString &name = QStringLiteral("/v/a.mp4"))
    {
        FakePlayer *player = SessionFixture::openReady(name, duration);
        player->emitTick(position);
        settle();
        return player;
    }
};

} // namespace

Q_DECLARE_METATYPE(Operation)

class TestSeekQueue : public QObject {
    Q_OBJECT

private slots:
    // A drag from 10 s to 50 s, reported every 0.25 s, while the engine finishes a seek after
    // every eighth position: the player gets the first position and then, at each completion,
    // only the position current then; the release sends one exact seek to the last position and
    // resumes once the queue drains, and only if the video was playing.
    void dragSendsOnlyTheNewestTargetAndTheReleaseLandsExactly_data()
    {
        QTest::addColumn<bool>("playing");
        QTest::newRow("playing") << true;
        QTest::newRow("paused") << false;
    }

    void dragSendsOnlyTheNewestTargetAndTheReleaseLandsExactly()
    {
        QFETCH(bool, playing);
        Fixture f;
        FakePlayer *player = f.openReady(60, 10);
        if (!playing)
            f.session.togglePlay();

        QList<double> expected;
        for (int i = 0; i <= 160; ++i) {
            const double position = 10 + 0.25 * i;
            f.session.scrub(position);
            QCOMPARE(f.session.currentTime(), position);
            if (i == 0)
                expected << position;
            if (i % 8 == 7) {
                player->completeSeek(qsizetype(player->seeks().size()) - 1);
                settle();
                expected << position;
            }
        }
        QVERIFY(f.session.isSeeking());
        QVERIFY(!f.session.isPlaying());
        QCOMPARE(player->rate(), 0.0f);
        QList<double> sent;
        for (const FakePlayer::Seek &seek : player->seeks()) {
            QCOMPARE(seek.mode, Mode::Approximate);
            sent << seek.target;
        }
        QCOMPARE(sent, expected);

        // Released while the last approximate seek runs: the exact one goes out at once, and the
        // scrub lasts until the queue has drained.
        f.session.endScrub();
        QCOMPARE(player->seeks().size(), size_t(expected.size() + 1));
        QCOMPARE(player->seeks().back().mode, Mode::Exact);
        QCOMPARE(player->seeks().back().target, 50.0);
        QVERIFY(f.session.isSeeking());
        QCOMPARE(player->rate(), 0.0f);

        player->completeAllSeeks();
        settle();
        QVERIFY(!f.session.isSeeking());
        QCOMPARE(f.session.isPlaying(), playing);
        QCOMPARE(player->rate(), playing ? 1.0f : 0.0f);
        QCOMPARE(f.session.currentTime(), 50.0);
        QCOMPARE(player->seeks().size(), size_t(expected.size() + 1));
    }

    // Skips, frame steps, the release and the restart at the end do not wait for a running
    // seek; the target that waited is consumed, so the running seek's completion sends nothing.
    void exactRequestWhileASeekRunsGoesOutAtOnce_data()
    {
        QTest::addColumn<Operation>("operation");
        QTest::addColumn<double>("target");
        QTest::newRow("skip") << Operation([](PlaybackSession &s) { s.skip(5); }) << 26.0;
        QTest::newRow("frame step")
            << Operation([](PlaybackSession &s) { s.stepFrame(1); }) << 21.04;
        QTest::newRow("release") << Operation([](PlaybackSession &s) { s.endScrub(); }) << 21.0;
        QTest::newRow("restart at the end") << Operation([](PlaybackSession &s) {
            s.scrub(60);
            s.togglePlay();
        }) << 0.0;
    }

    void exactRequestWhileASeekRunsGoesOutAtOnce()
    {
        QFETCH(Operation, operation);
        QFETCH(double, target);
        Fixture f;
        FakePlayer *player = f.openReady(60, 10);
        player->settleTrack(VideoTrack{QSizeF(1920, 1080), 0, 25, 0});
        f.session.scrub(20);
        f.session.scrub(21); // waits for the running seek
        QCOMPARE(player->seeks().size(), size_t(1));

        operation(f.session);

        QCOMPARE(player->seeks().size(), size_t(2));
        QCOMPARE(player->seeks()[1].mode, Mode::Exact);
        QCOMPARE(player->seeks()[1].target, onTimeScale(target));
        player->completeSeek(0);
        settle();
        QCOMPARE(player->seeks().size(), size_t(2));
    }

    // The first file's seek completes after the second file opened: that completion neither
    // frees the queue of the new player, nor sends its target, nor ends its scrub.
    void completionForAReplacedPlayerChangesNothing_data()
    {
        QTest::addColumn<bool>("newFileScrubs");
        QTest::addColumn<bool>("newFileReleases");
        QTest::addColumn<bool>("nextScrubSentAtOnce");
        QTest::newRow("before the new file seeks") << false << false << true;
        QTest::newRow("while the new file's seek runs") << true << false << false;
        QTest::newRow("while the new file's release drains") << true << true << false;
    }

    void completionForAReplacedPlayerChangesNothing()
    {
        QFETCH(bool, newFileScrubs);
        QFETCH(bool, newFileReleases);
        QFETCH(bool, nextScrubSentAtOnce);
        Fixture f;
        FakePlayer *first = f.openReady(60, 10);
        f.session.scrub(20);
        const std::function<void()> lateCompletion = first->seeks().at(0).completion;

        FakePlayer *second = f.openReady(60, 0, QStringLiteral("/v/b.mp4"));
        if (newFileScrubs)
            f.session.scrub(30);
        if (newFileReleases)
            f.session.endScrub();
        const size_t sent = second->seeks().size();

        lateCompletion();
        settle();

        QCOMPARE(second->seeks().size(), sent);
        QVERIFY(f.session.isSeeking()); // the drag goes on across the opening
        f.session.scrub(31);
        QCOMPARE(second->seeks().size() > sent, nextScrubSentAtOnce);
    }

    void endScrubWithoutPlayerEndsTheScrubAtOnce_data()
    {
        QTest::addColumn<bool>("openFirst");
        QTest::newRow("nothing open") << false;
        QTest::newRow("file closed during the drag") << true;
    }

    void endScrubWithoutPlayerEndsTheScrubAtOnce()
    {
        QFETCH(bool, openFirst);
        Fixture f;
        if (openFirst)
            f.openReady(60, 10);
        f.session.scrub(5);
        QVERIFY(f.session.isSeeking());
        if (openFirst)
            f.session.closeFile();

        f.session.endScrub();
        QVERIFY(!f.session.isSeeking());
    }

    void skipClampsToTheItem_data()
    {
        QTest::addColumn<double>("duration"); // 0: still loading
        QTest::addColumn<double>("from");
        QTest::addColumn<double>("by");
        QTest::addColumn<double>("landing");
        QTest::addColumn<double>("sent"); // on the time scale of 600
        QTest::newRow("forward") << 60.0 << 10.0 << 10.0 << 20.0 << 20.0;
        QTest::newRow("5 s at 3 s before the end") << 60.0 << 57.0 << 5.0 << 60.0 << 60.0;
        QTest::newRow("-5 s at 2 s") << 60.0 << 2.0 << -5.0 << 0.0 << 0.0;
        QTest::newRow("still loading") << 0.0 << 0.0 << 10.0 << 0.0 << 0.0;
        QTest::newRow("between two ticks of 1/600 s") << 60.0 << 10.0 << 0.0004 << 10.0004 << 10.0;
    }

    void skipClampsToTheItem()
    {
        QFETCH(double, duration);
        QFETCH(double, from);
        QFETCH(double, by);
        QFETCH(double, landing);
        QFETCH(double, sent);
        Fixture f;
        f.session.open(QUrl::fromLocalFile(QStringLiteral("/v/a.mp4")));
        FakePlayer *player = f.engine.last();
        if (duration > 0) {
            player->becomeReady(duration);
            settle();
            player->emitTick(from);
            settle();
        }
        const bool playing = f.session.isPlaying();

        f.session.skip(by);

        QCOMPARE(f.session.currentTime(), landing);
        QCOMPARE(player->seeks().size(), size_t(1));
        QCOMPARE(player->seeks()[0].mode, Mode::Exact);
        QCOMPARE(player->seeks()[0].target, sent);
        // A skip neither pauses nor resumes.
        QCOMPARE(f.session.isPlaying(), playing);
        QCOMPARE(player->rate(), playing ? 1.0f : 0.0f);
    }

    // One frame is 1 / nominal rate, else the minimum frame duration, else 1/30 s. A step pauses.
    void stepFrameMovesByOneFrameAndPauses_data()
    {
        QTest::addColumn<bool>("hasTrack");
        QTest::addColumn<double>("nominalRate");
        QTest::addColumn<double>("minFrameDuration");
        QTest::addColumn<bool>("playing");
        QTest::addColumn<int>("count");
        QTest::addColumn<double>("moved");
        QTest::newRow("25 fps, playing") << true << 25.0 << 0.0 << true << 1 << 0.04;
        QTest::newRow("25 fps, back") << true << 25.0 << 0.0 << false << -1 << -0.04;
        QTest::newRow("25 fps, three") << true << 25.0 << 0.02 << false << 3 << 0.12;
        QTest::newRow("rate 0, 1/60 s") << true << 0.0 << 1.0 / 60 << true << 1 << 1.0 / 60;
        QTest::newRow("rate 1 is no rate") << true << 1.0 << 1.0 / 60 << false << 1 << 1.0 / 60;
        QTest::newRow("neither") << true << 0.0 << 0.0 << true << 1 << 1.0 / 30;
        QTest::newRow("no video track") << false << 0.0 << 0.0 << true << -1 << -1.0 / 30;
    }

    void stepFrameMovesByOneFrameAndPauses()
    {
        QFETCH(bool, hasTrack);
        QFETCH(double, nominalRate);
        QFETCH(double, minFrameDuration);
        QFETCH(bool, playing);
        QFETCH(int, count);
        QFETCH(double, moved);
        Fixture f;
        FakePlayer *player = f.openReady(60, 10);
        player->settleTrack(hasTrack ? std::optional(VideoTrack{QSizeF(1920, 1080), 0, nominalRate,
                                                                minFrameDuration})
                                     : std::nullopt);
        settle();
        if (!playing)
            f.session.togglePlay();

        f.session.stepFrame(count);

        QVERIFY(!f.session.isPlaying());
        QCOMPARE(player->rate(), 0.0f);
        QCOMPARE(f.session.currentTime(), 10 + moved);
        QCOMPARE(player->seeks().size(), size_t(1));
        QCOMPARE(player->seeks()[0].mode, Mode::Exact);
        QCOMPARE(player->seeks()[0].target, onTimeScale(10 + moved));
    }

    void stepFrameNeedsAPlayerAndADuration_data()
    {
        QTest::addColumn<bool>("open");
        QTest::newRow("no player") << false;
        QTest::newRow("still loading") << true;
    }

    void stepFrameNeedsAPlayerAndADuration()
    {
        QFETCH(bool, open);
        Fixture f;
        if (open)
            f.session.open(QUrl::fromLocalFile(QStringLiteral("/v/a.mp4")));

        f.session.stepFrame(1);

        QCOMPARE(f.session.currentTime(), 0.0);
        QVERIFY(!f.session.isPlaying());
        if (open)
            QVERIFY(f.engine.last()->seeks().empty());
    }
};

QTEST_GUILESS_MAIN(TestSeekQueue)
#include "tst_seekqueue.moc"
