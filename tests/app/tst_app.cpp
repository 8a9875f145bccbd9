// The built application under X, driven as a user drives it (real X input from xdotool at named
// places of its window) and looked at on the screen: the introduction, the keys, the chrome and
// the zoom of one running player, its window frame across launches, its MPRIS player (also while
// the disk under the next video stops answering) and its installed desktop entry.
#include "appdriver.h"
#include "fakescreensaver.h"
#include "mprisclient.h"
#include "playbacksession.h"
#include "stalledshare.h"
#include "testsupport.h"

#include <QDBusConnectionInterface>
#include <QDBusObjectPath>
#include <QGuiApplication>
#include <QMimeDatabase>
#include <QScreen>
#include <QTest>

class TestApp : public QObject {
    Q_OBJECT

    QTemporaryDir m_folder; // v1.mp4 (asym), v2.mp4 (checker1600), v10.mp4 (long), notes.txt
    std::unique_ptr<AppDriver> m_player;
    int m_mark = 0; // the first trace line the next row looks at

    static QString clip(const char *name) { return testMedia(QString::fromLatin1(name)); }

private slots:
    // The video waits until the introduction is done: Return activates its default button (the
    // claim succeeds on the test's own desktop).
    void introductionQueuesTheVideoUntilItIsDone()
    {
        AppDriver app({}, true);
        QVERIFY(app.start({clip("asym.mp4")}));
        QVERIFY(app.waitForFrame(QRect(0, 0, 460, 580)));
        QVERIFY(!app.trace().join('\n').contains(QStringLiteral("url "))); // queued
        app.act(QStringLiteral("windowactivate --sync window key Return"));
        QVERIFY(app.waitForTrace(QStringLiteral("url ") + clip("asym.mp4")) >= 0);
        QVERIFY(app.waitForFrame(QRect(0, 0, 980, 640)));
        QVERIFY(app.shows(QStringLiteral("PictureCentre=Grey")));
    }

    // One running player, 800 × 600, through a folder of three videos; each row acts and waits
    // for its trace lines in order and for what the screen then shows.
    void player_data()
    {
        QTest::addColumn<QString>("action");
        QTest::addColumn<QStringList>("trace");
        QTest::addColumn<QString>("screen");
        const auto row = [](const char *name, const char *action, QStringList trace,
                            const char *screen = "") {
            QTest::newRow(name) << action << trace << screen;
        };
        row("the chrome fades after opening", "", {"^chrome hidden"},
            "PictureCentre=Grey ControlBar=Black");
        row("the pointer at the bottom brings it back", "mousemove ControlBar", {"^chrome shown"},
            "ControlBar=Panel");
        row("a right click zooms 2× about the pointer", "mousemove RedBlock click 3",
            {"^zoom 2.0000 300.00 150.00$"}, "RedBlock=Red BesideRedBlock=Red");
        row("a drag pans to the picture's edge", "mousedown 1 mousemove UpperRight mouseup 1",
            {"^zoom 2.0000 400.00 150.00$"});
        row("a right click returns to the fitted picture", "click 3", {"^zoom 1.0000 0.00 0.00$"},
            "RedBlock=Red BesideRedBlock=Grey PictureTop=Grey AbovePicture=Black "
            "PictureBottom=Grey BelowPicture=Black");
        row("Ctrl + wheel zooms 10 % about the pointer", "keydown ctrl click 4 keyup ctrl",
            {"^zoom 1.1000 -20.00 0.00$"});
        row("Ctrl + plus zooms about the pointer", "key ctrl+0 ctrl+plus",
            {"^zoom 1.0000 0.00 0.00$", "^zoom 1.2500 -50.00 0.00$"});
        row("Down opens the next video, fitted", "key Down",
            {"^zoom 1.0000 0.00 0.00$", "^url .*/v2.mp4$"});
        row("16× draws from the full picture",
            "mousemove PictureCentre keydown ctrl click "
            "--repeat 32 --delay 30 4 keyup ctrl",
            {"^zoom 16.0000 0.00 0.00$"}, "PictureCentre=Checker");
        row("v10 comes after v2", "key Down", {"^url .*/v10.mp4$", "^playing"});
        row("a click on the title strip pauses, space plays",
            "mousemove TitleStrip click 1 key space", {"^paused", "^playing"});
        row("space pauses, M mutes", "key space m", {"^paused", "^muted"});
        row("Down wraps to the first video", "key Down", {"^url .*/v1.mp4$"});
        row("Up wraps to the last", "key Up", {"^url .*/v10.mp4$"});
    }

