// The window of the real application: the introduction at the first launch, the player frame
// that survives a relaunch, full screen and Escape, and the menu commands with their shortcuts.
#include "appdriver.h"
#include "testsupport.h"

#include <QGuiApplication>
#include <QRegularExpression>
#include <QScreen>
#include <QTest>

namespace {

void key(const QString &keys)
{
    AppDriver::xdotool({QStringLiteral("key"), keys});
}

bool waitForGeometry(AppDriver &app, const std::function<bool(QRect)> &wanted)
{
    return QTest::qWaitFor([&] { return wanted(app.windowGeometry()); }, 10000);
}

} // namespace

class TestAppWindow : public QObject {
    Q_OBJECT

private slots:
    // Skipped, or activated with Return ("Ativar Lunelo" is the default button; the claim
    // succeeds on the test's own desktop): the queued video opens in the player.
    void firstLaunchShowsTheIntroductionThenTheQueuedVideo_data()
    {
        QTest::addColumn<bool>("byReturn");
        QTest::newRow("skipped") << false;
        QTest::newRow("activated with Return") << true;
    }

    void firstLaunchShowsTheIntroductionThenTheQueuedVideo()
    {
        QFETCH(bool, byReturn);
        AppDriver app({}, AppDriver::Launch::First);
        QVERIFY(app.start({testMedia(QStringLiteral("asym.mp4"))}));
        QVERIFY(app.window());
        const QRect intro = app.windowGeometry();
        QCOMPARE(intro.width(), 460);
        QCOMPARE(intro.height(), 580); // the screen has room for the full height
        saveShot(app.grabWindow(), QStringLiteral("window-introduction"));
        QVERIFY(!app.trace().join('\n').contains(QStringLiteral("url "))); // queued

        if (byReturn) {
            app.activate();
            key(QStringLiteral("Return"));
        } else {
            app.click(QPoint(230, intro.height() - 37)); // "Pular e só usar o player"
        }
        QVERIFY(app.waitForTrace(QStringLiteral("url ") + testMedia(QStringLiteral("asym.mp4"))) >=
                0);
        QVERIFY(waitForGeometry(app, [](QRect r) { return r.size() == QSize(980, 640); }));
        QVERIFY(app.waitForTrace(QStringLiteral("first-frame")) >= 0);
    }

    // "Mostrar introdução" from the menu while a video plays: the introduction comes back, the
    // video stays open behind it, and the player shows it again when the introduction is done.
    void introductionBroughtBackKeepsTheVideo()
    {
        AppDriver app;
        QVERIFY(app.start({testMedia(QStringLiteral("long.mp4"))}));
        QVERIFY(app.waitForTrace(QStringLiteral("playing")) >= 0);
        const QRect player = app.windowGeometry();
        app.activate();
        AppDriver::xdotool({QStringLiteral("mousemove"), QString::number(player.x() + 400),
                            QString::number(player.bottom() - 30)}); // the chrome shows
        QTest::qWait(400);
        app.click(QPoint(player.width() - 16 - 20 - 10 - 10, 24)); // the menu
        QTest::qWait(400);
        for (int i = 0; i < 3; ++i)
            key(QStringLiteral("Down"));
        key(QStringLiteral("Return")); // the third command
        QVERIFY(waitForGeometry(app, [](QRect r) { return r.width() == 460; }));
        QVERIFY(QTest::qWaitFor([&] { // written for the next launch too
            QFile config(app.configFile());
            return config.open(QIODevice::ReadOnly) &&
                   config.readAll().contains("onboardingCompleted=false");
        }));

        app.click(QPoint(230, app.windowGeometry().height() - 37)); // "Pular …"
        QVERIFY(waitForGeometry(app, [&](QRect r) { return r.size() == player.size(); }));
        QTest::qWait(800);
        QVERIFY(!app.trace().join('\n').contains(QStringLiteral("error ")));
        const QImage shot = app.grabWindow();
        saveShot(shot, QStringLiteral("window-player-again"));
        int lit = 0; // the clip's bright colour bars, not a black window
        for (int x = 100; x < player.width() - 100; x += 20)
            lit += qGray(shot.pixel(x, player.height() / 2)) > 60 ? 1 : 0;
        QVERIFY2(lit > 10, qPrintable(QString::number(lit)));
    }

    // Closed with its fade, or at once without motion (and then the process ends as well).
    void playerFrameSurvivesARelaunch_data()
    {
        QTest::addColumn<bool>("reducedMotion");
        QTest::addColumn<QString>("close");
        QTest::newRow("fading, Ctrl+Q") << false << "ctrl+q";
        QTest::newRow("reduced motion, Escape") << true << "Escape";
    }

