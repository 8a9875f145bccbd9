// The application built in this process on the display server the test runs in (X under
// run-x.sh, Wayland under run-wayland.sh), given input through Qt's window-system interface just
// as the platform plugin hands over the desktop's: a touchpad pinch as native zoom gestures (what
// Qt's Wayland plugin makes of a compositor's pinch), keys by their xkb key codes, the keyboard's
// focus. A headless Weston has no seat: this is how input reaches the real window there at all.
#include "framestring.h"
#include "luneloapp.h"
#include "picturesurface.h"
#include "singleinstance.h"
#include "testsupport.h"

#include <QApplication>
#include <QPointingDevice>
#include <QQuickWindow>
#include <QScreen>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>
#include <qpa/qwindowsysteminterface.h>

#include <clocale>

namespace {

bool isRed(QRgb c)
{
    return qRed(c) > 200 && qGreen(c) < 60 && qBlue(c) < 60;
}

bool isWayland()
{
    return QGuiApplication::platformName().startsWith(QLatin1String("wayland"));
}

// Delegates of a repeater are the item tree's children, not QObject ones.
template<typename T> T *findItem(QQuickItem *item)
{
    if (auto *found = qobject_cast<T *>(item))
        return found;
    for (QQuickItem *child : item->childItems()) {
        if (T *found = findItem<T>(child))
            return found;
    }
    return nullptr;
}

} // namespace

class TestAppInjected : public QObject {
    Q_OBJECT

    QTemporaryDir m_home;
    SingleInstance m_instance;
    std::unique_ptr<LuneloApp> m_app;
    QQuickWindow *m_window = nullptr;
    QPointingDevice *m_touchpad = nullptr;

    [[nodiscard]] QString configFile() const
    {
        return m_home.filePath(QStringLiteral(".config/Lunelo/Lunelo.conf"));
    }

    // Read from the file, not through QSettings, whose cache in this process could answer with
    // an earlier text of the same length.
    [[nodiscard]] QRectF savedFrame() const
    {
        QFile file(configFile());
        if (!file.open(QIODevice::ReadOnly))
            return {};
        const QByteArray config = file.readAll();
        const qsizetype at = config.indexOf("playerWindowFrame=");
        const QString text = QString::fromUtf8(config.mid(at, config.indexOf('\n', at) - at));
        return flipped(rectFromString(text), m_window->screen()->geometry().height());
    }

    // A key at the position of the evdev code, pressed and released in the window, which has
    // the keyboard's focus as the compositor gives it. (A headless Weston has no keyboard to give
    // and takes the focus away at every change of state.)
    void key(quint32 evdev, Qt::Key qtKey)
    {
        QWindowSystemInterface::handleWindowActivated(m_window);
        for (const QEvent::Type type : {QEvent::KeyPress, QEvent::KeyRelease})
            QWindowSystemInterface::handleExtendedKeyEvent(m_window, type, qtKey, Qt::NoModifier,
                                                           evdev + 8, 0, 0);
    }

