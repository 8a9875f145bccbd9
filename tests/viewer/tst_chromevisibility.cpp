// When the chrome shows and hides, on a clock the test moves.
#include "chromevisibility.h"
#include "commands.h"
#include "manualscheduler.h"

#include <QSignalSpy>
#include <QTest>
#include <QThread>

#include <limits>

namespace {

constexpr double kHeight = 600; // the view's height; the band is y 504 … 600

struct Fixture {
    std::shared_ptr<ManualScheduler> clock = std::make_shared<ManualScheduler>();
    ChromeVisibility chrome;

    Fixture()
    {
        chrome.setScheduler(clock);
        chrome.showForInput(); // the player appears
    }
};

} // namespace

class TestChromeVisibility : public QObject {
    Q_OBJECT

private slots:
    void inputShowsTheChromeForItsDelayWithOneTimer()
    {
        Fixture f;
        QVERIFY(f.chrome.chromeVisible());
        for (int i = 0; i < 10; ++i) {
            f.clock->advance(0.3);
            f.chrome.showForInput(); // a click on the picture
        }
        QCOMPARE(f.clock->pending(), size_t(1));
        f.clock->advance(1.09);
        QVERIFY(f.chrome.chromeVisible());
        f.clock->advance(0.02);
        QVERIFY(!f.chrome.chromeVisible());
        QVERIFY(f.chrome.fading());
    }

    void thePointerInTheBandHoldsTheChrome()
    {
        Fixture f;
        f.chrome.updateBarProximity(QPointF(300, 550), kHeight);
        QVERIFY(f.chrome.cursorNearBar());
        f.clock->advance(30);
        QVERIFY(f.chrome.chromeVisible());
        // Moving inside the band touches no timer.
        f.chrome.updateBarProximity(QPointF(320, 560), kHeight);
        QCOMPARE(f.clock->pending(), size_t(0));

        f.chrome.updateBarProximity(QPointF(320, 300), kHeight);
        f.clock->advance(0.13);
        QVERIFY(f.chrome.chromeVisible());
        f.clock->advance(0.02);
        QVERIFY(!f.chrome.chromeVisible());
    }

    void bandEdges_data()
    {
        QTest::addColumn<QPointF>("position");
        QTest::addColumn<bool>("near");
        const double nan = std::numeric_limits<double>::quiet_NaN();
        QTest::newRow("top edge of the band") << QPointF(10, kHeight - 96) << true;
        QTest::newRow("just above") << QPointF(10, kHeight - 96.01) << false;
        QTest::newRow("bottom edge") << QPointF(10, kHeight) << true;
        QTest::newRow("below the view") << QPointF(10, kHeight + 1) << false;
        QTest::newRow("x = 0") << QPointF(0, 550) << true;
        QTest::newRow("x < 0") << QPointF(-0.5, 550) << false;
        QTest::newRow("not a number") << QPointF(nan, 550) << false;
    }

    void bandEdges()
    {
        QFETCH(QPointF, position);
        QFETCH(bool, near);
        Fixture f;
        f.chrome.updateBarProximity(position, kHeight);
        QCOMPARE(f.chrome.cursorNearBar(), near);
    }

    void barHoverAndLeavingTheView()
    {
        Fixture f;
        f.clock->advance(2);
        QVERIFY(!f.chrome.chromeVisible());
        f.chrome.setHoveringBar(true);
        QVERIFY(f.chrome.showChrome());
        QVERIFY(!f.chrome.fading() || f.chrome.chromeVisible());
        f.clock->advance(10);
        QVERIFY(f.chrome.chromeVisible());

        f.chrome.updateBarProximity(QPointF(300, 580), kHeight);
        f.chrome.pointerLeftView();
        QVERIFY(!f.chrome.hoveringBar());
        QVERIFY(!f.chrome.cursorNearBar());
        f.clock->advance(0.15);
        QVERIFY(!f.chrome.chromeVisible());
    }

    void closingThePopoverAwayFromTheBar()
    {
        Fixture f;
        f.chrome.setShowVolume(true);
        f.clock->advance(5);
        QVERIFY(f.chrome.chromeVisible());
        f.chrome.setShowVolume(false);
        f.clock->advance(0.34);
        QVERIFY(f.chrome.chromeVisible());
        f.clock->advance(0.02);
        QVERIFY(!f.chrome.chromeVisible());
    }

    // Only changes that come with showChrome fade the bars, the pointer entering the band from
    // hidden among them; the popover alone switches them at once.
    void fadingFollowsShowChromeOnly()
    {
        Fixture f;
        f.clock->advance(2);
        QVERIFY(f.chrome.fading());
        QSignalSpy fading(&f.chrome, &ChromeVisibility::fadingChanged);
        f.chrome.updateBarProximity(QPointF(300, 550), kHeight);
        QVERIFY(f.chrome.chromeVisible());
        QVERIFY(f.chrome.fading());
        f.chrome.updateBarProximity(QPointF(300, 300), kHeight);
        f.clock->advance(1);
        QVERIFY(!f.chrome.chromeVisible());
        QCOMPARE(fading.count(), 0);
        f.chrome.setShowVolume(true); // raises nothing but showVolume
        QVERIFY(f.chrome.chromeVisible());
        QVERIFY(!f.chrome.fading());
        QCOMPARE(fading.count(), 1);
    }

    void rateToastStaysUpUntilAfterTheLastNudge()
    {
        Fixture f;
        Commands commands;
        f.chrome.setCommands(&commands);
        commands.post(CommandName::rateNudged);
        QVERIFY(f.chrome.ratePulse());
        f.clock->advance(0.5);
        f.chrome.pulseRate();
        f.clock->advance(1.0);
        QVERIFY(f.chrome.ratePulse());
        f.clock->advance(0.11);
        QVERIFY(!f.chrome.ratePulse());
        QVERIFY(!f.chrome.chromeVisible()); // the pulse showed the chrome for its 1.1 s too
        commands.post(CommandName::zoomIn);
        QVERIFY(!f.chrome.ratePulse());
    }

    // Qt's timers: a task cancelled once it was due, its timeout on the way, never runs.
    void cancelledTimerTasksNeverRun()
    {
        const std::shared_ptr<TaskScheduler> scheduler = TaskScheduler::system();
        int cancelledRuns = 0;
        int keptRuns = 0;
        const TaskScheduler::TaskId cancelled = scheduler->schedule(0, [&] { ++cancelledRuns; });
        scheduler->schedule(0, [&] { ++keptRuns; });
        QThread::msleep(5);
        scheduler->cancel(cancelled);
        QTRY_COMPARE(keptRuns, 1);
        QCOMPARE(cancelledRuns, 0);
    }
};

QTEST_GUILESS_MAIN(TestChromeVisibility)
#include "tst_chromevisibility.moc"
