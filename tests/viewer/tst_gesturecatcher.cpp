// Qt's pointer, wheel, gesture and key events reduced to the catcher's nine signals, delivered
// through a real Qt Quick window.
#include "gesturecatcher.h"

#include <QNativeGestureEvent>
#include <QPointingDevice>
#include <QQuickWindow>
#include <QSignalSpy>
#include <QTest>

namespace {

struct Fixture {
    QQuickWindow window;
    GestureCatcher *catcher = new GestureCatcher(window.contentItem());
    double clock = 100.0; // seconds; moved by the test, never by real time
    QSignalSpy magnify{catcher, &GestureCatcher::magnify};
    QSignalSpy pan{catcher, &GestureCatcher::pan};
    QSignalSpy clicked{catcher, &GestureCatcher::clicked};
    QSignalSpy smartZoom{catcher, &GestureCatcher::smartZoom};

    Fixture()
    {
        window.resize(800, 600);
        catcher->setSize(QSizeF(800, 600));
        catcher->setClock([this] { return clock; });
        window.show();
        window.requestActivate();
        (void)QTest::qWaitForWindowActive(&window);
    }

    // Through the window, as the desktop delivers them (double clicks included).
    void press(QPoint at) { QTest::mousePress(&window, Qt::LeftButton, {}, at); }
    void release(QPoint at) { QTest::mouseRelease(&window, Qt::LeftButton, {}, at); }
    // Straight to the catcher, at fractional positions and without the moves QTest adds.
    void mouse(QEvent::Type type, QPointF at, Qt::MouseButton with = Qt::LeftButton)
    {
        const Qt::MouseButton button = type == QEvent::MouseMove ? Qt::NoButton : with;
        const Qt::MouseButtons held = type == QEvent::MouseButtonRelease ? Qt::NoButton : with;
        QMouseEvent event(type, at, at, button, held, {});
        QCoreApplication::sendEvent(catcher, &event);
    }
    void drag(QPointF to) { mouse(QEvent::MouseMove, to); }
    void wheel(QPoint pixels, QPoint angle, Qt::ScrollPhase phase,
               Qt::KeyboardModifiers modifiers = {})
    {
        QWheelEvent event(QPointF(300, 200), QPointF(300, 200), pixels, angle, Qt::NoButton,
                          modifiers, phase, false);
        QCoreApplication::sendEvent(&window, &event);
    }
    void gesture(Qt::NativeGestureType type, double value)
    {
        QNativeGestureEvent event(type, QPointingDevice::primaryPointingDevice(), 2,
                                  QPointF(250, 150), QPointF(250, 150), QPointF(250, 150), value,
                                  QPointF());
        QCoreApplication::sendEvent(&window, &event);
    }
    // A key by its xkb key code (evdev + 8): what X and Wayland report.
    bool key(quint32 evdev, Qt::KeyboardModifiers modifiers = {}, bool repeat = false)
    {
        QKeyEvent event(QEvent::KeyPress, Qt::Key_unknown, modifiers, evdev + 8, 0, 0, QString(),
                        repeat);
        QCoreApplication::sendEvent(&window, &event);
        return event.isAccepted();
    }
};

QSizeF panDelta(const QSignalSpy &spy, int i)
{
    return spy.at(i).at(0).toSizeF();
}

bool panEnded(const QSignalSpy &spy, int i)
{
    return spy.at(i).at(1).toBool();
}

} // namespace

class TestGestureCatcher : public QObject {
    Q_OBJECT

private slots:
    void clicksDependOnTimeAndCount()
    {
        Fixture f;
        f.press({100, 100});
        f.clock += 0.3;
        f.release({100, 100});
        QCOMPARE(f.clicked.count(), 1);

        f.press({100, 100}); // held too long
        f.clock += 0.5;
        f.release({100, 100});
        QCOMPARE(f.clicked.count(), 1);

        f.clock += 5;
        QTest::mouseDClick(&f.window, Qt::LeftButton, {}, {200, 200});
        QCOMPARE(f.clicked.count(), 2); // the first release only

        // A quick triple click: the first release only, again.
        f.clock += 5;
        for (int i = 0; i < 3; ++i) {
            f.mouse(QEvent::MouseButtonPress, {300, 300});
            f.clock += 0.1;
            f.mouse(QEvent::MouseButtonRelease, {300, 300});
        }
        QCOMPARE(f.clicked.count(), 3);
        QCOMPARE(f.pan.count(), 0);
    }

