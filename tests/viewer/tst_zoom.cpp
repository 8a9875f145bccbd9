// The zoom arithmetic and the handlers that drive it, with the player area at 800 × 600 showing
// a 1920 × 1080 picture (fitted to 800 × 450) unless a row says otherwise.
#include "commands.h"
#include "pictureframe.h"
#include "zoomcontroller.h"

#include <QSignalSpy>
#include <QTest>

#include <limits>

namespace {

const QSizeF kView(800, 600);
const QSizeF kVideo(1920, 1080);
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

enum class Op {
    Pinch,
    PinchEnded,
    ZoomIn,
    ZoomOut,
    SmartZoom,
    Pan
};

ZoomState state(double scale, QSizeF offset = QSizeF(0, 0))
{
    ZoomState z;
    z.scale = scale;
    z.offset = offset;
    return z;
}

// Brings a controller to `from` through its own handlers: a pinch about the centre to the scale,
// then a pan by the offset.
void prepare(ZoomController &zoom, const ZoomState &from)
{
    zoom.setViewSize(kView);
    zoom.setVideoSize(kVideo);
    zoom.magnify(from.scale - 1.0, QPointF(400, 300), true);
    zoom.pan(from.offset, true);
    QCOMPARE(zoom.zoom(), from);
}

} // namespace

class TestZoom : public QObject {
    Q_OBJECT

private slots:
    void fittedSizeAndClampLimits_data()
    {
        QTest::addColumn<QSizeF>("video");
        QTest::addColumn<double>("scale");
        QTest::addColumn<QSizeF>("wanted");
        QTest::addColumn<QSizeF>("clamped");
        QTest::newRow("2x, pushed past both edges")
            << kVideo << 2.0 << QSizeF(900, -700) << QSizeF(400, -150);
        QTest::newRow("2x, inside") << kVideo << 2.0 << QSizeF(-120, 90) << QSizeF(-120, 90);
        QTest::newRow("1.2x, height does not overflow")
            << kVideo << 1.2 << QSizeF(-500, 40) << QSizeF(-80, 0);
        QTest::newRow("1x, always centred") << kVideo << 1.0 << QSizeF(30, 30) << QSizeF(0, 0);
        QTest::newRow("no video size") << QSizeF(0, 0) << 4.0 << QSizeF(30, 30) << QSizeF(0, 0);
    }

    void fittedSizeAndClampLimits()
    {
        QFETCH(QSizeF, video);
        QFETCH(double, scale);
        QFETCH(QSizeF, wanted);
        QFETCH(QSizeF, clamped);
        ZoomState z = state(scale, wanted);
        z.clamp(kView, fittedSize(kView, video));
        QCOMPARE(z.offset, clamped);
        QCOMPARE(z.scale, scale);
    }

    void fittedSizeRule()
    {
        QCOMPARE(fittedSize(kView, kVideo), QSizeF(800, 450));
        QCOMPARE(fittedSize(kView, QSizeF(1080, 1920)), QSizeF(337.5, 600));
        QCOMPARE(fittedSize(kView, QSizeF(1, 1080)), QSizeF(0, 0));
        QCOMPARE(fittedSize(QSizeF(800, 1), kVideo), QSizeF(0, 0));
    }

    void handlers_data()
    {
        QTest::addColumn<ZoomState>("from");
        QTest::addColumn<QPointF>("cursor"); // (0, 0): the pointer never came
        QTest::addColumn<int>("op");
        QTest::addColumn<double>("amount"); // pinch delta
        QTest::addColumn<QPointF>("at");    // pinch or smart-zoom location; pan delta
        QTest::addColumn<ZoomState>("to");
        const QPointF centre(400, 300), right(500, 300);
        const QPointF none(0, 0);
        QTest::newRow("zoom in about the centre")
            << state(1) << none << int(Op::ZoomIn) << 0.0 << QPointF() << state(1.25);
        QTest::newRow("zoom in twice")
            << state(1.25) << none << int(Op::ZoomIn) << 0.0 << QPointF() << state(1.5625);
        QTest::newRow("zoom in 100 right of centre") << state(1) << right << int(Op::ZoomIn) << 0.0
                                                     << QPointF() << state(1.25, QSizeF(-25, 0));
        QTest::newRow("pointer at (0, 0) counts as none")
            << state(1) << QPointF(0, 0) << int(Op::ZoomIn) << 0.0 << QPointF() << state(1.25);
        QTest::newRow("zoom out from 1.1 stops at 1")
            << state(1.1, QSizeF(40, 0)) << right << int(Op::ZoomOut) << 0.0 << QPointF()
            << state(1);
        QTest::newRow("zoom in caps at 16")
            << state(15) << none << int(Op::ZoomIn) << 0.0 << QPointF() << state(16);
        QTest::newRow("pinch past 16 holds 16")
            << state(12) << none << int(Op::Pinch) << 1.0 << centre << state(16);
        QTest::newRow("pinch out past 1 recentres")
            << state(3, QSizeF(200, 100)) << none << int(Op::Pinch) << -0.9 << right << state(1);
        QTest::newRow("pinch at 1 out stays centred")
            << state(1) << none << int(Op::Pinch) << -0.5 << right << state(1);
        QTest::newRow("pinch about a point") << state(1) << none << int(Op::Pinch) << 1.0
                                             << QPointF(600, 200) << state(2, QSizeF(-200, 100));
        QTest::newRow("pinch factor 0 ignored")
            << state(2, QSizeF(10, 10)) << none << int(Op::Pinch) << -1.0 << centre
            << state(2, QSizeF(10, 10));
        QTest::newRow("pinch not a number ignored")
            << state(2, QSizeF(10, 10)) << none << int(Op::Pinch) << kNaN << centre
            << state(2, QSizeF(10, 10));
        QTest::newRow("smart zoom from 1 at the centre")
            << state(1) << none << int(Op::SmartZoom) << 0.0 << centre << state(2);
        QTest::newRow("smart zoom from 1 off centre")
            << state(1) << none << int(Op::SmartZoom) << 0.0 << QPointF(100, 131)
            << state(2, QSizeF(300, 150));
        QTest::newRow("smart zoom from 1.5 goes back")
            << state(1.5, QSizeF(50, 20)) << none << int(Op::SmartZoom) << 0.0 << centre
            << state(1);
        QTest::newRow("smart zoom from 1.001 zooms in")
            << state(1.001) << none << int(Op::SmartZoom) << 0.0 << centre << state(2);
        QTest::newRow("pan at 1 does nothing")
            << state(1) << none << int(Op::Pan) << 0.0 << QPointF(50, 50) << state(1);
        QTest::newRow("pan at 1.0005 does nothing")
            << state(1.0005) << none << int(Op::Pan) << 0.0 << QPointF(50, 50) << state(1.0005);
        QTest::newRow("pan stops at the edge")
            << state(2, QSizeF(300, 0)) << none << int(Op::Pan) << 0.0 << QPointF(300, -400)
            << state(2, QSizeF(400, -150));
    }

