// The session's reactions to its player, on a scripted engine.
#include "fakeengine.h"
#include "memorypreferences.h"
#include "playbacksession.h"
#include "sessionfixture.h"
#include "testsupport.h"

#include <QSignalSpy>
#include <QTest>

#include <limits>

namespace {

using Fixture = SessionFixture;

using Notify = void (PlaybackSession::*)();
const std::pair<const char *, Notify> kNotifications[] = {
    {"player", &PlaybackSession::playerChanged},
    {"url", &PlaybackSession::urlChanged},
    {"title", &PlaybackSession::titleChanged},
    {"isPlaying", &PlaybackSession::isPlayingChanged},
    {"isReady", &PlaybackSession::isReadyChanged},
    {"duration", &PlaybackSession::durationChanged},
    {"currentTime", &PlaybackSession::currentTimeChanged},
    {"videoSize", &PlaybackSession::videoSizeChanged},
    {"errorMessage", &PlaybackSession::errorMessageChanged},
    {"isSeeking", &PlaybackSession::isSeekingChanged},
    {"rate", &PlaybackSession::rateChanged},
    {"volume", &PlaybackSession::volumeChanged},
    {"isMuted", &PlaybackSession::isMutedChanged},
    {"isRepeating", &PlaybackSession::isRepeatingChanged},
};

// Records the names of the properties whose change the session announces, in order.
QStringList *recordNotifications(PlaybackSession &session)
{
    auto *order = new QStringList;
    QObject::connect(&session, &QObject::destroyed, [order] { delete order; });
    for (const auto &[name, signal] : kNotifications)
        QObject::connect(&session, signal, &session, [order, name = name] { *order << name; });
    return order;
}

} // namespace

class TestPlaybackSession : public QObject {
    Q_OBJECT

private slots:
    void openResetsThenPublishesInOrder()
    {
        Fixture f;
        FakePlayer *first = f.openReady(QStringLiteral("/v/a.mp4"), 60);
        first->emitTick(12);
        f.session.setErrorMessage(QStringLiteral("quebrado"));
        f.session.setRate(1.5f);
        f.session.togglePlay(); // paused
        settle();
        QStringList *order = recordNotifications(f.session);

        f.session.open(QUrl::fromLocalFile(QStringLiteral("/v/b.mov")));

        // The old player goes first (it was not playing: no isPlaying change), then the
        // resets, the location, the title, and the new player last.
        QCOMPARE(*order, (QStringList{"player", "errorMessage", "isReady", "currentTime",
                                      "duration", "rate", "videoSize", "url", "title", "player"}));
        QCOMPARE(f.session.title(), QStringLiteral("b"));
        QVERIFY(!f.session.isPlaying()); // playback waits for readiness
        QVERIFY(f.engine.last() != first);
    }

    void readyPublishesDurationAndSizeAndPlays()
    {
        Fixture f;
        f.session.open(QUrl::fromLocalFile(QStringLiteral("/v/a.mp4")));
        FakePlayer *player = f.engine.last();
        QCOMPARE(player->volume(), 1.0f);
        settle();
        QVERIFY(!f.session.isReady());

        player->becomeReady(42.5, QSizeF(1280, 720));
        settle();

        QVERIFY(f.session.isReady());
        QCOMPARE(f.session.duration(), 42.5);
        QCOMPARE(f.session.videoSize(), QSizeF(1280, 720));
        QVERIFY(f.session.isPlaying());
        QCOMPARE(player->rate(), 1.0f);
    }

    void failedItemShowsItsErrorOrTheDefault_data()
    {
        QTest::addColumn<bool>("hasError");
        QTest::addColumn<bool>("wasReady");
        QTest::addColumn<QString>("expected");
        QTest::newRow("with error")
            << true << false << QStringLiteral("O formato deste arquivo não é reconhecido.");
        QTest::newRow("without error")
            << false << false << QStringLiteral("Não foi possível abrir este vídeo.");
        QTest::newRow("once it was ready")
            << true << true << QStringLiteral("Não foi possível abrir este vídeo.");
    }

    void failedItemShowsItsErrorOrTheDefault()
    {
        QFETCH(bool, hasError);
        QFETCH(bool, wasReady);
        QFETCH(QString, expected);
        Fixture f;
        f.session.open(QUrl::fromLocalFile(QStringLiteral("/v/a.mp4")));
        FakePlayer *player = f.engine.last();
        if (wasReady) {
            player->becomeReady(4);
            settle();
        }
        player->fail(hasError
                         ? std::optional(MediaError{MediaError::Code::UnrecognizedFormat, expected})
                         : std::nullopt);
        settle();

        QCOMPARE(f.session.errorMessage(), expected);
        QVERIFY(!f.session.isReady());
        QVERIFY(!f.session.isPlaying());
        // The window keeps the file's title.
        QVERIFY(f.session.player());
        QCOMPARE(f.session.title(), QStringLiteral("a"));
    }