    void dragsPanPastTheThresholdOnly()
    {
        Fixture f;
        // Creeping half a point at a time never becomes a drag, however far; a quick release
        // is still a click.
        f.mouse(QEvent::MouseButtonPress, {100, 100});
        for (int i = 1; i <= 20; ++i)
            f.drag(QPointF(100 + 0.5 * i, 100));
        f.mouse(QEvent::MouseButtonRelease, {110, 100});
        QCOMPARE(f.pan.count(), 0);
        QCOMPARE(f.clicked.count(), 1);

        // Three points at once is a drag; from then on every step pans, fractions too.
        f.mouse(QEvent::MouseButtonPress, {100, 100});
        f.drag(QPointF(103, 100));
        f.drag(QPointF(103.25, 100.5));
        f.mouse(QEvent::MouseButtonRelease, {103.25, 100.5});
        QCOMPARE(f.pan.count(), 3);
        QCOMPARE(panDelta(f.pan, 0), QSizeF(3, 0));
        QCOMPARE(panDelta(f.pan, 1), QSizeF(0.25, 0.5));
        QVERIFY(!panEnded(f.pan, 1));
        QCOMPARE(panDelta(f.pan, 2), QSizeF(0, 0));
        QVERIFY(panEnded(f.pan, 2));
        QCOMPARE(f.clicked.count(), 1); // no click after a drag

        // In the title strip a drag moves the window instead, and a click is still a click.
        QSignalSpy titleDragged(f.catcher, &GestureCatcher::titleDragged);
        f.catcher->setTitleStrip(16);
        f.clock += 5;
        f.mouse(QEvent::MouseButtonPress, {100, 10});
        f.drag(QPointF(103, 12));
        f.drag(QPointF(110, 20));
        f.mouse(QEvent::MouseButtonRelease, {110, 20});
        QCOMPARE(titleDragged.count(), 1);
        QCOMPARE(f.pan.count(), 3);
        f.clock += 5;
        f.mouse(QEvent::MouseButtonPress, {100, 10});
        f.mouse(QEvent::MouseButtonRelease, {100, 10});
        QCOMPARE(f.clicked.count(), 2);
    }

    void dragWithoutPressOnlyRecords()
    {
        Fixture f;
        f.drag(QPointF(50, 50));
        QCOMPARE(f.pan.count(), 0);
    }

    void rightButtonAsksForSmartZoom()
    {
        Fixture f;
        QTest::mouseClick(&f.window, Qt::RightButton, {}, {320, 240});
        QCOMPARE(f.smartZoom.count(), 1);
        QCOMPARE(f.smartZoom.at(0).at(0).toPointF(), QPointF(320, 240));

        // Each right press is one request, in a double click too; the right button never drags,
        // and leaves nothing behind for the next drag of the left.
        QTest::mouseDClick(&f.window, Qt::RightButton, {}, {320, 240});
        QCOMPARE(f.smartZoom.count(), 3);
        f.mouse(QEvent::MouseButtonPress, {100, 100}, Qt::RightButton);
        for (int x : {150, 200})
            f.mouse(QEvent::MouseMove, QPointF(x, x), Qt::RightButton);
        f.mouse(QEvent::MouseButtonRelease, {200, 200}, Qt::RightButton);
        QCOMPARE(f.pan.count(), 0);
        f.mouse(QEvent::MouseButtonPress, {400, 400});
        f.drag(QPointF(403, 400));
        QCOMPARE(f.pan.count(), 1);
        QCOMPARE(panDelta(f.pan, 0), QSizeF(3, 0));
        QCOMPARE(f.clicked.count(), 0);
    }

