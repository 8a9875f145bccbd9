#pragma once

#include "previewwindowdelegate.h"

#include <QObject>
#include <QPointer>

class OnboardingStore;
class PlaybackSession;
class Preferences;
class QWindow;

// Keeps the window that hosts the player view in the mode the onboarding asks for: installs
// the window's delegate and applies the introduction or the player mode whenever the
// introduction is completed or brought back. GUI thread only.
class WindowConfigurator : public QObject {
    Q_OBJECT
public:
    WindowConfigurator(PlaybackSession &session, OnboardingStore &onboarding,
                       Preferences &preferences, QObject *parent = nullptr);

    // The view's window: its first configuration, before it shows.
    void attach(QWindow *window);
    // Re-applies the mode (only a change of mode changes the size).
    void update();

private:
    OnboardingStore &m_onboarding;
    PreviewWindowDelegate m_delegate;
    QPointer<QWindow> m_window;
};
