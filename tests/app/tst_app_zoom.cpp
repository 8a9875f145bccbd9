// Zooming in the real application, driven by real X pointer events: smart zoom about the
// pointer, panning to the picture's edge, Ctrl + wheel, and 16× drawn from the full picture.
#include "appdriver.h"
#include "testsupport.h"

#include <QTest>

namespace {

bool isRed(QRgb c)
{
    return qRed(c) > 200 && qGreen(c) < 60 && qBlue(c) < 60;
}

bool isGrey(QRgb c)
{
    return qAbs(qRed(c) - 128) < 20 && qAbs(qGreen(c) - 128) < 20 && qAbs(qBlue(c) - 128) < 20;
}

// The player at 800 × 600 with `clip` showing, the pointer over the window.
struct Player {
    AppDriver app;
    QPoint origin; // the window's top-left corner on the screen

    bool start(const QString &clip)
    {
        if (!app.start({testMedia(clip)}) || app.waitForTrace(QStringLiteral("first-frame")) < 0)
            return false;
        app.resizeWindow(800, 600);
        origin = app.windowGeometry().topLeft();
        QTest::qWait(500);
        return true;
    }
    void moveTo(QPoint p)
    {
        AppDriver::xdotool({QStringLiteral("mousemove"), QString::number(origin.x() + p.x()),
                            QString::number(origin.y() + p.y())});
    }
    void click(QPoint p, int button)
    {
        moveTo(p);
        AppDriver::xdotool({QStringLiteral("click"), QString::number(button)});
    }
    void ctrlWheel(QPoint p, int notches)
    {
        moveTo(p);
        AppDriver::xdotool({QStringLiteral("keydown"), QStringLiteral("ctrl"),
                            QStringLiteral("click"), QStringLiteral("--repeat"),
                            QString::number(std::abs(notches)), QStringLiteral("--delay"),
                            QStringLiteral("30"),
                            notches > 0 ? QStringLiteral("4") : QStringLiteral("5"),
                            QStringLiteral("keyup"), QStringLiteral("ctrl")});
    }
    // Waits for the zoom to become `state` ("<scale> <x> <y>"), then for the picture to settle.
    bool zoomIs(const QString &state, int from)
    {
        if (app.waitForTrace(QStringLiteral("zoom ") + state, 10000, from) < 0) {
            qWarning() << app.trace().mid(from);
            return false;
        }
        QTest::qWait(600);
        return true;
    }
};

} // namespace

class TestAppZoom : public QObject {
    Q_OBJECT

private slots:
    // asym.mp4 is grey with a red block over its top-left 480 × 270 pixels; fitted into
    // 800 × 600 it lies in rows 75 to 525.
    void smartZoomAboutThePointerThenPanToTheEdgeAndBack()
    {
        Player p;
        QVERIFY(p.start(QStringLiteral("asym.mp4")));

        // Right click in the middle of the red block: 2× about that point. The picture then
        // spans x −100 … 1500 and y 0 … 900, so the red block covers −100 … 300 × 0 … 225.
        int mark = p.app.traceCount();
        p.click({100, 131}, 3);
        QVERIFY(p.zoomIs(QStringLiteral("2.0000 300.00 150.00"), mark));
        QImage shot = p.app.grabWindow();
        saveShot(shot, QStringLiteral("zoom-smart"));
        QVERIFY(isRed(shot.pixel(100, 131)));
        QVERIFY(isRed(shot.pixel(290, 215)));
        QVERIFY(isGrey(shot.pixel(315, 100)));
        QVERIFY(isGrey(shot.pixel(100, 240)));

        // Drag 300 points right: the picture stops with its left edge on the window's.
        mark = p.app.traceCount();
        p.moveTo({100, 400});
        AppDriver::xdotool({QStringLiteral("mousedown"), QStringLiteral("1")});
        for (int x = 130; x <= 400; x += 30)
            p.moveTo({x, 400});
        AppDriver::xdotool({QStringLiteral("mouseup"), QStringLiteral("1")});
        QVERIFY(p.zoomIs(QStringLiteral("2.0000 400.00 150.00"), mark));
        shot = p.app.grabWindow();
        saveShot(shot, QStringLiteral("zoom-panned"));
        QVERIFY(isRed(shot.pixel(2, 100)));
        QVERIFY(isRed(shot.pixel(395, 100)));
        QVERIFY(isGrey(shot.pixel(406, 100)));

        // A second right click returns to the fitted picture.
        mark = p.app.traceCount();
        p.click({600, 300}, 3);
        QVERIFY(p.zoomIs(QStringLiteral("1.0000 0.00 0.00"), mark));
        shot = p.app.grabWindow();
        saveShot(shot, QStringLiteral("zoom-back"));
        QVERIFY(qGray(shot.pixel(400, 73)) < 24);
        QVERIFY(isGrey(shot.pixel(400, 77)));
        QVERIFY(isGrey(shot.pixel(400, 522)));
        QVERIFY(qGray(shot.pixel(400, 527)) < 24);
    }

