// The session's reactions to its player and to the user, on a scripted engine.
#include "fakeengine.h"
#include "memorypreferences.h"
#include "playbacksession.h"
#include "testsupport.h"

#include <QSignalSpy>
#include <QTest>

namespace {

struct SessionFixture {
    FakeEngine engine;
    MemoryPreferences preferences;
    PlaybackSession session{PlaybackSession::Services{engine, preferences}};

    // Opens `name` and brings it to ready with `duration` seconds; it plays.
    FakePlayer *openReady(const QString &name = QStringLiteral("/v/a.mp4"), double duration = 60)
    {
        session.open(QUrl::fromLocalFile(name));
        engine.last()->becomeReady(duration, QSizeF(1920, 1080));
        settle();
        return engine.last();
    }
};

} // namespace

class TestPlaybackSession : public QObject {
    Q_OBJECT

private slots:
    // What a failed file tells and leaves is the corpus's (tst_corpus), on the real engine.
    void readyPlaysAndTurns()
    {
        SessionFixture f;
        f.session.open(QUrl::fromLocalFile(QStringLiteral("/v/Filme.final.mov")));
        FakePlayer *player = f.engine.last();
        player->becomeReady(42.5, QSizeF(1280, 720));
        settle();
        QCOMPARE(f.session.title(), QStringLiteral("Filme.final"));
        QVERIFY(f.session.isPlaying() && f.session.errorMessage().isEmpty());
        QCOMPARE(f.session.duration(), 42.5);
        QCOMPARE(f.session.videoSize(), QSizeF(1280, 720));
        player->settleTrack(VideoTrack{QSizeF(1920, 1080), 270, 25, 0}); // a quarter turn
        QCOMPARE(f.session.videoSize(), QSizeF(1080, 1920));
    }

    // The rate ladder, compared exactly: the arithmetic is 32-bit and rounded to hundredths, so
    // every rung must come out as the very float written here.
    void nudgesClimbTheLadder_data()
    {
        QTest::addColumn<float>("start");
        QTest::addColumn<bool>("up");
        QTest::addColumn<QList<float>>("rates");
        QTest::newRow("up from 0")
            << 0.0f << true << QList<float>{0.1f, 0.25f, 0.5f,  0.75f, 0.8f,  0.85f, 0.9f,
                                            1.0f, 1.1f,  1.15f, 1.2f,  1.25f, 1.5f,  1.75f};
        QTest::newRow("down from 3")
            << 3.0f << false
            << QList<float>{2.75f, 2.5f, 2.25f, 2.0f, 1.75f, 1.5f, 1.25f, 1.2f, 1.15f, 1.1f,
                            1.0f,  0.9f, 0.85f, 0.8f, 0.75f, 0.5f, 0.25f, 0.1f, 0.1f};
        QTest::newRow("no upper limit") << 9.75f << true << QList<float>{10.0f, 10.25f};
        QTest::newRow("1.3 up") << 1.3f << true << QList<float>{1.55f};
        QTest::newRow("1.4 down stops at 1.25") << 1.4f << false << QList<float>{1.25f, 1.2f};
        QTest::newRow("thousandths round first") << 1.104f << true << QList<float>{1.15f};
        QTest::newRow("halves round away from zero") << 1.125f << true << QList<float>{1.18f};
    }

    void nudgesClimbTheLadder()
    {
        QFETCH(float, start);
        QFETCH(bool, up);
        QFETCH(QList<float>, rates);
        SessionFixture f;
        f.session.setRate(start);
        QList<float> seen;
        while (seen.size() < rates.size()) {
            f.session.nudgeRate(up ? 1 : -1);
            seen << f.session.rate();
        }
        QCOMPARE(seen, rates);
    }

    // A late seek completion of a replaced player neither frees nor drains the new one's queue.
    void replacedPlayersChangeNothing()
    {
        SessionFixture f;
        f.openReady()->emitTick(30);
        f.session.scrub(20);
        const std::function<void()> late = f.engine.last()->seeks.at(0).completion;
        FakePlayer *second = f.openReady(QStringLiteral("/v/b.mp4"), 30);
        f.session.scrub(25);
        f.session.scrub(26); // waits for the new player's seek
        late();
        settle();
        QCOMPARE(second->seeks.size(), size_t(1));
        QCOMPARE(f.session.duration(), 30.0);
        QCOMPARE(f.session.currentTime(), 26.0);
    }