    void wheelPansAndCtrlWheelZooms()
    {
        Fixture f;
        // A touchpad: pixel deltas as reported, ended only on the end phase.
        f.wheel({4, -7}, {32, -56}, Qt::ScrollUpdate);
        f.wheel({0, 0}, {0, 0}, Qt::ScrollEnd);
        // A mouse wheel: no phases, a notch away from the user moves the picture down.
        f.wheel({}, {0, 120}, Qt::NoScrollPhase);
        QCOMPARE(f.pan.count(), 3);
        QCOMPARE(panDelta(f.pan, 0), QSizeF(4, -7));
        QVERIFY(!panEnded(f.pan, 0));
        QVERIFY(panEnded(f.pan, 1));
        QCOMPARE(panDelta(f.pan, 2), QSizeF(0, GestureCatcher::kPanPerNotch));
        QVERIFY(!panEnded(f.pan, 2));

        // Ctrl + wheel is the mouse's pinch, about the pointer: 10 % a notch either way.
        f.wheel({}, {0, 120}, Qt::NoScrollPhase, Qt::ControlModifier);
        f.wheel({}, {0, -240}, Qt::NoScrollPhase, Qt::ControlModifier);
        QCOMPARE(f.pan.count(), 3);
        QCOMPARE(f.magnify.count(), 2);
        QCOMPARE(f.magnify.at(0).at(0).toDouble(), 0.1);
        QCOMPARE(f.magnify.at(0).at(1).toPointF(), QPointF(300, 200));
        QVERIFY(qAbs(f.magnify.at(1).at(0).toDouble() - (1.0 / 1.21 - 1.0)) < 0.02);
    }

    void nativeGesturesAreEndedOnlyAtTheEnd()
    {
        Fixture f;
        f.gesture(Qt::BeginNativeGesture, 0);
        f.gesture(Qt::ZoomNativeGesture, 0.05);
        f.gesture(Qt::ZoomNativeGesture, -0.02);
        f.gesture(Qt::EndNativeGesture, 0);
        f.gesture(Qt::SmartZoomNativeGesture, 1);
        QCOMPARE(f.magnify.count(), 3);
        QCOMPARE(f.magnify.at(0).at(0).toDouble(), 0.05);
        QVERIFY(!f.magnify.at(0).at(2).toBool());
        QVERIFY(!f.magnify.at(1).at(2).toBool());
        QCOMPARE(f.magnify.at(2).at(0).toDouble(), 0.0);
        QVERIFY(f.magnify.at(2).at(2).toBool());
        QCOMPARE(f.smartZoom.count(), 1);
        QCOMPARE(f.smartZoom.at(0).at(0).toPointF(), QPointF(250, 150));
    }

    void keysByPosition()
    {
        Fixture f;
        QSignalSpy escape(f.catcher, &GestureCatcher::escapePressed);
        QSignalSpy fullscreen(f.catcher, &GestureCatcher::fullscreenPressed);
        QSignalSpy rate(f.catcher, &GestureCatcher::rateStep);
        QSignalSpy skip(f.catcher, &GestureCatcher::skip);
        // evdev codes of the US positions: Esc 1, F 33, S 31, R 19, D 32, ← 105, → 106.
        QVERIFY(f.key(1));
        QVERIFY(f.key(33, Qt::AltModifier)); // Option and Shift do not matter here
        QVERIFY(f.key(31, Qt::ShiftModifier));
        QVERIFY(f.key(19, Qt::MetaModifier));
        QVERIFY(f.key(32));
        QVERIFY(f.key(105));
        QVERIFY(f.key(106));
        QCOMPARE(escape.count(), 1);
        QCOMPARE(fullscreen.count(), 1);
        QCOMPARE(rate.count(), 3);
        QCOMPARE(rate.at(0).at(0).toInt(), -1);
        QCOMPARE(rate.at(1).at(0).toInt(), 0);
        QCOMPARE(rate.at(2).at(0).toInt(), 1);
        QCOMPARE(skip.count(), 2);
        QCOMPARE(skip.at(0).at(0).toDouble(), -10.0);
        QCOMPARE(skip.at(1).at(0).toDouble(), 10.0);

        // Held keys act once; Ctrl combinations and other keys go on to the menus.
        QVERIFY(f.key(106, {}, true));
        QVERIFY(!f.key(33, Qt::ControlModifier));
        QVERIFY(!f.key(30)); // A
        QCOMPARE(skip.count(), 2);
        QCOMPARE(fullscreen.count(), 1);
    }
};

QTEST_MAIN(TestGestureCatcher)
#include "tst_gesturecatcher.moc"
