// The built application under X, driven as a user drives it (real X input from xdotool at named
// places of its window) and looked at on the screen: the introduction, the keys, the chrome and
// the zoom of one running player, its window frame across launches, its MPRIS player and its
// installed desktop entry.
#include "appdriver.h"
#include "fakescreensaver.h"
#include "mprisclient.h"
#include "playbacksession.h"
#include "testsupport.h"

#include <QDBusConnectionInterface>
#include <QDBusObjectPath>
#include <QGuiApplication>
#include <QMimeDatabase>
#include <QScreen>
#include <QSvgRenderer>
#include <QTest>

class TestApp : public QObject {
    Q_OBJECT

    QTemporaryDir m_folder; // v1.mp4 (asym), v2.mp4 (checker1600), v10.mp4 (long), notes.txt
    std::unique_ptr<AppDriver> m_player;
    int m_mark = 0; // the first trace line the next row looks at
    QString m_layout = QStringLiteral("us");

    static QString clip(const char *name) { return testMedia(QString::fromLatin1(name)); }

private slots:
    void cleanupTestCase() { QProcess::execute(QStringLiteral("setxkbmap"), {"us"}); }

    // Skipped by a click, brought back from the menu (the video stays open behind it), then
    // activated with Return (the default button; the claim succeeds on the test's own desktop).
    void introductionQueuesTheVideoUntilItIsDone()
    {
        AppDriver app({}, AppDriver::Launch::First);
        QVERIFY(app.start({clip("asym.mp4")}));
        QVERIFY(app.waitForFrame(QRect(0, 0, 460, 580)));
        QVERIFY(!app.trace().join('\n').contains(QStringLiteral("url "))); // queued
        app.act(QStringLiteral("mousemove SkipIntroduction click 1"));
        QVERIFY(app.waitForTrace(QStringLiteral("url ") + clip("asym.mp4")) >= 0);
        QVERIFY(app.waitForFrame(QRect(0, 0, 980, 640)));
        app.resizeWindow(800, 600);
        app.activate();
        app.act(QStringLiteral("mousemove ControlBar"));
        QVERIFY(app.shows(QStringLiteral("ControlBar=Panel")));
        app.act(QStringLiteral("mousemove MenuButton click 1"));
        QVERIFY(app.shows(QStringLiteral("OpenMenu=Panel")));
        app.act(QStringLiteral("key Down Down Down Return")); // "Mostrar introdução"
        QVERIFY(app.waitForFrame(QRect(0, 0, 460, 580)));
        QVERIFY(QTest::qWaitFor([&] { // kept for the next launch too
            QFile config(app.configFile());
            return config.open(QIODevice::ReadOnly) &&
                   config.readAll().contains("onboardingCompleted=false");
        }));
        app.activate();
        app.act(QStringLiteral("key Return"));
        QVERIFY(app.waitForFrame(QRect(0, 0, 800, 600)));
        QVERIFY(app.shows(QStringLiteral("RedBlock=Red PictureCentre=Grey")));
        QVERIFY(!app.trace().join('\n').contains(QStringLiteral("error ")));
    }

