// The real application as the desktop sees it on a private session bus: its MPRIS player,
// driven and read with QtDBus, and the screensaver inhibition it holds while playing.
#include "appdriver.h"
#include "fakescreensaver.h"
#include "mprisclient.h"
#include "testsupport.h"

#include <QDBusObjectPath>
#include <QTest>

namespace {

using namespace Mpris;
constexpr int kWait = MprisClient::kWait;

bool startPlaying(AppDriver &app, MprisClient &mpris)
{
    return app.start({testMedia(QStringLiteral("clip.mp4"))}) &&
           app.waitForTrace(QStringLiteral("playing")) >= 0 && mpris.waitForPlayer();
}

} // namespace

class TestAppDesktop : public QObject {
    Q_OBJECT

private slots:
    void playerShowsTheVideoAndFollowsTheTransport()
    {
        AppDriver app;
        MprisClient mpris;
        QVERIFY(startPlaying(app, mpris));
        QCOMPARE(mpris.get(QStringLiteral("PlaybackStatus")), QStringLiteral("Playing"));
        QCOMPARE(mpris.metadata("xesam:title"), QStringLiteral("clip"));
        QCOMPARE(mpris.metadata("xesam:url"),
                 QUrl::fromLocalFile(testMedia(QStringLiteral("clip.mp4"))).toString());
        QVERIFY(qAbs(mpris.metadata("mpris:length").toLongLong() - 4'000'000) < 100'000);
        QTRY_VERIFY_WITH_TIMEOUT(mpris.seconds() > 0.2, kWait);
        for (const char *can : {"CanPlay", "CanPause", "CanSeek", "CanGoNext", "CanControl"})
            QVERIFY2(mpris.get(QString::fromLatin1(can)).toBool(), can);

        mpris.call(QStringLiteral("Pause"));
        QVERIFY(mpris.announced(QStringLiteral("PlaybackStatus"), QStringLiteral("Paused")));
        mpris.call(QStringLiteral("PlayPause"));
        QVERIFY(mpris.announced(QStringLiteral("PlaybackStatus"), QStringLiteral("Playing")));
        // Stop closes the file.
        mpris.call(QStringLiteral("Stop"));
        QVERIFY(mpris.announced(QStringLiteral("PlaybackStatus"), QStringLiteral("Stopped")));
        QCOMPARE(mpris.metadata("mpris:trackid"),
                 QStringLiteral("/org/mpris/MediaPlayer2/TrackList/NoTrack"));
        QVERIFY(!mpris.get(QStringLiteral("CanPlay")).toBool());
        // The position is read, never announced.
        for (const auto &change : std::as_const(mpris.changes))
            QVERIFY(change.first != QStringLiteral("Position"));
    }

    void seekingRateVolumeAndRepeatLandWhereAsked()
    {
        AppDriver app;
        MprisClient mpris;
        QVERIFY(startPlaying(app, mpris));
        mpris.call(QStringLiteral("Pause"));
        QVERIFY(mpris.announced(QStringLiteral("PlaybackStatus"), QStringLiteral("Paused")));
        const QDBusObjectPath track(mpris.metadata("mpris:trackid").toString());

        mpris.call(QStringLiteral("SetPosition"), {QVariant::fromValue(track), 3'000'000LL});
        QTRY_VERIFY_WITH_TIMEOUT(qAbs(mpris.seconds() - 3.0) < 0.05, kWait);
        QTRY_VERIFY_WITH_TIMEOUT(
            !mpris.seeks.isEmpty() && qAbs(mpris.seeks.last() / 1e6 - 3.0) < 0.05, kWait);
        mpris.call(QStringLiteral("Seek"), {-2'000'000LL});
        QTRY_VERIFY_WITH_TIMEOUT(qAbs(mpris.seconds() - 1.0) < 0.05, kWait);
        // A position for another track is stale.
        const QDBusObjectPath other(QStringLiteral("/org/lunelo/Lunelo/track/999"));
        mpris.call(QStringLiteral("SetPosition"), {QVariant::fromValue(other), 2'000'000LL});
        QTest::qWait(300);
        QVERIFY(qAbs(mpris.seconds() - 1.0) < 0.05);

        mpris.set(QStringLiteral("Rate"), 1.5);
        QVERIFY(mpris.announced(QStringLiteral("Rate"), 1.5));
        mpris.set(QStringLiteral("Volume"), 0.25);
        QVERIFY(mpris.announced(QStringLiteral("Volume"), 0.25));
        QCOMPARE(mpris.get(QStringLiteral("Volume")).toDouble(), 0.25);

        // Repeat: "Playlist" turns it on as "Track" does; the B key shows on the bus.
        QCOMPARE(mpris.get(QStringLiteral("LoopStatus")), QStringLiteral("None"));
        mpris.set(QStringLiteral("LoopStatus"), QStringLiteral("Playlist"));
        QVERIFY(mpris.announced(QStringLiteral("LoopStatus"), QStringLiteral("Track")));
        app.activate();
        AppDriver::xdotool({QStringLiteral("key"), QStringLiteral("b")});
        QVERIFY(mpris.announced(QStringLiteral("LoopStatus"), QStringLiteral("None")));
    }

    void raiseShowsTheWindowAndQuitEndsTheProcess()
    {
        AppDriver app;
        MprisClient mpris;
        QVERIFY(startPlaying(app, mpris));
        const QString id = QString::number(app.window());
        const auto isVisible = [&] {
            return AppDriver::xdotool({QStringLiteral("search"), QStringLiteral("--onlyvisible"),
                                       QStringLiteral("--pid"), QString::number(app.processId())})
                .contains(id);
        };
        AppDriver::xdotool({QStringLiteral("windowminimize"), QStringLiteral("--sync"), id});
        QTRY_VERIFY_WITH_TIMEOUT(!isVisible(), kWait);
        mpris.call(QStringLiteral("Raise"), {}, kRoot);
        QTRY_VERIFY_WITH_TIMEOUT(isVisible(), kWait);
        mpris.call(QStringLiteral("Quit"), {}, kRoot);
        QCOMPARE(app.waitForExit(), 0);
    }

    // The fake never lets a cookie go by itself, so one the player forgets stays held.
    void screenStaysAwakeOnlyWhilePlaying()
    {
        FakeScreenSaver screensaver;
        QVERIFY(screensaver.serve());
        AppDriver app;
        MprisClient mpris;
        QVERIFY(startPlaying(app, mpris));
        QTRY_COMPARE_WITH_TIMEOUT(screensaver.held(), 1, kWait);
        mpris.call(QStringLiteral("Pause"));
        QTRY_COMPARE_WITH_TIMEOUT(screensaver.held(), 0, kWait);
        mpris.call(QStringLiteral("Play"));
        QTRY_COMPARE_WITH_TIMEOUT(screensaver.held(), 1, kWait);
        mpris.call(QStringLiteral("Stop"));
        QTRY_COMPARE_WITH_TIMEOUT(screensaver.held(), 0, kWait);

        const int mark = app.traceCount();
        mpris.call(QStringLiteral("OpenUri"),
                   {QUrl::fromLocalFile(testMedia(QStringLiteral("clip.mp4"))).toString()});
        QVERIFY(app.waitForTrace(QStringLiteral("playing"), kWait, mark) >= 0);
        QTRY_COMPARE_WITH_TIMEOUT(screensaver.held(), 1, kWait);
        const QString id = QString::number(app.window());
        app.activate();
        AppDriver::xdotool(
            {QStringLiteral("key"), QStringLiteral("--window"), id, QStringLiteral("alt+F4")});
        QCOMPARE(app.waitForExit(), 0);
        QCOMPARE(screensaver.held(), 0);
        QCOMPARE(screensaver.granted(), 3);
    }
};

QTEST_MAIN(TestAppDesktop)
#include "tst_app_desktop.moc"