    // Fingers spreading at `at`, as steps of the gesture's scale.
    void pinch(QPointF at, const QList<double> &steps)
    {
        const QPointF global = m_window->mapToGlobal(at);
        QWindowSystemInterface::handleGestureEvent(m_window, 0, m_touchpad, Qt::BeginNativeGesture,
                                                   at, global, 2);
        for (const double step : steps)
            QWindowSystemInterface::handleGestureEventWithRealValue(
                m_window, 0, m_touchpad, Qt::ZoomNativeGesture, step, at, global, 2);
        QWindowSystemInterface::handleGestureEvent(m_window, 0, m_touchpad, Qt::EndNativeGesture,
                                                   at, global, 2);
    }

public:
    static void initMain()
    {
        QQuickWindow::setGraphicsApi(QSGRendererInterface::OpenGL);
        QApplication::setOrganizationName(QStringLiteral("Lunelo"));
        QApplication::setApplicationName(QStringLiteral("Lunelo"));
    }

private slots:
    // Opens asym.mp4 (grey, red over its top-left 480 × 270 pixels) in a window restored at
    // 800 × 600: the picture is fitted in rows 75 to 525.
    void initTestCase()
    {
        std::setlocale(LC_NUMERIC, "C");
        const std::pair<const char *, const char *> folders[] = {
            {"HOME", ""},
            {"XDG_CONFIG_HOME", ".config"},
            {"XDG_DATA_HOME", ".local/share"},
            {"XDG_CACHE_HOME", ".cache"},
        };
        for (const auto &[variable, folder] : folders)
            qputenv(variable, m_home.filePath(QString::fromLatin1(folder)).toLocal8Bit());
        QSettings config(configFile(), QSettings::IniFormat);
        config.setValue("onboardingCompleted", true);
        config.setValue("playerWindowFrame", QStringLiteral("{{100, 100}, {800, 600}}"));
        config.sync();

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
        // Faded in (X), where the frame grows to its size.
        QTRY_VERIFY(m_window->opacity() == 1 && m_window->size() == QSize(800, 600));
    }

    void cleanupTestCase() { m_app.reset(); }

    // A pinch at (100, 131), inside the red block, in two steps (1.25×, then 1.6×): the picture
    // doubles about that point, first held vertically centred (it does not yet overflow the
    // window's height), then moving 169 × 0.75 points down. The red block then covers
    // −100 … 300 × −23.25 … 201.75.
    void pinchZoomsAboutTheFingers()
    {
        PictureSurface *picture = nullptr;
        QTRY_VERIFY((picture = findItem<PictureSurface>(m_window->contentItem())) &&
                    picture->videoSize() == QSizeF(1920, 1080));
        pinch(QPointF(100, 131), {0.25, 0.6});
        QTRY_COMPARE(picture->zoom().scale, 2.0);
        QCOMPARE(picture->zoom().offset, QSizeF(300, 126.75));
        QTRY_VERIFY(isRed(m_window->grabWindow().pixel(290, 190))); // grey when fitted
        const QImage shot = m_window->grabWindow();
        saveShot(shot, QStringLiteral("injected-pinch-") + QGuiApplication::platformName());
        QVERIFY(!isRed(shot.pixel(310, 100)));
        QVERIFY(!isRed(shot.pixel(100, 210)));
    }

    // A resize is saved once the frame is still, full screen is not, and Escape leaves full
    // screen before it closes the window. Where the window system reports no positions, the
    // frame is kept centred on the screen.
    void framesSavedOutsideFullScreenThenEscapeCloses()
    {
        m_window->resize(700, 500);
        QTRY_COMPARE(m_window->size(), QSize(700, 500));
        const QRectF area = m_window->screen()->availableGeometry();
        const QRectF frame = isWayland()
                                 ? QRectF(area.center() - QPointF(350, 250), QSizeF(700, 500))
                                 : QRectF(m_window->geometry());
        QTRY_COMPARE(savedFrame(), frame);

        key(33, Qt::Key_F);
        const QSize screen = m_window->screen()->size();
        QTRY_COMPARE(m_window->size(), screen);
        QVERIFY(m_window->windowStates().testFlag(Qt::WindowFullScreen));
        QTest::qWait(500); // longer than a frame needs to be still to be saved
        QCOMPARE(savedFrame().size(), QSizeF(700, 500));

        key(1, Qt::Key_Escape);
        QTRY_COMPARE(m_window->size(), QSize(700, 500));
        QVERIFY(!m_window->windowStates().testFlag(Qt::WindowFullScreen));
        key(1, Qt::Key_Escape);
        QTRY_VERIFY(!m_window->isVisible());
        QCOMPARE(savedFrame(), frame);
    }
};

QTEST_MAIN(TestAppInjected)
#include "tst_app_injected.moc"
