// The picture's geometry: the zoom arithmetic, the handlers that drive it, and the frame the
// surface hands to the engine; the player area at 800 × 600 showing a 1920 × 1080 picture
// (fitted to 800 × 450) unless a row says otherwise.
#include "commands.h"
#include "fakeengine.h"
#include "pictureframe.h"
#include "picturesurface.h"
#include "zoomcontroller.h"

#include <QSignalSpy>
#include <QTest>

#include <limits>

namespace {

const QSizeF kView(800, 600);
const QSizeF kVideo(1920, 1080);

ZoomState state(double scale, QSizeF offset = QSizeF(0, 0))
{
    return ZoomState{scale, offset};
}

// A controller brought to `from` by its own handlers: a pinch about the centre, then a pan.
std::unique_ptr<ZoomController> controllerAt(const ZoomState &from)
{
    auto zoom = std::make_unique<ZoomController>();
    zoom->setViewSize(kView);
    zoom->setVideoSize(kVideo);
    zoom->magnify(from.scale - 1.0, QPointF(400, 300), true);
    zoom->pan(from.offset, true);
    return zoom;
}

} // namespace

class TestZoom : public QObject {
    Q_OBJECT

private slots:
    void clamp_data()
    {
        QTest::addColumn<QSizeF>("video");
        QTest::addColumn<ZoomState>("wanted");
        QTest::addColumn<QSizeF>("clamped");
        QTest::newRow("2x, past both edges")
            << kVideo << state(2, {900, -700}) << QSizeF(400, -150);
        QTest::newRow("2x, inside") << kVideo << state(2, {-120, 90}) << QSizeF(-120, 90);
        QTest::newRow("1.2x, height does not overflow")
            << kVideo << state(1.2, {-500, 40}) << QSizeF(-80, 0);
        QTest::newRow("1x, centred") << kVideo << state(1, {30, 30}) << QSizeF(0, 0);
        QTest::newRow("no video size") << QSizeF() << state(4, {30, 30}) << QSizeF(0, 0);
    }

    void clamp()
    {
        QFETCH(QSizeF, video);
        QFETCH(ZoomState, wanted);
        QFETCH(QSizeF, clamped);
        ZoomState z = wanted;
        z.clamp(kView, fittedSize(kView, video));
        QCOMPARE(z, state(wanted.scale, clamped));
    }

    // The pointer rests at `at` (at (0, 0) it never came); pinch and smart zoom act about `at`,
    // a pan moves by it.
    void handlers_data()
    {
        QTest::addColumn<ZoomState>("from");
        QTest::addColumn<QString>("op");
        QTest::addColumn<QPointF>("at");
        QTest::addColumn<ZoomState>("to");
        const QPointF centre(400, 300), right(500, 300), none(0, 0);
        QTest::newRow("zoom in about the centre") << state(1) << "in" << none << state(1.25);
        QTest::newRow("zoom in twice") << state(1.25) << "in" << none << state(1.5625);
        QTest::newRow("zoom in about the pointer")
            << state(1) << "in" << right << state(1.25, {-25, 0});
        QTest::newRow("zoom out stops at 1") << state(1.1, {40, 0}) << "out" << right << state(1);
        QTest::newRow("zoom in caps at 16") << state(15) << "in" << none << state(16);
        QTest::newRow("pinch past 16 holds 16") << state(12) << "pinch 1" << centre << state(16);
        QTest::newRow("pinch out past 1 recentres")
            << state(3, {200, 100}) << "pinch -0.9" << right << state(1);
        QTest::newRow("pinch about a point")
            << state(1) << "pinch 1" << QPointF(600, 200) << state(2, {-200, 100});
        QTest::newRow("pinch by 0 ignored")
            << state(2, {10, 10}) << "pinch -1" << centre << state(2, {10, 10});
        QTest::newRow("pinch by NaN ignored")
            << state(2, {10, 10}) << "pinch nan" << centre << state(2, {10, 10});
        QTest::newRow("smart zoom about a point")
            << state(1) << "smart" << QPointF(100, 131) << state(2, {300, 150});
        QTest::newRow("smart zoom goes back")
            << state(1.5, {50, 20}) << "smart" << centre << state(1);
        QTest::newRow("smart zoom from 1.001") << state(1.001) << "smart" << centre << state(2);
        QTest::newRow("pan at 1.0005 does nothing")
            << state(1.0005) << "pan" << QPointF(50, 50) << state(1.0005);
        QTest::newRow("pan stops at the edge")
            << state(2, {300, 0}) << "pan" << QPointF(300, -400) << state(2, {400, -150});
    }

