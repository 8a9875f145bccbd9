// The rate ladder, and rate, volume and mute on their way to the player and the preferences.
#include "fakeengine.h"
#include "memorypreferences.h"
#include "playbacksession.h"
#include "preferences.h"
#include "sessionfixture.h"
#include "testsupport.h"

#include <QCoreApplication>
#include <QFile>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

namespace {

using Fixture = SessionFixture;

} // namespace

class TestRateLadder : public QObject {
    Q_OBJECT

private slots:
    void initTestCase()
    {
        // The real preferences file goes to a temporary home, never the user's.
        QVERIFY(m_home.isValid());
        qputenv("HOME", QFile::encodeName(m_home.path()));
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(m_home.filePath(QStringLiteral("config"))));
        QStandardPaths::setTestModeEnabled(true);
        QCoreApplication::setOrganizationName(QStringLiteral("Lunelo"));
        QCoreApplication::setOrganizationDomain(QStringLiteral("lunelo.org"));
        QCoreApplication::setApplicationName(QStringLiteral("Lunelo"));
    }

    // Nudges from a starting rate, compared exactly: the arithmetic is 32-bit and rounded to
    // hundredths, so every rung must come out as the very float written here.
    void nudgesClimbTheLadder_data()
    {
        QTest::addColumn<float>("start");
        QTest::addColumn<int>("direction");
        QTest::addColumn<QList<float>>("rates");
        QTest::newRow("up from 1")
            << 1.0f << 1 << QList<float>{1.1f, 1.15f, 1.2f, 1.25f, 1.5f, 1.75f, 2.0f};
        QTest::newRow("down from 1")
            << 1.0f << -1 << QList<float>{0.9f, 0.85f, 0.8f, 0.75f, 0.5f, 0.25f, 0.1f, 0.1f};
        QTest::newRow("down from 3")
            << 3.0f << -1
            << QList<float>{2.75f, 2.5f, 2.25f, 2.0f, 1.75f, 1.5f, 1.25f, 1.2f, 1.15f, 1.1f, 1.0f};
        QTest::newRow("up from the bottom")
            << 0.1f << 1 << QList<float>{0.25f, 0.5f, 0.75f, 0.8f, 0.85f, 0.9f, 1.0f};
        QTest::newRow("no upper limit") << 9.75f << 1 << QList<float>{10.0f, 10.25f};
        QTest::newRow("the sign alone counts") << 1.0f << 7 << QList<float>{1.1f, 1.15f};
        QTest::newRow("zero resets") << 2.75f << 0 << QList<float>{1.0f, 1.0f};
        QTest::newRow("1.3 up") << 1.3f << 1 << QList<float>{1.55f};
        QTest::newRow("1.3 down") << 1.3f << -1 << QList<float>{1.25f};
        QTest::newRow("1.12 up") << 1.12f << 1 << QList<float>{1.17f};
        QTest::newRow("1.12 down") << 1.12f << -1 << QList<float>{1.07f};
        QTest::newRow("0.6 up") << 0.6f << 1 << QList<float>{0.75f};
        QTest::newRow("0.6 down") << 0.6f << -1 << QList<float>{0.5f};
        QTest::newRow("0.93 up") << 0.93f << 1 << QList<float>{1.0f};
        QTest::newRow("0.93 down") << 0.93f << -1 << QList<float>{0.9f};
        QTest::newRow("1.4 down stops at 1.25") << 1.4f << -1 << QList<float>{1.25f, 1.2f};
        QTest::newRow("below the ladder") << 0.05f << 1 << QList<float>{0.1f};
        QTest::newRow("thousandths round first") << 1.104f << 1 << QList<float>{1.15f};
        QTest::newRow("halves round away from zero") << 1.125f << 1 << QList<float>{1.18f};
    }

    void nudgesClimbTheLadder()
    {
        QFETCH(float, start);
        QFETCH(int, direction);
        QFETCH(QList<float>, rates);
        Fixture f;
        f.session.setRate(start);
        QList<float> seen;
        for (qsizetype i = 0; i < rates.size(); ++i) {
            f.session.nudgeRate(direction);
            seen << f.session.rate();
        }
        QCOMPARE(seen, rates);
    }

    // A new rate reaches a playing player at once. A paused or scrubbing player is left alone
    // (a rate would start it); it gets the new rate when it plays again.
    void rateReachesThePlayerOnlyWhilePlaying_data()
    {
        QTest::addColumn<bool>("paused");
        QTest::addColumn<bool>("scrubbing");
        QTest::addColumn<float>("resumedRate");
        QTest::newRow("playing") << false << false << 1.15f;
        QTest::newRow("paused, then played") << true << false << 1.15f;
        QTest::newRow("scrubbing, then released") << false << true << 1.15f;
        QTest::newRow("scrubbing while paused, then released") << true << true << 0.0f;
    }

    void rateReachesThePlayerOnlyWhilePlaying()
    {
        QFETCH(bool, paused);
        QFETCH(bool, scrubbing);
        QFETCH(float, resumedRate);
        Fixture f;
        FakePlayer *player = f.openReady();
        if (paused)
            f.session.togglePlay();
        if (scrubbing)
            f.session.scrub(20);
        const int changes = player->rateChanges();

        f.session.nudgeRate(1);
        f.session.nudgeRate(1);

        QCOMPARE(f.session.rate(), 1.15f);
        const bool playing = !paused && !scrubbing;
        QCOMPARE(player->rate(), playing ? 1.15f : 0.0f);
        if (!playing)
            QCOMPARE(player->rateChanges(), changes);

        if (scrubbing) {
            f.session.endScrub();
            player->completeAllSeeks();
            settle();
        } else if (paused) {
            f.session.togglePlay();
        }
        QCOMPARE(player->rate(), resumedRate);
    }

    void setVolumeClampsAndUnmutes_data()
    {
        QTest::addColumn<bool>("muted");
        QTest::addColumn<float>("volume");
        QTest::addColumn<float>("applied");
        QTest::addColumn<bool>("mutedAfter");
        QTest::newRow("above 1") << false << 1.7f << 1.0f << false;
        QTest::newRow("below 0") << false << -0.2f << 0.0f << false;
        QTest::newRow("below 0 while muted") << true << -0.2f << 0.0f << true;
        QTest::newRow("0 while muted") << true << 0.0f << 0.0f << true;
        QTest::newRow("raised while muted") << true << 0.3f << 0.3f << false;
    }

    void setVolumeClampsAndUnmutes()
    {
        QFETCH(bool, muted);
        QFETCH(float, volume);
        QFETCH(float, applied);
        QFETCH(bool, mutedAfter);
        FakeEngine engine;
        MemoryPreferences preferences;
        preferences.setBool(kPlayerIsMutedKey, muted);
        PlaybackSession session(PlaybackSession::Services{engine, preferences});
        session.open(QUrl::fromLocalFile(QStringLiteral("/v/a.mp4")));
        FakePlayer *player = engine.last();

        session.setVolume(volume);

        QCOMPARE(session.volume(), applied);
        QCOMPARE(player->volume(), applied);
        QCOMPARE(session.isMuted(), mutedAfter);
        QCOMPARE(player->muted(), mutedAfter);
        QCOMPARE(preferences.boolValue(kPlayerIsMutedKey), mutedAfter);
    }

    // Two runs of the program, each with its own session and its own handle on the preferences
    // file: the mute state carries over, the volume does not.
    void muteOutlivesTheRunVolumeDoesNot()
    {
        FakeEngine engine;
        {
            const std::unique_ptr<Preferences> preferences = createStandardPreferences();
            PlaybackSession session(PlaybackSession::Services{engine, *preferences});
            QVERIFY(!session.isMuted());
            session.setVolume(0.4f);
            session.toggleMute();
        }
        const QString file = m_home.filePath(QStringLiteral(".qttest/config/Lunelo/Lunelo.conf"));
        QFile written(file);
        QVERIFY2(written.open(QIODevice::ReadOnly), qPrintable(file));
        QVERIFY(written.readAll().contains("playerIsMuted=true"));

        {
            const std::unique_ptr<Preferences> preferences = createStandardPreferences();
            PlaybackSession session(PlaybackSession::Services{engine, *preferences});
            QVERIFY(session.isMuted());
            QCOMPARE(session.volume(), 1.0f);
            session.open(QUrl::fromLocalFile(QStringLiteral("/v/a.mp4")));
            QVERIFY(engine.last()->muted());
            QCOMPARE(engine.last()->volume(), 1.0f);
            session.toggleMute();
        }
        {
            const std::unique_ptr<Preferences> preferences = createStandardPreferences();
            PlaybackSession session(PlaybackSession::Services{engine, *preferences});
            QVERIFY(!session.isMuted());
        }
    }

private:
    QTemporaryDir m_home;
};

QTEST_GUILESS_MAIN(TestRateLadder)
#include "tst_rateladder.moc"