    // Late callbacks of a replaced player change nothing: those still queued when the next
    // file opened, and those of a player kept alive past its replacement.
    void replacedPlayersChangeNothing()
    {
        Fixture f;
        f.session.open(QUrl::fromLocalFile(QStringLiteral("/v/a.mp4")));
        QPointer<FakePlayer> first = f.engine.last();
        first->becomeReady(60, QSizeF(640, 480));
        first->emitTick(30);
        f.session.open(QUrl::fromLocalFile(QStringLiteral("/v/b.mp4")));
        FakePlayer *second = f.engine.last();
        // The deletion of the first player is deferred: it can still call back meanwhile.
        first->changeDuration(99);
        first->changePresentationSize(QSizeF(10, 10));
        first->reachEnd();
        first->settleTrack(VideoTrack{QSizeF(300, 200), 90, 25, 0});
        settle();

        QVERIFY(!first); // dropped after all
        QVERIFY(!f.session.isReady());
        QCOMPARE(f.session.duration(), 0.0);
        QCOMPARE(f.session.currentTime(), 0.0);
        QCOMPARE(f.session.videoSize(), QSizeF(0, 0));
        QVERIFY(!f.session.isPlaying());
        QCOMPARE(f.session.player(), second);
    }

    void togglePlayAtTheEndRestartsFromZero_data()
    {
        QTest::addColumn<double>("position");
        QTest::addColumn<bool>("restarts");
        QTest::newRow("at the end") << 60.0 << true;
        QTest::newRow("0.04 s before") << 59.96 << true;
        QTest::newRow("0.06 s before") << 59.94 << false;
    }

    void togglePlayAtTheEndRestartsFromZero()
    {
        QFETCH(double, position);
        QFETCH(bool, restarts);
        Fixture f;
        FakePlayer *player = f.openReady(QStringLiteral("/v/a.mp4"), 60);
        f.session.togglePlay(); // pause
        QCOMPARE(player->rate(), 0.0f);
        player->emitTick(position);
        settle();

        f.session.togglePlay();

        QVERIFY(f.session.isPlaying());
        QCOMPARE(player->rate(), 1.0f);
        if (restarts) {
            QCOMPARE(player->seeks().size(), size_t(1));
            QCOMPARE(player->seeks()[0].target, 0.0);
            QCOMPARE(player->seeks()[0].mode, MediaPlayer::SeekMode::Exact);
            QCOMPARE(f.session.currentTime(), 0.0);
        } else {
            QVERIFY(player->seeks().empty());
            QCOMPARE(f.session.currentTime(), position);
        }
    }

    void endWithoutRepeatStopsAtTheEnd()
    {
        Fixture f;
        FakePlayer *player = f.openReady(QStringLiteral("/v/a.mp4"), 60);
        player->reachEnd();
        settle();

        QVERIFY(!f.session.isPlaying());
        QCOMPARE(f.session.currentTime(), 60.0);
        QVERIFY(player->seeks().empty());
    }

    void endWithRepeatRestartsAtTheChosenRate()
    {
        Fixture f;
        FakePlayer *player = f.openReady(QStringLiteral("/v/a.mp4"), 60);
        f.session.setRate(1.5f);
        f.session.setRepeating(true);
        player->reachEnd();
        settle();

        QCOMPARE(player->seeks().size(), size_t(1));
        QCOMPARE(player->seeks()[0].target, 0.0);
        player->completeSeek(0);
        settle();

        QVERIFY(f.session.isPlaying());
        QCOMPARE(player->rate(), 1.5f);
    }

    void repeatTurnedOffDuringTheRestartStaysPaused()
    {
        Fixture f;
        FakePlayer *player = f.openReady(QStringLiteral("/v/a.mp4"), 60);
        f.session.setRepeating(true);
        player->reachEnd();
        settle();
        f.session.setRepeating(false);
        player->completeSeek(0);
        settle();

        QCOMPARE(player->rate(), 0.0f);
    }

    void closeFileResetsRateButKeepsSoundAndRepeat()
    {
        Fixture f;
        f.openReady();
        f.session.setRate(2.0f);
        f.session.setVolume(0.4f);
        f.session.toggleMute();
        f.session.setRepeating(true);

        f.session.closeFile();
        settle();

        QVERIFY(!f.session.player());
        QVERIFY(f.session.url().isEmpty());
        QCOMPARE(f.session.title(), QString());
        QCOMPARE(f.session.duration(), 0.0);
        QCOMPARE(f.session.videoSize(), QSizeF(0, 0));
        QCOMPARE(f.session.rate(), 1.0f);
        QCOMPARE(f.session.volume(), 0.4f);
        QVERIFY(f.session.isMuted());
        QVERIFY(f.session.isRepeating());

        // The next file gets the kept sound settings before anything plays.
        f.session.open(QUrl::fromLocalFile(QStringLiteral("/v/b.mp4")));
        QCOMPARE(f.engine.last()->volume(), 0.4f);
        QVERIFY(f.engine.last()->muted());
    }

