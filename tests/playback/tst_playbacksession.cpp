// The session's reactions to its player and to the user, on a scripted engine.
#include "sessionfixture.h"

#include <QSignalSpy>
#include <QTest>

using Mode = MediaPlayer::SeekMode;

class TestPlaybackSession : public QObject {
    Q_OBJECT

private slots:
    void readyPlaysFailureTellsWhy_data()
    {
        QTest::addColumn<bool>("hasError");
        QTest::addColumn<QString>("message"); // empty: ready
        QTest::newRow("ready") << false << "";
        QTest::newRow("with its error") << true << "O formato deste arquivo não é reconhecido.";
        QTest::newRow("without") << false << "Não foi possível abrir este vídeo.";
    }

    void readyPlaysFailureTellsWhy()
    {
        QFETCH(bool, hasError);
        QFETCH(QString, message);
        SessionFixture f;
        f.session.open(QUrl::fromLocalFile(QStringLiteral("/v/Filme.final.mov")));
        FakePlayer *player = f.engine.last();
        if (message.isEmpty())
            player->becomeReady(42.5, QSizeF(1280, 720));
        else
            player->fail(
                hasError ? std::optional(MediaError{MediaError::Code::UnrecognizedFormat, message})
                         : std::nullopt);
        settle();
        QCOMPARE(f.session.title(), QStringLiteral("Filme.final"));
        QCOMPARE(f.session.errorMessage(), message);
        QCOMPARE(f.session.isPlaying(), message.isEmpty());
        QCOMPARE(f.session.duration(), message.isEmpty() ? 42.5 : 0.0);
        QCOMPARE(f.session.videoSize(), message.isEmpty() ? QSizeF(1280, 720) : QSizeF(0, 0));
        player->settleTrack(VideoTrack{QSizeF(1920, 1080), 270, 25, 0}); // a quarter turn
        QCOMPARE(f.session.videoSize(), QSizeF(1080, 1920));
    }

    // A late seek completion of a replaced player neither frees nor drains the new one's queue.
    void replacedPlayersChangeNothing()
    {
        SessionFixture f;
        f.openReady()->emitTick(30);
        f.session.scrub(20);
        const std::function<void()> late = f.engine.last()->seeks().at(0).completion;
        FakePlayer *second = f.openReady(QStringLiteral("/v/b.mp4"), 30);
        f.session.scrub(25);
        f.session.scrub(26); // waits for the new player's seek
        late();
        settle();
        QCOMPARE(second->seeks().size(), size_t(1));
        QCOMPARE(f.session.duration(), 30.0);
        QCOMPARE(f.session.currentTime(), 26.0);
    }

    // Every move of the playhead but playing on is a jump, clamped to the item; a frame step
    // pauses and moves by 1 / nominal rate, else the minimum frame duration, else 1/30 s.
    void jumpsLandWithinTheItem_data()
    {
        QTest::addColumn<double>("nominalRate");
        QTest::addColumn<double>("by"); // seconds, or frames when `nominalRate` is not 0
        QTest::addColumn<double>("landing");
        QTest::newRow("skip") << 0.0 << 10.0 << 20.0;
        QTest::newRow("past the end") << 0.0 << 55.0 << 60.0;
        QTest::newRow("before the start") << 0.0 << -15.0 << 0.0;
        QTest::newRow("a frame at 25 fps") << 25.0 << 1.0 << 10.04;
        QTest::newRow("3 frames back, no rate") << -1.0 << -3.0 << 9.9;
    }

    void jumpsLandWithinTheItem()
    {
        QFETCH(double, nominalRate);
        QFETCH(double, by);
        QFETCH(double, landing);
        SessionFixture f;
        FakePlayer *player = f.openReady();
        player->emitTick(10);
        settle();
        QSignalSpy jumped(&f.session, &PlaybackSession::jumped);
        if (nominalRate != 0) {
            player->settleTrack(VideoTrack{{}, 0, qMax(nominalRate, 0.0), 0});
            f.session.stepFrame(int(by));
        } else {
            f.session.skip(by);
        }
        QCOMPARE(jumped.size(), 1);
        QCOMPARE(f.session.currentTime(), landing);
        QCOMPARE(player->seeks().back().target, std::round(landing * 600) / 600);
        QCOMPARE(player->seeks().back().mode, Mode::Exact);
        QCOMPARE(f.session.isPlaying(), nominalRate == 0);
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
        player->reachEnd();
        settle();
        player->completeAllSeeks();
        settle();
        QCOMPARE(f.session.isPlaying(), repeat);
        QCOMPARE(player->rate(), repeat ? 1.1f : 0.0f);
        if (!repeat)
            f.session.togglePlay();
        QCOMPARE(player->seeks().size(), size_t(1));
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
        QCOMPARE(player->volume(), 1.0f);
        QVERIFY(!player->muted()); // raising the volume unmutes
        f.session.toggleMute();
        f.session.setVolume(-0.2f);
        QVERIFY(f.preferences.boolValue(kPlayerIsMutedKey));
        f.session.open(QUrl::fromLocalFile(QStringLiteral("/v/b.mp4")));
        QCOMPARE(f.session.rate(), 1.0f);
        QCOMPARE(f.engine.last()->volume(), 0.0f);
        QVERIFY(f.engine.last()->muted());
    }
};

QTEST_GUILESS_MAIN(TestPlaybackSession)
#include "tst_playbacksession.moc"
