#include "windowpresentation.h"

#include "commands.h"

#include <QGuiApplication>
#include <QQuickWindow>

WindowPresentation::WindowPresentation(Commands &commands, QObject *parent)
    : QObject(parent)
    , m_commands(commands)
{
}

QWindow *WindowPresentation::playerWindow() const
{
    if (QWindow *key = QGuiApplication::focusWindow())
        return key;
    const QWindowList windows = QGuiApplication::topLevelWindows();
    for (QWindow *window : windows) {
        auto *quick = qobject_cast<QQuickWindow *>(window);
        if (quick && quick->contentItem() && quick->isVisible())
            return quick;
    }
    return nullptr;
}

bool WindowPresentation::isFullScreen(const QWindow *window)
{
    return window && window->windowStates().testFlag(Qt::WindowFullScreen);
}

void WindowPresentation::handleEscape()
{
    QWindow *window = playerWindow();
    if (!window)
        return;
    if (isFullScreen(window))
        window->setWindowStates(window->windowStates() & ~Qt::WindowFullScreen);
    else
        m_commands.post(Commands::Command::RequestClosePreview);
}

void WindowPresentation::enterFullScreen()
{
    QWindow *window = playerWindow();
    if (window && !isFullScreen(window))
        window->setWindowStates(window->windowStates() | Qt::WindowFullScreen);
}

void WindowPresentation::closeWindow()
{
    if (QWindow *window = playerWindow())
        window->close();
}

void WindowPresentation::toggleMaximized()
{
    QWindow *window = playerWindow();
    if (!window || isFullScreen(window))
        return;
    window->setWindowStates(window->windowStates() ^ Qt::WindowMaximized);
}

void WindowPresentation::setMenuOpen(bool open)
{
    if (m_menuOpen == open)
        return;
    m_menuOpen = open;
    emit menuOpenChanged();
}