    void titleDropsOnlyTheLastExtension_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("title");
        QTest::newRow("two dots") << "/v/Filme.final.mov"
                                  << "Filme.final";
        QTest::newRow("no extension") << "/v/LEIA"
                                      << "LEIA";
        QTest::newRow("plain") << "/v/clip.mp4"
                               << "clip";
        QTest::newRow("hidden file") << "/v/.oculto"
                                     << ".oculto";
        QTest::newRow("spaces and accents") << "/v/Férias em família.mkv"
                                            << "Férias em família";
    }

    void titleDropsOnlyTheLastExtension()
    {
        QFETCH(QString, path);
        QFETCH(QString, title);
        Fixture f;
        f.session.open(QUrl::fromLocalFile(path));
        QCOMPARE(f.session.title(), title);
    }

    void quarterTurnedTrackPublishesTheTurnedSize_data()
    {
        QTest::addColumn<int>("rotation");
        QTest::addColumn<QSizeF>("shown");
        QTest::newRow("0°") << 0 << QSizeF(1920, 1080);
        QTest::newRow("90°") << 90 << QSizeF(1080, 1920);
        QTest::newRow("180°") << 180 << QSizeF(1920, 1080);
        QTest::newRow("270°") << 270 << QSizeF(1080, 1920);
    }

    void quarterTurnedTrackPublishesTheTurnedSize()
    {
        QFETCH(int, rotation);
        QFETCH(QSizeF, shown);
        Fixture f;
        f.session.open(QUrl::fromLocalFile(QStringLiteral("/v/a.mp4")));
        FakePlayer *player = f.engine.last();
        player->becomeReady(10);
        settle();
        player->settleTrack(VideoTrack{QSizeF(1920, 1080), rotation, 30, 0});
        settle();
        QCOMPARE(f.session.videoSize(), shown);
    }

    void valuesThatCannotBeShownAreNotPublished()
    {
        Fixture f;
        f.session.open(QUrl::fromLocalFile(QStringLiteral("/v/a.mp4")));
        FakePlayer *player = f.engine.last();
        player->becomeReady(std::numeric_limits<double>::infinity(), QSizeF(1, 500));
        settle();
        QCOMPARE(f.session.duration(), 0.0);
        QCOMPARE(f.session.videoSize(), QSizeF(0, 0));

        player->changeDuration(std::numeric_limits<double>::quiet_NaN());
        player->emitTick(std::numeric_limits<double>::quiet_NaN());
        player->settleTrack(VideoTrack{QSizeF(0.5, 0.5), 0, 0, 0});
        settle();
        QCOMPARE(f.session.duration(), 0.0);
        QCOMPARE(f.session.currentTime(), 0.0);
        QCOMPARE(f.session.videoSize(), QSizeF(0, 0));
    }

    void tickFollowsThePlayerUnlessScrubbing()
    {
        Fixture f;
        FakePlayer *player = f.openReady();
        player->emitTick(5);
        settle();
        QCOMPARE(f.session.currentTime(), 5.0);
        QVERIFY(f.session.isPlaying());

        // The engine paused by itself: the tick is where the session learns it.
        player->setRate(0);
        player->emitTick(5.5);
        settle();
        QVERIFY(!f.session.isPlaying());

        f.session.beginScrub();
        player->emitTick(7);
        settle();
        QCOMPARE(f.session.currentTime(), 5.5);
    }

    void publishedPropertiesEmitOnceAndNeverOnNoOp()
    {
        Fixture f;
        QSignalSpy repeating(&f.session, &PlaybackSession::isRepeatingChanged);
        QSignalSpy error(&f.session, &PlaybackSession::errorMessageChanged);
        f.session.setRepeating(true);
        f.session.setRepeating(true);
        f.session.setErrorMessage(QStringLiteral("x"));
        f.session.setErrorMessage(QStringLiteral("x"));
        QCOMPARE(repeating.count(), 1);
        QCOMPARE(error.count(), 1);

        // Closing with nothing open changes nothing at all.
        f.session.setErrorMessage({});
        QStringList *order = recordNotifications(f.session);
        f.session.closeFile();
        QVERIFY2(order->isEmpty(), qPrintable(order->join(',')));
    }
};

QTEST_GUILESS_MAIN(TestPlaybackSession)
#include "tst_playbacksession.moc"