    // Every move of the playhead but playing on is a jump, clamped to the item; a frame step
    // pauses and, without a nominal rate, moves by 1/30 s. Skips and steps at a known rate are
    // the key table's (tst_keyrouter).
    void jumpsLandWithinTheItem_data()
    {
        QTest::addColumn<QString>("jump"); // "skip" or "step", by `by` seconds or frames
        QTest::addColumn<int>("by");
        QTest::addColumn<double>("landing");
        QTest::newRow("past the end") << "skip" << 55 << 60.0;
        QTest::newRow("before the start") << "skip" << -15 << 0.0;
        QTest::newRow("3 frames back, no rate") << "step" << -3 << 9.9;
    }

    void jumpsLandWithinTheItem()
    {
        QFETCH(QString, jump);
        QFETCH(int, by);
        QFETCH(double, landing);
        SessionFixture f;
        FakePlayer *player = f.openReady();
        player->emitTick(10);
        player->settleTrack(VideoTrack{});
        settle();
        QSignalSpy jumped(&f.session, &PlaybackSession::jumped);
        jump == "skip" ? f.session.skip(by) : f.session.stepFrame(by);
        QCOMPARE(jumped.size(), 1);
        QCOMPARE(f.session.currentTime(), landing);
        QCOMPARE(player->seeks.back().target, std::round(landing * 600) / 600);
        QCOMPARE(player->seeks.back().mode, MediaPlayer::SeekMode::Exact);
        QCOMPARE(f.session.isPlaying(), jump == "skip");
    }

    // The end pauses, or with repeat plays again from the start at the chosen rate; play at
    // the end starts from the beginning.
    void theEndRepeatsOrRestarts_data()
    {
        QTest::addColumn<bool>("repeat");
        QTest::newRow("repeat") << true;
        QTest::newRow("no repeat") << false;
    }

    void theEndRepeatsOrRestarts()
    {
        QFETCH(bool, repeat);
        SessionFixture f;
        FakePlayer *player = f.openReady();
        f.session.setRepeating(repeat);
        f.session.nudgeRate(1);
        player->emitTick(59.97);
        player->setRate(0); // the player pauses itself on the last frame and reports it
        player->emitTick(60);
        emit player->reachedEnd();
        settle();
        player->completeAllSeeks();
        settle();
        QCOMPARE(f.session.isPlaying(), repeat);
        QCOMPARE(player->rate(), repeat ? 1.1f : 0.0f);
        if (!repeat)
            f.session.togglePlay();
        QCOMPARE(player->seeks.size(), size_t(1));
        QCOMPARE(f.session.currentTime(), 0.0);
        QCOMPARE(player->rate(), 1.1f);
    }

    // A paused or scrubbing player keeps its rate (a rate would start it) until it plays again.
    void rateWaitsForPlayAndSoundPersists()
    {
        SessionFixture f;
        FakePlayer *player = f.openReady();
        f.session.scrub(20);
        f.session.nudgeRate(1);
        QCOMPARE(player->rate(), 0.0f);
        f.session.endScrub();
        player->completeAllSeeks();
        settle();
        QCOMPARE(player->rate(), 1.1f);
        f.session.toggleMute();
        f.session.setVolume(1.7f);
        QCOMPARE(player->volume, 1.0f);
        QVERIFY(!player->muted); // raising the volume unmutes
        f.session.toggleMute();
        f.session.setVolume(-0.2f);
        QVERIFY(f.preferences.boolValue(kPlayerIsMutedKey));
        f.session.open(QUrl::fromLocalFile(QStringLiteral("/v/b.mp4")));
        QCOMPARE(f.session.rate(), 1.0f);
        QCOMPARE(f.engine.last()->volume, 0.0f);
        QVERIFY(f.engine.last()->muted);
    }
};

QTEST_GUILESS_MAIN(TestPlaybackSession)
#include "tst_playbacksession.moc"