    void handlers()
    {
        QFETCH(ZoomState, from);
        QFETCH(QPointF, cursor);
        QFETCH(int, op);
        QFETCH(double, amount);
        QFETCH(QPointF, at);
        QFETCH(ZoomState, to);
        ZoomController zoom;
        prepare(zoom, from);
        zoom.setCursor(cursor);

        switch (Op(op)) {
        case Op::Pinch:
        case Op::PinchEnded:
            zoom.magnify(amount, at, Op(op) == Op::PinchEnded);
            break;
        case Op::ZoomIn:
            zoom.zoomIn();
            break;
        case Op::ZoomOut:
            zoom.zoomOut();
            break;
        case Op::SmartZoom:
            zoom.smartZoom(at);
            break;
        case Op::Pan:
            zoom.pan(QSizeF(at.x(), at.y()), false);
            break;
        }
        QCOMPARE(zoom.zoom().scale, to.scale);
        QCOMPARE(zoom.zoom().offset, to.offset);
    }

    void percentLabel_data()
    {
        QTest::addColumn<double>("scale");
        QTest::addColumn<QString>("label");
        QTest::newRow("1") << 1.0 << "100%";
        QTest::newRow("1.125, half away from zero") << 1.125 << "113%";
        QTest::newRow("1.25") << 1.25 << "125%";
        QTest::newRow("1.5625") << 1.5625 << "156%";
        QTest::newRow("16") << 16.0 << "1600%";
    }

    void percentLabel()
    {
        QFETCH(double, scale);
        QFETCH(QString, label);
        QCOMPARE(state(scale).percentLabel(), label);
    }

    // The eased transitions change the state at once and the picture over their duration; a
    // new video resets at once, even in the middle of one.
    void easedTransitionsAndImmediateReset()
    {
        ZoomController zoom;
        prepare(zoom, state(1));
        QSignalSpy presented(&zoom, &ZoomController::presentedChanged);

        zoom.smartZoom(QPointF(400, 300));
        QCOMPARE(zoom.zoom(), state(2));
        QCOMPARE(zoom.presented().scale, 1.0);
        QTRY_COMPARE(zoom.presented().scale, 2.0);
        QVERIFY(presented.count() > 2); // went through steps

        zoom.reset();
        QCOMPARE(zoom.zoom(), state(1));
        QTRY_VERIFY(zoom.presented().scale < 2.0);
        zoom.resetImmediately();
        QCOMPARE(zoom.presented().scale, 1.0);
        QCOMPARE(zoom.presented().offset, QSizeF(0, 0));

        // Pinches and pans show at once.
        zoom.magnify(0.5, QPointF(400, 300), false);
        QCOMPARE(zoom.presented().scale, 1.5);
    }

    void commandsAndChrome()
    {
        Commands commands;
        ZoomController zoom;
        prepare(zoom, state(1));
        zoom.setCommands(&commands);
        QSignalSpy chrome(&zoom, &ZoomController::chromeRequested);

        commands.post(CommandName::zoomIn);
        QCOMPARE(zoom.zoom().scale, 1.25);
        commands.post(CommandName::zoomOut);
        QCOMPARE(zoom.zoom().scale, 1.0);
        commands.post(CommandName::zoomIn);
        commands.post(CommandName::zoomReset);
        QCOMPARE(zoom.zoom(), state(1));
        commands.post(CommandName::rateNudged);
        zoom.pan(QSizeF(10, 10), true);
        QCOMPARE(chrome.count(), 0); // commands and pans leave the chrome alone

        zoom.magnify(0.1, QPointF(400, 300), false);
        zoom.magnify(0.0, QPointF(400, 300), true);
        zoom.smartZoom(QPointF(400, 300));
        QCOMPARE(chrome.count(), 3);
    }

    void resizingKeepsTheZoomUntilTheNextGesture()
    {
        ZoomController zoom;
        prepare(zoom, state(2, QSizeF(400, 150)));
        zoom.setViewSize(QSizeF(400, 300));
        QCOMPARE(zoom.zoom(), state(2, QSizeF(400, 150)));
        QCOMPARE(zoom.fittedSize(), QSizeF(400, 225));
        zoom.pan(QSizeF(0, 0), true);
        QCOMPARE(zoom.zoom(), state(2, QSizeF(200, 75)));
    }
};

QTEST_GUILESS_MAIN(TestZoom)
#include "tst_zoom.moc"