    // Ctrl + wheel zooms 10 % a notch about the pointer: at (600, 200), 200 points right of and
    // 100 above the centre, the offset moves by (−20, +10) before the height is recentred.
    void ctrlWheelZoomsAboutThePointer()
    {
        Player p;
        QVERIFY(p.start(QStringLiteral("asym.mp4")));
        const int mark = p.app.traceCount();
        p.ctrlWheel({600, 200}, 1);
        QVERIFY(p.zoomIs(QStringLiteral("1.1000 -20.00 0.00"), mark));

        // A new video starts fitted.
        const int before = p.app.traceCount();
        AppDriver second(p.app.home());
        QVERIFY(second.start({testMedia(QStringLiteral("clip.mp4"))}));
        QCOMPARE(second.waitForExit(), 0);
        QVERIFY(p.app.waitForTrace(QStringLiteral("zoom 1.0000 0.00 0.00"), 10000, before) >= 0);
    }

    // At 16× each video pixel of a one-pixel checkerboard covers 16 (or, for a picture twice
    // the window's size, 8) screen pixels, with linear ramps between them: the zoom is drawn
    // from the full picture, not by enlarging the fitted one (which would be flat grey for the
    // larger pattern).
    void sixteenTimesShowsEveryVideoPixel_data()
    {
        QTest::addColumn<QString>("clip");
        QTest::addColumn<int>("pixelsPerVideoPixel");
        QTest::newRow("one to one") << "checker800.mp4" << 16;
        QTest::newRow("twice the window") << "checker1600.mp4" << 8;
    }

    void sixteenTimesShowsEveryVideoPixel()
    {
        QFETCH(QString, clip);
        QFETCH(int, pixelsPerVideoPixel);
        Player p;
        QVERIFY(p.start(clip));
        const int mark = p.app.traceCount();
        p.ctrlWheel({400, 300}, 32);
        QVERIFY(p.zoomIs(QStringLiteral("16.0000 0.00 0.00"), mark));
        const QImage shot = p.app.grabWindow();
        saveShot(shot, QStringLiteral("zoom-16x-") + QTest::currentDataTag());

        // Along a row through the middle of a row of video pixels the pattern repeats every
        // two video pixels: far from itself half a period away, close to itself a whole period
        // away. (Rows between two rows of video pixels average to grey, so take the best row.)
        const int period = 2 * pixelsPerVideoPixel;
        double half = 0, whole = 0;
        int ramps = 0, samples = 0;
        for (int y = 300; y < 300 + period; ++y) {
            double rowHalf = 0, rowWhole = 0;
            int rowRamps = 0, rowSamples = 0;
            for (int x = 200; x < 600; ++x, ++rowSamples) {
                const int v = qGray(shot.pixel(x, y));
                rowHalf += std::abs(v - qGray(shot.pixel(x + period / 2, y)));
                rowWhole += std::abs(v - qGray(shot.pixel(x + period, y)));
                if (v > 60 && v < 190)
                    ++rowRamps;
            }
            if (rowHalf / rowSamples > half) {
                half = rowHalf / rowSamples;
                whole = rowWhole / rowSamples;
                ramps = rowRamps;
                samples = rowSamples;
            }
        }
        QVERIFY2(
            half > 70 && whole < 12,
            qPrintable(QStringLiteral("half period %1, whole period %2").arg(half).arg(whole)));
        // Linear filtering: the steps between video pixels are ramps, not hard edges.
        QVERIFY2(ramps > samples / 5, qPrintable(QString::number(ramps)));
    }
};

QTEST_MAIN(TestAppZoom)
#include "tst_app_zoom.moc"
