// The zoom's handlers; the player area at 800 × 600 showing a
// 1920 × 1080 picture (fitted to 800 × 450). Zoom and pan about the pointer on the screen, and the
// frame the engine draws, are the application tests' (tst_app).
#include "commands.h"
#include "zoomcontroller.h"

#include <QTest>

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
    // The pointer rests at `at` (at (0, 0) it never came); pinch and smart zoom act about `at`,
    // a pan moves by it.
    void handlers_data()
    {
        QTest::addColumn<ZoomState>("from");
        QTest::addColumn<QString>("op");
        QTest::addColumn<QPointF>("at");
        QTest::addColumn<ZoomState>("to");
        const QPointF centre(400, 300), right(500, 300), none(0, 0);
        const auto row = [](const char *name, ZoomState from, const char *op, QPointF at,
                            ZoomState to) {
            QTest::newRow(name) << from << QString(op) << at << to;
        };
        row("zoom in about the centre", state(1.25), "in", none, state(1.5625));
        row("zoom out stops at 1", state(1.1, {40, 0}), "out", right, state(1));
        row("zoom in caps at 16", state(15), "in", none, state(16));
        row("pinch past 16 holds 16", state(12), "pinch 1", centre, state(16));
        row("pinch out past 1 recentres", state(3, {200, 100}), "pinch -0.9", right, state(1));
        row("pinch about a point", state(1), "pinch 1", QPointF(600, 200), state(2, {-200, 100}));
        row("pinch by NaN ignored", state(2, {10, 10}), "pinch nan", centre, state(2, {10, 10}));
        row("smart zoom about a point", state(1), "smart", QPointF(100, 131), state(2, {300, 150}));
        row("smart zoom goes back", state(1.5, {50, 20}), "smart", centre, state(1));
        row("pan at 1.0005 does nothing", state(1.0005), "pan", QPointF(50, 50), state(1.0005));
        row("pan at 1.2x: the height does not overflow", state(1.2), "pan", QPointF(-500, 40),
            state(1.2, {-80, 0}));
        row("pan stops at the edge", state(2, {300, 0}), "pan", QPointF(300, -400),
            state(2, {400, -150}));
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
};

QTEST_MAIN(TestZoom)
#include "tst_zoom.moc"
