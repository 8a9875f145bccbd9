#pragma once

#include "onboardingstore.h"
#include "playbacksession.h"
#include "windowpresentation.h"

#include <QObject>
#include <QUrl>

#include <memory>

class Commands;
class DefaultApps;

// The application's delegate: owns the three long-lived models, receives every way the desktop
// hands Lunelo a video, and services the request to close the player window. GUI thread only.
class AppDelegate : public QObject {
    Q_OBJECT
public:
    // `services` go to the playback session; `defaultApps` (may be null) to the onboarding.
    AppDelegate(PlaybackSession::Services services, Commands &commands,
                std::shared_ptr<DefaultApps> defaultApps, QObject *parent = nullptr);

    // The models, created in this order and alive until the process ends.
    PlaybackSession &session() { return m_session; }
    OnboardingStore &onboarding() { return m_onboarding; }
    WindowPresentation &presentation() { return m_presentation; }

    // Start-up, once the application object exists: observes the close request.
    void applicationDidFinishLaunching();
    // Open requests from the desktop: the first location only; an empty list is ignored.
    void openUrls(const QList<QUrl> &urls);
    // A reopen request (a launch without files while running): shows the window when none is.
    void applicationShouldHandleReopen(bool hasVisibleWindows);

    // The common path of every open request from the desktop.
    void openPreview(const QUrl &url);
    // Brings the player window to the front.
    void showWindow();

private:
    void closePreview();

    Commands &m_commands;
    PlaybackSession m_session;
    OnboardingStore m_onboarding;
    WindowPresentation m_presentation;
};
