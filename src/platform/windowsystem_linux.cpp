// X11 through Qt's xcb platform, Wayland through its wayland platform. Qt 6.4 chooses Wayland
// whenever the session offers it (WAYLAND_DISPLAY, GNOME included) and X11 otherwise;
// QT_QPA_PLATFORM=xcb still asks for X11 (XWayland). It has no public accessor for the Wayland
// display yet, so that comes from the platform's native interface.
#include "windowsystem.h"

#include <QGuiApplication>
#include <qpa/qplatformnativeinterface.h>

namespace WindowSystem {
namespace {

bool isWayland()
{
    // "wayland", or one of its variants ("wayland-egl").
    return QGuiApplication::platformName().startsWith(QLatin1String("wayland"));
}

} // namespace

NativeDisplay nativeDisplay()
{
    const auto *app = qobject_cast<QGuiApplication *>(QCoreApplication::instance());
    if (!app)
        return {};
#if QT_CONFIG(xcb)
    if (const auto *x11 = app->nativeInterface<QNativeInterface::QX11Application>())
        return {NativeDisplay::Kind::X11, x11->display()};
#endif
    if (isWayland()) {
        if (QPlatformNativeInterface *native = QGuiApplication::platformNativeInterface()) {
            if (void *display = native->nativeResourceForIntegration("wl_display"))
                return {NativeDisplay::Kind::Wayland, display};
        }
    }
    return {};
}

bool hasWindowPositions()
{
    return !isWayland();
}

bool hasWindowOpacity()
{
    return !isWayland();
}

} // namespace WindowSystem
