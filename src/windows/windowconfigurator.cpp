#include "windowconfigurator.h"

#include "onboardingstore.h"

#include <QWindow>

WindowConfigurator::WindowConfigurator(PlaybackSession &session, OnboardingStore &onboarding,
                                       Preferences &preferences, QObject *parent)
    : QObject(parent)
    , m_onboarding(onboarding)
    , m_delegate(preferences)
{
    m_delegate.setSession(&session);
    connect(&m_onboarding, &OnboardingStore::completedChanged, this, &WindowConfigurator::update);
}

void WindowConfigurator::attach(QWindow *window)
{
    m_window = window;
    update();
}

void WindowConfigurator::update()
{
    if (!m_window)
        return;
    m_delegate.attach(m_window);
    m_delegate.apply(m_window, !m_onboarding.completed());
}
