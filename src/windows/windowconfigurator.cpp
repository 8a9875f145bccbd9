#include "windowconfigurator.h"

#include "onboardingstore.h"
#include "windowpresentation.h"

#include <QWindow>

WindowConfigurator::WindowConfigurator(PlaybackSession &session, OnboardingStore &onboarding,
                                       WindowPresentation &presentation, Preferences &preferences,
                                       QObject *parent)
    : QObject(parent)
    , m_session(session)
    , m_onboarding(onboarding)
    , m_presentation(presentation)
    , m_delegate(preferences)
{
    connect(&m_onboarding, &OnboardingStore::completedChanged, this, &WindowConfigurator::update);
}

void WindowConfigurator::attach(QWindow *window)
{
    m_window = window;
    update();
}

void WindowConfigurator::update()
{
    m_delegate.setSession(&m_session);
    m_delegate.setPresentation(&m_presentation);
    if (!m_window)
        return;
    m_delegate.attach(m_window);
    m_delegate.apply(m_window, !m_onboarding.completed());
}
