#include "onboardingstore.h"

#include "preferences.h"

OnboardingStore::OnboardingStore(Preferences &preferences, QObject *parent)
    : QObject(parent)
    , m_preferences(preferences)
{
}

void OnboardingStore::setCompleted(bool completed)
{
    if (m_completed == completed)
        return;
    m_completed = completed;
    emit completedChanged();
}

void OnboardingStore::setQueuedUrl(const QUrl &url)
{
    if (m_queuedUrl == url)
        return;
    m_queuedUrl = url;
    emit queuedUrlChanged();
}