    void player()
    {
        QFETCH(QString, action);
        QFETCH(QStringList, trace);
        QFETCH(QString, screen);
        if (!m_player) {
            const std::pair<const char *, const char *> copies[] = {
                {"v1.mp4", "asym.mp4"}, {"v2.mp4", "checker1600.mp4"}, {"v10.mp4", "long.mp4"}};
            for (const auto &[copy, source] : copies)
                QVERIFY(QFile::copy(clip(source), m_folder.filePath(copy)));
            QVERIFY(makeFiles(m_folder.path(), {QStringLiteral("notes.txt")}));
            AppDriver::run({"xdotool", "mousemove", "0", "0"}); // nothing holds the chrome
            m_player = std::make_unique<AppDriver>();
            QVERIFY(m_player->start({m_folder.filePath(QStringLiteral("v1.mp4"))}));
            m_player->act(QStringLiteral("windowsize window 800 600 windowactivate --sync window"));
            QVERIFY(m_player->waitForFrame(QRect(0, 0, 800, 600)));
        }
        m_player->act(action);
        for (const QString &line : trace) {
            const int found = m_player->waitForTrace(QRegularExpression(line), 20000, m_mark);
            QVERIFY2(found >= 0, qPrintable(m_player->trace().mid(m_mark).join('\n')));
            m_mark = found + 1;
        }
        QVERIFY(m_player->shows(screen));
    }

    // Moved by its title strip, resized, through full screen (F only enters, Escape leaves),
    // closed with its fade: the next launch has the same frame.
    void frameSurvivesARelaunch()
    {
        m_player.reset();
        AppDriver first;
        QVERIFY(first.start({clip("asym.mp4")}));
        first.act(QStringLiteral("windowsize window 700 500"));
        QVERIFY(first.waitForFrame(QRect(0, 0, 700, 500)));
        const QRect moved = first.windowGeometry().translated(80, 40); // the first step starts it
        const QString step = QStringLiteral(" mousemove_relative 20 10 sleep 0.1");
        QVERIFY(first.waitForTrace(QStringLiteral("chrome hidden")) >= 0); // the strip is there
        first.act("mousemove TitleStrip sleep 0.1 mousedown 1" + step.repeated(5) + " mouseup 1");
        QVERIFY(first.waitForFrame(moved));
        first.act(QStringLiteral("windowactivate --sync window key f"));
        QVERIFY(first.waitForFrame(QRect(QPoint(), QGuiApplication::primaryScreen()->size())));
        first.act(QStringLiteral("key f Escape"));
        QVERIFY(first.waitForFrame(moved));
        first.act(QStringLiteral("key ctrl+q"));
        QCOMPARE(first.waitForExit(), 0);

        AppDriver again(first.home());
        QVERIFY(again.start());
        QVERIFY(again.window());
        QCOMPARE(again.windowGeometry(), moved);
    }

    // A desktop panel's requests, the screensaver held only while a video plays; nonsense asked
    // for changes nothing. The folder is on a share that stops answering before two steps to
    // the next video: the window answers the desktop meanwhile (a window waiting on the disk
    // would leave the bus unanswered), and the steps take the user, once the share answers,
    // where they lead.
    void mprisAndTheScreensaverFollowThePlayer()
    {
        using namespace Mpris;
        FakeScreenSaver screensaver;
        QVERIFY(screensaver.serve());
        StalledShare share;
        const bool onShare = share.mount(); // else the folder the share would show
        const auto path = [&](const char *name) {
            return onShare ? share.path(name) : share.source(name);
        };
        const std::pair<const char *, const char *> files[] = {
            {"a.mp4", "long.mp4"}, {"b.mp4", "clip.mp4"}, {"c.mp4", "clip.mp4"}};
        for (const auto &[name, source] : files)
            QVERIFY(QFile::copy(clip(source), share.source(name)));
        AppDriver app;
        MprisClient mpris;
        QVERIFY(app.start({path("a.mp4")}));
        QVERIFY(app.waitForTrace(QStringLiteral("playing")) >= 0 && mpris.waitForPlayer());
        QCOMPARE(mpris.metadata("xesam:title"), QStringLiteral("a"));
        QTRY_COMPARE_WITH_TIMEOUT(screensaver.held(), 1, MprisClient::kWait);

        mpris.call(QStringLiteral("Pause"));
        QTRY_COMPARE_WITH_TIMEOUT(mpris.get(QStringLiteral("PlaybackStatus")),
                                  QVariant(QStringLiteral("Paused")), MprisClient::kWait);
        QTRY_COMPARE_WITH_TIMEOUT(screensaver.held(), 0, MprisClient::kWait);
        const QDBusObjectPath track(mpris.metadata("mpris:trackid").toString());
        mpris.call(QStringLiteral("SetPosition"), {QVariant::fromValue(track), 3'000'000LL});
        QTRY_VERIFY_WITH_TIMEOUT(!mpris.seeks.isEmpty() && qAbs(mpris.seeks.last() - 3e6) < 5e4,
                                 MprisClient::kWait);
        mpris.call(QStringLiteral("Seek"), {-2'000'000LL}); // from 3 s
        QTRY_VERIFY_WITH_TIMEOUT(qAbs(mpris.get("Position").toLongLong() - 1e6) < 5e4,
                                 MprisClient::kWait);
        mpris.call(QStringLiteral("PlayPause"));
        QTRY_COMPARE_WITH_TIMEOUT(screensaver.held(), 1, MprisClient::kWait);

        if (onShare)
            share.stop();
        const int mark = app.traceCount();
        mpris.call(QStringLiteral("Next"));
        QVERIFY(!mpris.get(QStringLiteral("PlaybackStatus")).toString().isEmpty());
        mpris.call(QStringLiteral("Next"));
        share.resume();
        const int opened = app.waitForTrace("url " + path("c.mp4"), 10000, mark);
        QVERIFY(opened >= 0);
        QVERIFY(app.waitForTrace(QStringLiteral("ready"), 10000, opened) >= 0);
        QVERIFY(!onShare || !app.trace().mid(mark).contains("url " + path("b.mp4")));

        mpris.set(QStringLiteral("Rate"), qQNaN());
        QCOMPARE(mpris.get(QStringLiteral("Rate")).toDouble(), 1.0);
        mpris.set(QStringLiteral("Rate"), qInf());
        QTRY_COMPARE_WITH_TIMEOUT(mpris.get(QStringLiteral("Rate")), QVariant(16.0),
                                  MprisClient::kWait);
        // "Playlist" turns repeat on as "Track" does.
        mpris.set(QStringLiteral("LoopStatus"), QStringLiteral("Playlist"));
        QTRY_COMPARE_WITH_TIMEOUT(mpris.get(QStringLiteral("LoopStatus")),
                                  QVariant(QStringLiteral("Track")), MprisClient::kWait);
        mpris.call(QStringLiteral("Stop")); // closes the file
        QCOMPARE(mpris.metadata("mpris:trackid"), kPath + QStringLiteral("/TrackList/NoTrack"));
        QTRY_COMPARE_WITH_TIMEOUT(screensaver.held(), 0, MprisClient::kWait);
        mpris.call(QStringLiteral("Quit"), {}, kRoot);
        QCOMPARE(app.waitForExit(), 0);
    }

