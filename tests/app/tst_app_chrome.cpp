// The chrome of the real application: shown when a video opens, gone 1.1 s later, back when
// the pointer reaches the bottom of the window; the window's top edge moves it all the while.
#include "appdriver.h"
#include "testsupport.h"

#include <QTest>

namespace {

bool isGrey(QRgb c)
{
    return qAbs(qRed(c) - 128) < 16 && qAbs(qGreen(c) - 128) < 16 && qAbs(qBlue(c) - 128) < 16;
}

} // namespace

class TestAppChrome : public QObject {
    Q_OBJECT

private slots:
    void chromeShowsOnOpeningHidesAndComesBackAtTheBottom()
    {
        // The pointer away from the window, so nothing holds the chrome.
        AppDriver::xdotool({QStringLiteral("mousemove"), QStringLiteral("0"), QStringLiteral("0")});
        AppDriver app;
        QVERIFY(app.start({testMedia(QStringLiteral("asym.mp4"))}));
        const int opened = app.waitForTrace(QStringLiteral("url "));
        QVERIFY(opened >= 0);
        QVERIFY(app.waitForTrace(QStringLiteral("first-frame")) >= 0);
        QVERIFY(app.waitForTrace(QStringLiteral("chrome hidden"), 10000, opened) >= 0);
        app.resizeWindow(800, 600);
        QTest::qWait(500);
        QImage shot = app.grabWindow();
        saveShot(shot, QStringLiteral("app-chrome-hidden"));
        // Grey picture where the bar was (the picture spans rows 75 to 525; the bar sits
        // between 16 and 60 points from the bottom, over black).
        QVERIFY(qGray(shot.pixel(400, 560)) < 16);
        QVERIFY(isGrey(shot.pixel(400, 300)));

        const QPoint origin = app.windowGeometry().topLeft();
        const int mark = app.traceCount();
        AppDriver::xdotool({QStringLiteral("mousemove"), QString::number(origin.x() + 400),
                            QString::number(origin.y() + 560)});
        QVERIFY(app.waitForTrace(QStringLiteral("chrome shown"), 10000, mark) >= 0);
        QTest::qWait(500);
        shot = app.grabWindow();
        saveShot(shot, QStringLiteral("app-chrome-shown"));
        // The bar's translucent fill over black, its white scrubber, and the title above.
        const QRgb fill = shot.pixel(30, 560);
        QVERIFY2(qGray(fill) > 12 && qGray(fill) < 60, qPrintable(QColor(fill).name()));
        int white = 0;
        for (int x = 100; x < 700; ++x)
            white += qGray(shot.pixel(x, 562)) > 200 ? 1 : 0;
        QVERIFY2(white > 20, qPrintable(QString::number(white)));
        // Holding still in the band keeps it up.
        QTest::qWait(2000);
        QVERIFY(!app.trace().mid(mark).contains(QStringLiteral("chrome hidden")));

        // Hidden again, a click at the window's top edge still pauses, and a drag there moves
        // the window instead of panning the picture.
        const int away = app.traceCount();
        const auto pointer = [&](int x, int y) {
            AppDriver::xdotool({QStringLiteral("mousemove"), QString::number(origin.x() + x),
                                QString::number(origin.y() + y)});
            QTest::qWait(100);
        };
        pointer(400, 300);
        QVERIFY(app.waitForTrace(QStringLiteral("chrome hidden"), 10000, away) >= 0);
        app.click(QPoint(300, 10));
        QVERIFY(app.waitForTrace(QStringLiteral("paused"), 10000, away) >= 0);
        QTest::qWait(1500); // hidden again, and past a double click
        const int drag = app.traceCount();
        pointer(400, 10);
        AppDriver::xdotool({QStringLiteral("mousedown"), QStringLiteral("1")});
        for (int step = 1; step <= 5; ++step)
            pointer(400 + 20 * step, 10 + 10 * step);
        AppDriver::xdotool({QStringLiteral("mouseup"), QStringLiteral("1")});
        // The window follows the pointer from where the drag began to move it (a step in).
        QTRY_COMPARE(app.windowGeometry().topLeft(), origin + QPoint(80, 40));
        QVERIFY(!app.trace().mid(drag).contains(QStringLiteral("playing")));
    }
};

QTEST_MAIN(TestAppChrome)
#include "tst_app_chrome.moc"