    // One running player, 800 × 600, through a folder of three videos; each row acts and waits
    // for its trace lines in order and for what the screen then shows.
    void player_data()
    {
        QTest::addColumn<QString>("layout");
        QTest::addColumn<QString>("action");
        QTest::addColumn<QStringList>("trace");
        QTest::addColumn<QString>("screen");
        const auto row = [](const char *name, const char *action, QStringList trace,
                            const char *screen = "", const char *layout = "us") {
            QTest::newRow(name) << layout << action << trace << screen;
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
        row("Ctrl + 0 fits", "key ctrl+0", {"^zoom 1.0000 0.00 0.00$"});
        row("Ctrl + plus zooms about the pointer", "key ctrl+plus", {"^zoom 1.2500 -50.00 0.00$"});
        row("Down opens the next video, fitted", "key Down",
            {"^zoom 1.0000 0.00 0.00$", "^url .*/v2.mp4$"});
        row("16× draws from the full picture",
            "mousemove PictureCentre keydown ctrl click "
            "--repeat 32 --delay 30 4 keyup ctrl",
            {"^zoom 16.0000 0.00 0.00$"}, "PictureCentre=Checker");
        row("v10 comes after v2", "key Down", {"^url .*/v10.mp4$", "^playing"});
        row("a click on the title strip pauses", "mousemove TitleStrip click 1", {"^paused"});
        row("space plays", "key space", {"^playing"});
        row("Right skips 10 s", "key Right", {"^jump 1\\d\\."});
        row("Left skips back", "key Left", {"^jump [0-5]\\."});
        row("space pauses", "key space", {"^paused"});
        row("M mutes", "key m", {"^muted"});
        row("the key at M's place unmutes on AZERTY", "key comma", {"^unmuted"}, "", "fr");
        row("Down wraps to the first video", "key Down", {"^url .*/v1.mp4$"}, "", "fr");
        row("Up wraps to the last", "key Up", {"^url .*/v10.mp4$"});
    }

    void player()
    {
        QFETCH(QString, layout);
        QFETCH(QString, action);
        QFETCH(QStringList, trace);
        QFETCH(QString, screen);
        if (!m_player) {
            const std::pair<const char *, const char *> copies[] = {
                {"v1.mp4", "asym.mp4"}, {"v2.mp4", "checker1600.mp4"}, {"v10.mp4", "long.mp4"}};
            for (const auto &[copy, source] : copies)
                QVERIFY(QFile::copy(clip(source), m_folder.filePath(copy)));
            QVERIFY(makeFiles(m_folder.path(), {QStringLiteral("notes.txt")}));
            AppDriver::xdotool({"mousemove", "0", "0"}); // nothing holds the chrome
            m_player = std::make_unique<AppDriver>();
            QVERIFY(m_player->start({m_folder.filePath(QStringLiteral("v1.mp4"))}));
            m_player->resizeWindow(800, 600);
            m_player->activate();
        }
        if (layout != m_layout)
            QCOMPARE(QProcess::execute(QStringLiteral("setxkbmap"), {m_layout = layout}), 0);
        m_player->act(action);
        for (const QString &line : trace) {
            const int found = m_player->waitForTrace(QRegularExpression(line), 20000, m_mark);
            QVERIFY2(found >= 0, qPrintable(m_player->trace().mid(m_mark).join('\n')));
            m_mark = found + 1;
        }
        QVERIFY(m_player->shows(screen));
    }

    // Moved by its title strip, resized, through full screen (F only enters, Escape leaves),
    // closed with its fade or at once without motion: the next launch has the same frame.
    void frameSurvivesARelaunch_data()
    {
        QTest::addColumn<bool>("reducedMotion");
        QTest::addColumn<QString>("close");
        QTest::newRow("fading, Ctrl+Q") << false << "ctrl+q";
        QTest::newRow("reduced motion, Escape") << true << "Escape";
    }

    void frameSurvivesARelaunch()
    {
        QFETCH(bool, reducedMotion);
        QFETCH(QString, close);
        m_player.reset();
        AppDriver first;
        if (reducedMotion)
            first.reduceMotion();
        QVERIFY(first.start({clip("asym.mp4")}));
        first.resizeWindow(700, 500);
        const QRect moved = first.windowGeometry().translated(80, 40); // the first step starts it
        const QString step = QStringLiteral(" mousemove_relative 20 10 sleep 0.1");
        QVERIFY(first.waitForTrace(QStringLiteral("chrome hidden")) >= 0); // the strip is there
        first.act("mousemove TitleStrip sleep 0.1 mousedown 1" + step.repeated(5) + " mouseup 1");
        QVERIFY(first.waitForFrame(moved));
        first.activate();
        first.act(QStringLiteral("key f"));
        QVERIFY(first.waitForFrame(QRect(QPoint(), QGuiApplication::primaryScreen()->size())));
        first.act(QStringLiteral("key f Escape"));
        QVERIFY(first.waitForFrame(moved));
        first.act("key " + close);
        QCOMPARE(first.waitForExit(), 0);

        AppDriver again(first.home());
        QVERIFY(again.start());
        QVERIFY(again.window());
        QCOMPARE(again.windowGeometry(), moved);
    }

    void mprisAndTheScreensaverFollowThePlayer()
    {
        using namespace Mpris;
        FakeScreenSaver screensaver;
        QVERIFY(screensaver.serve());
        AppDriver app;
        MprisClient mpris;
        QVERIFY(app.start({clip("clip.mp4")}));
        QVERIFY(app.waitForTrace(QStringLiteral("playing")) >= 0 && mpris.waitForPlayer());
        QCOMPARE(mpris.metadata("xesam:title"), QStringLiteral("clip"));
        QVERIFY(qAbs(mpris.metadata("mpris:length").toLongLong() - 4'000'000) < 100'000);
        for (const char *can : {"CanPlay", "CanPause", "CanSeek", "CanGoNext", "CanControl"})
            QVERIFY2(mpris.get(QString::fromLatin1(can)).toBool(), can);
        QTRY_COMPARE_WITH_TIMEOUT(screensaver.held(), 1, MprisClient::kWait);

        mpris.call(QStringLiteral("Pause"));
        QVERIFY(mpris.announced(QStringLiteral("PlaybackStatus"), QStringLiteral("Paused")));
        QTRY_COMPARE_WITH_TIMEOUT(screensaver.held(), 0, MprisClient::kWait);
        const QDBusObjectPath track(mpris.metadata("mpris:trackid").toString());
        mpris.call(QStringLiteral("SetPosition"), {QVariant::fromValue(track), 3'000'000LL});
        QTRY_VERIFY_WITH_TIMEOUT(!mpris.seeks.isEmpty() && qAbs(mpris.seeks.last() - 3e6) < 5e4,
                                 MprisClient::kWait);
        // A position for another track is stale; a relative seek then starts from 3 s.
        const QDBusObjectPath other(QStringLiteral("/org/lunelo/Lunelo/track/999"));
        mpris.call(QStringLiteral("SetPosition"), {QVariant::fromValue(other), 2'000'000LL});
        mpris.call(QStringLiteral("Seek"), {-2'000'000LL});
        QTRY_VERIFY_WITH_TIMEOUT(qAbs(mpris.seconds() - 1.0) < 0.05, MprisClient::kWait);
        mpris.call(QStringLiteral("PlayPause"));
        QVERIFY(mpris.announced(QStringLiteral("PlaybackStatus"), QStringLiteral("Playing")));
        QTRY_COMPARE_WITH_TIMEOUT(screensaver.held(), 1, MprisClient::kWait);

        mpris.set(QStringLiteral("Rate"), 1.5);
        QVERIFY(mpris.announced(QStringLiteral("Rate"), 1.5));
        mpris.set(QStringLiteral("Volume"), 0.25);
        QVERIFY(mpris.announced(QStringLiteral("Volume"), 0.25));
        // "Playlist" turns repeat on as "Track" does; the B key shows on the bus.
        mpris.set(QStringLiteral("LoopStatus"), QStringLiteral("Playlist"));
        QVERIFY(mpris.announced(QStringLiteral("LoopStatus"), QStringLiteral("Track")));
        app.activate();
        app.act(QStringLiteral("key b"));
        QVERIFY(mpris.announced(QStringLiteral("LoopStatus"), QStringLiteral("None")));

        mpris.call(QStringLiteral("Stop")); // closes the file
        QVERIFY(mpris.announced(QStringLiteral("PlaybackStatus"), QStringLiteral("Stopped")));
        QCOMPARE(mpris.metadata("mpris:trackid"), kPath + QStringLiteral("/TrackList/NoTrack"));
        QTRY_COMPARE_WITH_TIMEOUT(screensaver.held(), 0, MprisClient::kWait);
        const int mark = app.traceCount();
        mpris.call(QStringLiteral("OpenUri"), {QUrl::fromLocalFile(clip("clip.mp4")).toString()});
        QVERIFY(app.waitForTrace(QStringLiteral("playing"), MprisClient::kWait, mark) >= 0);
        QTRY_COMPARE_WITH_TIMEOUT(screensaver.held(), 1, MprisClient::kWait);

        mpris.call(QStringLiteral("Quit"), {}, kRoot);
        QCOMPARE(app.waitForExit(), 0);
        QCOMPARE(screensaver.held(), 0);
    }

    // Installed into a temporary prefix: the entry and software-centre description validate,
    // and once Lunelo is the default video player, opening two videos on the desktop starts the
    // installed binary once and hands it the second.
    void installedDesktopEntryOpensVideosInOnePlayer()
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
        QCOMPARE(
            QSvgRenderer(share + "icons/hicolor/scalable/apps/org.lunelo.Lunelo.svg").defaultSize(),
            QSize(128, 128));
        QFile file(entry);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QString text = QString::fromUtf8(file.readAll());
        QVERIFY(text.contains(QStringLiteral("\nExec=lunelo %U\n")));
        const QStringList types = text.section("\nMimeType=", 1).section('\n', 0, 0).split(';');
        for (const QString &extension : PlaybackSession::videoExtensions()) {
            const QMimeType type = QMimeDatabase().mimeTypeForFile("v." + extension);
            QVERIFY2(types.contains(type.name()), qPrintable(extension + " is " + type.name()));
        }

        // Opened on the desktop, two videos reach one installed player, in one window.
        QCOMPARE(run(QStringLiteral("gio mime video/mp4 org.lunelo.Lunelo.desktop")), QString());
        // The first player logs into `first`; the second launch hands its file over, logging
        // nothing.
        const QString first = desktop.home() + "/first.log",
                      second = desktop.home() + "/second.log";
        const auto count = [&](const QString &log, const char *event) {
            QFile f(log);
            return f.open(QIODevice::ReadOnly) ? f.readAll().count(event) : 0;
        };
        QCOMPARE(run("gio open " + clip("clip.mp4"), first), QString());
        QTRY_COMPARE_WITH_TIMEOUT(count(first, " first-frame"), 1, 20000);
        QCOMPARE(run("gio open " + clip("asym.mp4"), second), QString());
        QTRY_COMPARE_WITH_TIMEOUT(count(first, " first-frame"), 2, 20000);
        QCOMPARE(count(second, "lunelo-trace"), 0);
        MprisClient().call(QStringLiteral("Quit"), {}, Mpris::kRoot);
        QTRY_VERIFY(
            !QDBusConnection::sessionBus().interface()->isServiceRegistered(Mpris::kService));
    }
};

QTEST_MAIN(TestApp)
#include "tst_app.moc"
