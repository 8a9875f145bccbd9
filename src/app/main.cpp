#include "luneloapp.h"
#include "singleinstance.h"

#include <QApplication>
#include <QQuickWindow>

#include <clocale>

int main(int argc, char *argv[])
{
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
