#include "appdelegate.h"

#include "commands.h"

#include <QGuiApplication>
#include <QQuickWindow>
#include <QTimer>

AppDelegate::AppDelegate(PlaybackSession::Services services, Commands &commands,
                         std::shared_ptr<DefaultApps> defaultApps, QObject *parent)
    : QObject(parent)
    , m_commands(commands)
    , m_session(services)
    , m_onboarding(services.preferences, std::move(defaultApps))
    , m_presentation(commands)
{
}

void AppDelegate::applicationDidFinishLaunching()
{
    connect(&m_commands, &Commands::posted, this, [this](Commands::Command command) {
        if (command == Commands::Command::RequestClosePreview)
            QTimer::singleShot(0, this, &AppDelegate::closePreview);
    });
}

void AppDelegate::closePreview()
{
    // Closing the key window runs its close path; the process ends with its last window.
    if (QWindow *key = QGuiApplication::focusWindow())
        key->close();
    else
        m_session.closeFile();
}

void AppDelegate::openUrls(const QList<QUrl> &urls)
{
    if (!urls.isEmpty())
        openPreview(urls.first());
}

void AppDelegate::applicationShouldHandleReopen(bool hasVisibleWindows)
{
    if (!hasVisibleWindows)
        showWindow();
}

void AppDelegate::openPreview(const QUrl &url)
{
    if (m_onboarding.completed())
        m_session.open(url);
    else
        m_onboarding.setQueuedUrl(url);
    showWindow();
}

void AppDelegate::showWindow()
{
    const QWindowList windows = QGuiApplication::topLevelWindows();
    for (QWindow *window : windows) {
        auto *quick = qobject_cast<QQuickWindow *>(window);
        if (!quick || !quick->contentItem())
            continue;
        if (quick->windowStates().testFlag(Qt::WindowMinimized))
            quick->setWindowStates(quick->windowStates() & ~Qt::WindowMinimized);
        quick->show();
        quick->raise();
        quick->requestActivate();
        return;
    }
}