    void playerFrameSurvivesARelaunch()
    {
        QFETCH(bool, reducedMotion);
        QFETCH(QString, close);
        AppDriver first;
        if (reducedMotion)
            first.reduceMotion();
        QVERIFY(first.start({testMedia(QStringLiteral("asym.mp4"))}));
        const QString id = QString::number(first.window());
        AppDriver::xdotool(
            {QStringLiteral("windowmove"), id, QStringLiteral("100"), QStringLiteral("80")});
        first.resizeWindow(700, 500);
        QVERIFY(waitForGeometry(first, [](QRect r) { return r == QRect(100, 80, 700, 500); }));
        QTRY_VERIFY(QFile(first.configFile()).exists());
        QTest::qWait(600); // the frame is saved once it stops moving
        first.activate();
        key(close);
        QCOMPARE(first.waitForExit(), 0);

        AppDriver again(first.home());
        QVERIFY(again.start());
        QVERIFY(again.window());
        QCOMPARE(again.windowGeometry(), QRect(100, 80, 700, 500));
    }

    void escapeLeavesFullScreenThenCloses()
    {
        AppDriver app;
        QVERIFY(app.start({testMedia(QStringLiteral("asym.mp4"))}));
        const QRect normal = app.windowGeometry();
        const QSize screen = QGuiApplication::primaryScreen()->size();
        app.activate();
        key(QStringLiteral("f"));
        QVERIFY(waitForGeometry(app, [&](QRect r) { return r.size() == screen; }));
        key(QStringLiteral("f")); // F only enters
        QTest::qWait(300);
        QCOMPARE(app.windowGeometry().size(), screen);
        key(QStringLiteral("Escape"));
        QVERIFY(waitForGeometry(app, [&](QRect r) { return r.size() == normal.size(); }));
        QVERIFY(app.isRunning());
        key(QStringLiteral("Escape"));
        QCOMPARE(app.waitForExit(), 0);
    }

    void menuCommandsAndTheirShortcuts()
    {
        AppDriver app;
        QVERIFY(app.start({testMedia(QStringLiteral("long.mp4"))}));
        app.resizeWindow(800, 600);
        app.activate();

        // Ctrl + plus zooms about the pointer: (600, 200) is 200 right of and 100 above the
        // centre, so the offset moves by (−50, 25).
        const QPoint origin = app.windowGeometry().topLeft();
        AppDriver::xdotool({QStringLiteral("mousemove"), QString::number(origin.x() + 600),
                            QString::number(origin.y() + 200)});
        int mark = app.traceCount();
        key(QStringLiteral("ctrl+plus"));
        QVERIFY(app.waitForTrace(QStringLiteral("zoom 1.2500 -50.00 25.00"), 10000, mark) >= 0);
        key(QStringLiteral("ctrl+0"));
        QVERIFY(app.waitForTrace(QStringLiteral("zoom 1.0000 0.00 0.00"), 10000, mark) >= 0);

        // The menu button sits at the top bar's end, before the close button.
        app.activate();
        AppDriver::xdotool({QStringLiteral("mousemove"), QString::number(origin.x() + 400),
                            QString::number(origin.y() + 560)}); // the chrome shows
        const bool chromeShown = QTest::qWaitFor([&] {
            const QStringList chrome =
                app.trace().filter(QRegularExpression(QStringLiteral("^chrome ")));
            // It starts shown, and says so only when it comes back.
            return chrome.isEmpty() || chrome.last() == QLatin1String("chrome shown");
        });
        QVERIFY(chromeShown);
        QTest::qWait(300); // the fade
        app.click(QPoint(800 - 16 - 20 - 10 - 10, 24));
        QTest::qWait(500);
        const QImage menu = app.grabWindow();
        saveShot(menu, QStringLiteral("window-menu"));
        int menuPixels = 0; // the menu's dark grey panel under the button
        for (int y = 60; y < 200; y += 5) {
            const QRgb c = menu.pixel(680, y);
            menuPixels +=
                qAbs(qRed(c) - 36) < 14 && qAbs(qGreen(c) - 36) < 14 && qAbs(qBlue(c) - 38) < 14;
        }
        QVERIFY2(menuPixels > 15, qPrintable(QString::number(menuPixels)));
        key(QStringLiteral("Escape")); // closes the menu: the key router leaves keys to it
        QTest::qWait(300);
        QVERIFY(app.isRunning());

        // Ctrl + O opens the open panel; keys go to it while it is up.
        mark = app.traceCount();
        app.activate();
        key(QStringLiteral("ctrl+o"));
        const QString panel = AppDriver::xdotool(
            {QStringLiteral("search"), QStringLiteral("--sync"), QStringLiteral("--onlyvisible"),
             QStringLiteral("--name"), QStringLiteral("Abrir vídeo")});
        QVERIFY(!panel.isEmpty());
        key(QStringLiteral("space")); // to the panel, not the player
        QTest::qWait(300);
        QVERIFY(!app.trace().mid(mark).join('\n').contains(QStringLiteral("paused")));
        AppDriver::xdotool({QStringLiteral("windowclose"), panel.section('\n', 0, 0)});
        QVERIFY(app.isRunning());
    }
};

QTEST_MAIN(TestAppWindow)
#include "tst_app_window.moc"
