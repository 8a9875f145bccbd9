// Qt's pointer, wheel and gesture events reduced to the catcher's signals, in a real Qt Quick
// window. Its keys are in the key table's test (tests/app/tst_keyrouter.cpp).
#include "gesturecatcher.h"
#include "testsupport.h"

#include <QNativeGestureEvent>
#include <QPointingDevice>
#include <QQuickWindow>
#include <QTest>

#include <array>

class TestGestureCatcher : public QObject {
    Q_OBJECT

private slots:
    // Steps: p, m, u press, move and release the left button at x,y (P, M, U the right one);
    // d, D a double click of either through the window; +s moves the clock; t sets the title
    // strip; w scrolls x,y pixels, W ends the scroll; n turns the wheel x,y eighths of a degree,
    // z with Ctrl; g is a pinch step, G its end, s a smart-zoom gesture.
    void gestures_data()
    {
        const auto row = textColumns("script", "expected");
        row("quick press is a click", "p1,1 +0.3 u1,1", "click");
        row("held 0.5 s is none", "p1,1 +0.5 u1,1", "");
        row("double click: the first release", "d200,200", "click");
        row("creeping never drags", "p9,9 m9.5,9 m10,9 m10.5,9 m11,9 u11,9", "click");
        row("past a point it drags, then every step pans", "p9,9 m12,9 m12.25,9.5 u12.25,9.5",
            "pan3,0 pan0.25,0.5 pan0,0!");
        row("title strip: a drag moves the window", "t16 p9,9 m12,9 m19,9 u19,9", "title");
        row("each right press of a double click", "D32,24", "smart32,24 smart32,24");
        row("the right button never drags", "P9,9 M50,50 M90,90 U90,90 p4,4 m7,4",
            "smart9,9 pan3,0");
        row("touchpad scroll", "w4,-7 W", "pan4,-7 pan0,0!");
        row("a wheel notch pans 60 points", "n0,120", "pan0,60");
        row("pinch, ended only at its end", "g0.05 g-0.02 G s",
            "mag0.05@250,150 mag-0.02@250,150 mag0@250,150! smart250,150");
    }

    void gestures()
    {
        QFETCH(QString, script);
        QFETCH(QString, expected);
        QQuickWindow window;
        auto *catcher = new GestureCatcher(window.contentItem());
        catcher->setSize(QSizeF(800, 600));
        double clock = 100.0;
        catcher->setClock([&] { return clock; });
        QStringList log;
        const auto at = [](QPointF p) { return QStringLiteral("%1,%2").arg(p.x()).arg(p.y()); };
        const auto end = [](bool ended) { return QString(ended ? "!" : ""); };
        connect(catcher, &GestureCatcher::clicked, this, [&] { log << "click"; });
        connect(catcher, &GestureCatcher::titleDragged, this, [&] { log << "title"; });
        connect(catcher, &GestureCatcher::smartZoom, this,
                [&](QPointF p) { log << "smart" + at(p); });
        connect(catcher, &GestureCatcher::pan, this, [&](QSizeF d, bool ended) {
            log << "pan" + at(QPointF(d.width(), d.height())) + end(ended);
        });
        connect(catcher, &GestureCatcher::magnify, this, [&](double d, QPointF p, bool ended) {
            log << "mag" + QString::number(d) + '@' + at(p) + end(ended);
        });
        window.resize(800, 600);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));

        for (const QString &step : script.split(' ', Qt::SkipEmptyParts)) {
            const QStringList n = step.mid(1).split(',');
            const QPointF p(n.value(0).toDouble(), n.value(1).toDouble());
            const char op = step[0].toLatin1();
            if (const int mouse = QByteArray("pmuPMU").indexOf(op); mouse >= 0) {
                const Qt::MouseButton button = mouse < 3 ? Qt::LeftButton : Qt::RightButton;
                const QEvent::Type type = std::array{QEvent::MouseButtonPress, QEvent::MouseMove,
                                                     QEvent::MouseButtonRelease}[mouse % 3];
                QMouseEvent event(type, p, p, type == QEvent::MouseMove ? Qt::NoButton : button,
                                  type == QEvent::MouseButtonRelease ? Qt::NoButton : button, {});
                QCoreApplication::sendEvent(catcher, &event);
            } else if (op == 'd' || op == 'D') {
                QTest::mouseDClick(&window, op == 'd' ? Qt::LeftButton : Qt::RightButton, {},
                                   p.toPoint());
            } else if (const int wheel = QByteArray("wWnz").indexOf(op); wheel >= 0) {
                QWheelEvent event(QPointF(300, 200), QPointF(300, 200),
                                  op == 'w' ? p.toPoint() : QPoint(),
                                  wheel < 2 ? QPoint() : p.toPoint(), Qt::NoButton,
                                  op == 'z' ? Qt::ControlModifier : Qt::NoModifier,
                                  std::array{Qt::ScrollUpdate, Qt::ScrollEnd, Qt::NoScrollPhase,
                                             Qt::NoScrollPhase}[wheel],
                                  false);
                QCoreApplication::sendEvent(&window, &event);
            } else if (const int gesture = QByteArray("gGs").indexOf(op); gesture >= 0) {
                const QPointF c(250, 150);
                QNativeGestureEvent event(std::array{Qt::ZoomNativeGesture, Qt::EndNativeGesture,
                                                     Qt::SmartZoomNativeGesture}[gesture],
                                          QPointingDevice::primaryPointingDevice(), 2, c, c, c,
                                          p.x(), QPointF());
                QCoreApplication::sendEvent(&window, &event);
            } else if (op == '+') {
                clock += p.x();
            } else {
                catcher->setTitleStrip(p.x()); // t
            }
        }
        QCOMPARE(log.join(' '), expected);
    }
};

QTEST_MAIN(TestGestureCatcher)
#include "tst_gesturecatcher.moc"
