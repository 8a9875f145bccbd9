// The application built in this process on the display server the test runs in (X under
// run-x.sh, Wayland under run-wayland.sh): it starts fitted and upright in the frame it kept,
// takes the files of a second launch of the built binary, and is given input through Qt's
// window-system interface just as the platform plugin hands over the desktop's: a touchpad pinch
// as native zoom gestures. A headless Weston has no seat: this is how input reaches the real
// window there at all.
#include "appdriver.h"
#include "luneloapp.h"
#include "picturesurface.h"
#include "singleinstance.h"
#include "testsupport.h"

#include <QApplication>
#include <QPointingDevice>
#include <QQuickWindow>
#include <QTest>
#include <qpa/qwindowsysteminterface.h>

#include <clocale>

namespace {

// The picture's item; delegates of a repeater are the item tree's children, not QObject ones.
PictureSurface *findPicture(QQuickItem *item)
{
    auto *found = qobject_cast<PictureSurface *>(item);
    for (QQuickItem *child : item->childItems())
        found = found ? found : findPicture(child);
    return found;
}

} // namespace

class TestAppInjected : public QObject {
    Q_OBJECT

    AppDriver m_driver; // its home is the application's, and it makes the second launches
    SingleInstance m_instance;
    std::unique_ptr<LuneloApp> m_app;
    QQuickWindow *m_window = nullptr;
    QPointingDevice *m_touchpad = nullptr;
    PictureSurface *m_picture = nullptr;

public:
    static void initMain()
    {
        QQuickWindow::setGraphicsApi(QSGRendererInterface::OpenGL);
        QApplication::setOrganizationName(QStringLiteral("Lunelo"));
        QApplication::setApplicationName(QStringLiteral("Lunelo"));
    }

private slots:
    // Opens asym.mp4 in a window restored at 800 × 600.
    void initTestCase()
    {
        std::setlocale(LC_NUMERIC, "C");
        for (const char *variable : {"HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME"})
            qputenv(variable, m_driver.environment().value(variable).toLocal8Bit());
        m_driver.setPreference("playerWindowFrame", QStringLiteral("{{100, 100}, {800, 600}}"));

        QVERIFY(m_instance.claim());
        m_touchpad =
            new QPointingDevice(QStringLiteral("touchpad"), 1, QInputDevice::DeviceType::TouchPad,
                                QPointingDevice::PointerType::Finger,
                                QInputDevice::Capability::Position, 2, 0, {}, {}, this);
        QWindowSystemInterface::registerInputDevice(m_touchpad);
        m_app = std::make_unique<LuneloApp>(
            m_instance, QList<QUrl>{QUrl::fromLocalFile(testMedia(QStringLiteral("asym.mp4")))});
        m_window = qobject_cast<QQuickWindow *>(QGuiApplication::topLevelWindows().value(0));
        QVERIFY(m_window);
        QVERIFY(QTest::qWaitForWindowExposed(m_window));
        // Faded in (X), where the frame grows to its size; fitted and upright.
        QTRY_VERIFY(m_window->opacity() == 1 && m_window->size() == QSize(800, 600));
        QTRY_VERIFY(AppDriver::looks(m_window->grabWindow(),
                                     "RedBlock=Red BlueBlock=Blue BesideRedBlock=Grey "
                                     "AbovePicture=Black PictureTop=Grey PictureBottom=Grey "
                                     "BelowPicture=Black"));
    }

    void cleanupTestCase() { m_app.reset(); }

    // A pinch on the red block in two steps (1.25×, then 1.6×): the picture doubles about that
    // point, first held vertically centred (it does not yet overflow the window's height), then
    // moving 169 × 0.75 points down.
    void pinchZoomsAboutTheFingers()
    {
        QTRY_VERIFY((m_picture = findPicture(m_window->contentItem())) &&
                    m_picture->videoSize() == QSizeF(1920, 1080));
        const QPointF at = kPlaces["RedBlock"], global = m_window->mapToGlobal(at);
        QWindowSystemInterface::handleGestureEvent(m_window, 0, m_touchpad, Qt::BeginNativeGesture,
                                                   at, global, 2);
        for (const double step : {0.25, 0.6}) // fingers spreading, as steps of the scale
            QWindowSystemInterface::handleGestureEventWithRealValue(
                m_window, 0, m_touchpad, Qt::ZoomNativeGesture, step, at, global, 2);
        QWindowSystemInterface::handleGestureEvent(m_window, 0, m_touchpad, Qt::EndNativeGesture,
                                                   at, global, 2);
        QTRY_COMPARE(m_picture->zoom().scale, 2.0);
        QCOMPARE(m_picture->zoom().offset, QSizeF(300, 126.75));
        QTRY_VERIFY(AppDriver::looks(m_window->grabWindow(), "BesideRedBlock=Red"));
    }

    // Only the first file of a request opens, in this window, fitted.
    void secondLaunchHandsItsFileOver()
    {
        QVERIFY(m_driver.start(
            {testMedia(QStringLiteral("rotated.mp4")), testMedia(QStringLiteral("clip.mp4"))}));
        QCOMPARE(m_driver.waitForExit(), 0);
        QVERIFY(m_driver.trace().isEmpty()); // it opened nothing itself
        QTRY_VERIFY((m_picture = findPicture(m_window->contentItem())) &&
                    m_picture->videoSize() == QSizeF(1080, 1920));
        QCOMPARE(m_picture->zoom().scale, 1.0);
        // The clip's display matrix turns it a quarter counter-clockwise (ffprobe reads
        // rotation=90, and ffmpeg's own autorotation agrees).
        QTRY_VERIFY(AppDriver::looks(m_window->grabWindow(),
                                     "TurnedRedBlock=Red TurnedBlueBlock=Blue RedBlock=Black"));
    }
};

QTEST_MAIN(TestAppInjected)
#include "tst_app_injected.moc"
