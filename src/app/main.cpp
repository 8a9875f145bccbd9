#include "luneloapp.h"
#include "singleinstance.h"

#include <QApplication>
#include <QQuickWindow>

#include <clocale>
#ifdef __GLIBC__
#include <malloc.h>
#endif

int main(int argc, char *argv[])
{
#ifdef __GLIBC__
    // Every opened file starts and ends a dozen engine threads, and glibc hands new threads
    // arenas of their own (up to eight per core) whose freed memory stays resident: after a few
    // hundred files the process holds some 90 MiB more, without a leak. Two arenas keep it flat.
    mallopt(M_ARENA_MAX, 2);
#endif
    // libmpv draws through OpenGL, so Qt Quick must render with it too.
    QQuickWindow::setGraphicsApi(QSGRendererInterface::OpenGL);
    QApplication::setOrganizationName(QStringLiteral("Lunelo"));
    QApplication::setOrganizationDomain(QStringLiteral("lunelo.org"));
    QApplication::setApplicationName(QStringLiteral("Lunelo"));
    QApplication::setDesktopFileName(QStringLiteral("org.lunelo.Lunelo"));
    QApplication app(argc, argv);
    // libmpv refuses to start unless numbers are formatted the C way.
    std::setlocale(LC_NUMERIC, "C");

    const QList<QUrl> files = filesFromArguments(QApplication::arguments());
    SingleInstance instance;
    if (!instance.claim())
        return instance.forward(files) ? 0 : 1;
    LuneloApp lunelo(instance, files);
    return QApplication::exec();
}