    // Installed into a temporary prefix: the entry and software-centre description validate,
    // the entry claims every video type the player opens, and once Lunelo is the default video
    // player, opening a video on the desktop starts the installed binary.
    void installedDesktopEntryOpensVideos()
    {
        m_player.reset();
        QTemporaryDir prefix;
        AppDriver desktop; // only for its temporary home, where the players write their trace
        QProcessEnvironment env = desktop.environment();
        const QString share = prefix.filePath(QStringLiteral("share/"));
        env.insert(QStringLiteral("XDG_DATA_DIRS"), share + QStringLiteral(":/usr/share"));
        env.insert(QStringLiteral("PATH"), prefix.filePath("bin:") + env.value("PATH"));
        const auto run = [&](const QString &command, const QString &log = {}) {
            QProcess process;
            process.setProcessEnvironment(env);
            process.setProcessChannelMode(QProcess::MergedChannels);
            if (!log.isEmpty())
                process.setStandardOutputFile(log); // the player inherits it
            process.start(command.section(' ', 0, 0), command.section(' ', 1).split(' '));
            const bool ran = process.waitForFinished(60000) && process.exitCode() == 0;
            return ran ? QString() : command + ": " + process.readAll();
        };
        QCOMPARE(run(qEnvironmentVariable("CMAKE_COMMAND") + " --install " +
                     qEnvironmentVariable("LUNELO_BUILD_DIR") + " --prefix " + prefix.path()),
                 QString());
        const QString entry = share + "applications/org.lunelo.Lunelo.desktop";
        QCOMPARE(run("desktop-file-validate " + entry), QString());
        QCOMPARE(run("appstreamcli validate --no-net --strict " + share +
                     "metainfo/org.lunelo.Lunelo.metainfo.xml"),
                 QString());
        QFile file(entry);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QString text = QString::fromUtf8(file.readAll());
        QVERIFY(text.contains(QStringLiteral("\nExec=lunelo %U\n")));
        const QStringList types = text.section("\nMimeType=", 1).section('\n', 0, 0).split(';');
        for (const QString &extension : PlaybackSession::videoExtensions()) {
            const QMimeType type = QMimeDatabase().mimeTypeForFile("v." + extension);
            QVERIFY2(types.contains(type.name()), qPrintable(extension + " is " + type.name()));
        }

        // Opened on the desktop, a video starts the installed player (which inherits the log).
        QCOMPARE(run(QStringLiteral("gio mime video/mp4 org.lunelo.Lunelo.desktop")), QString());
        const QString log = desktop.home() + "/player.log";
        QCOMPARE(run("gio open " + clip("clip.mp4"), log), QString());
        QTRY_VERIFY_WITH_TIMEOUT(
            [&] {
                QFile f(log);
                return f.open(QIODevice::ReadOnly) && f.readAll().contains(" first-frame");
            }(),
            20000);
        MprisClient().call(QStringLiteral("Quit"), {}, Mpris::kRoot);
        QTRY_VERIFY(
            !QDBusConnection::sessionBus().interface()->isServiceRegistered(Mpris::kService));
    }
};

QTEST_MAIN(TestApp)
#include "tst_app.moc"