    void handlers()
    {
        QFETCH(ZoomState, from);
        QFETCH(QString, op);
        QFETCH(QPointF, at);
        QFETCH(ZoomState, to);
        const std::unique_ptr<ZoomController> zoom = controllerAt(from);
        QCOMPARE(zoom->zoom(), from);
        Commands commands;
        zoom->setCommands(&commands);
        zoom->setCursor(at);
        if (op == "in" || op == "out")
            commands.post(op == "in" ? Commands::Command::ZoomIn : Commands::Command::ZoomOut);
        else if (op.startsWith("pinch"))
            zoom->magnify(op.mid(6).toDouble(), at, false);
        else if (op == "smart")
            zoom->smartZoom(at);
        else
            zoom->pan(QSizeF(at.x(), at.y()), false);
        QCOMPARE(zoom->zoom(), to);
    }

    // Smart zoom and reset change the state at once and the picture over their duration; a new
    // video resets at once. Gestures show the chrome; commands and pans leave it alone.
    void easedTransitionsAndTheChrome()
    {
        Commands commands;
        const std::unique_ptr<ZoomController> zoom = controllerAt(state(1));
        zoom->setCommands(&commands);
        QSignalSpy chrome(zoom.get(), &ZoomController::chromeRequested);
        zoom->smartZoom(QPointF(400, 300));
        QCOMPARE(zoom->zoom(), state(2));
        QCOMPARE(zoom->presented().scale, 1.0);
        QTRY_COMPARE(zoom->presented().scale, 2.0);
        commands.post(Commands::Command::ZoomReset);
        QCOMPARE(zoom->zoom(), state(1));
        QTRY_VERIFY(zoom->presented().scale < 2.0);
        zoom->resetImmediately();
        QCOMPARE(zoom->presented(), state(1));
        zoom->pan(QSizeF(10, 10), true);
        zoom->magnify(0.5, QPointF(400, 300), false);
        QCOMPARE(zoom->presented().scale, 1.5); // pinches show at once
        QCOMPARE(chrome.count(), 2);
        // A resize keeps the zoom until the next gesture clamps it.
        zoom->setViewSize(QSizeF(400, 300));
        QCOMPARE(zoom->zoom(), state(1.5));
    }

    // The engine fits the picture and zooms about its centre: the same frame must come out.
    void frame_data()
    {
        QTest::addColumn<QSizeF>("bounds");
        QTest::addColumn<QSizeF>("video");
        QTest::addColumn<ZoomState>("zoom");
        QTest::addColumn<QRectF>("frame");
        const QSizeF tall(1080, 1920);
        QTest::newRow("letterboxed") << kView << kVideo << state(1) << QRectF(0, 75, 800, 450);
        QTest::newRow("2x, moved")
            << kView << kVideo << state(2, {100, -50}) << QRectF(-300, -200, 1600, 900);
        QTest::newRow("pillarboxed") << kView << tall << state(1) << QRectF(231.25, 0, 337.5, 600);
        QTest::newRow("16x portrait") << QSizeF(1024, 700) << tall << state(16, {-2000, 3000})
                                      << QRectF(-4638, -2250, 6300, 11200);
        QTest::newRow("no video size") << kView << QSizeF() << state(3) << QRectF(0, 0, 800, 600);
        QTest::newRow("too thin") << kView << QSizeF(4000, 2) << state(1) << QRectF(0, 0, 800, 600);
    }

    void frame()
    {
        QFETCH(QSizeF, bounds);
        QFETCH(QSizeF, video);
        QFETCH(ZoomState, zoom);
        QFETCH(QRectF, frame);
        FakePlayer player(QUrl::fromLocalFile(QStringLiteral("/v/a.mp4")));
        PictureSurface surface;
        surface.setSize(bounds);
        surface.setPlayer(&player);
        surface.setVideoSize(video);
        surface.setZoom(zoom);
        QCOMPARE(surface.pictureRect(), frame);
        const QSizeF fitted = fittedSize(bounds, video);
        const double w = fitted.width() * player.zoomScale(),
                     h = fitted.height() * player.zoomScale();
        if (frame != QRectF(QPointF(0, 0), bounds)) // else there is no picture to zoom
            QCOMPARE(QRectF((bounds.width() - w) / 2 + player.zoomPan().x() * w,
                            (bounds.height() - h) / 2 + player.zoomPan().y() * h, w, h),
                     frame);
    }
};

QTEST_MAIN(TestZoom)
#include "tst_zoom.moc"
