#include "onboardingstore.h"

#include "defaulthandler.h"
#include "preferences.h"

namespace {

const QString kClaimFailed =
    QStringLiteral("O Mac não confirmou o padrão. Use o menu Lunelo → Tornar player padrão.");

} // namespace

OnboardingStore::OnboardingStore(Preferences &preferences, std::shared_ptr<DefaultApps> apps,
                                 QObject *parent)
    : QObject(parent)
    , m_preferences(preferences)
    , m_apps(std::move(apps))
    , m_completed(preferences.boolValue(QString::fromLatin1(kCompletedKey)))
{
    // Asking the desktop takes a moment; only the introduction needs the answer, so a launch
    // straight into the player does not wait for it.
    if (!m_completed)
        refreshDefault();
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

void OnboardingStore::complete()
{
    m_preferences.setBool(QString::fromLatin1(kCompletedKey), true);
    setCompleted(true);
}

void OnboardingStore::activate()
{
    if (m_isActivating)
        return; // one claim at a time
    setActivating(true);
    setStatusText({});
    if (m_alreadyDefault) {
        complete();
        setActivating(false);
        return;
    }
    if (!m_apps) {
        setStatusText(kClaimFailed);
        setActivating(false);
        return;
    }
    DefaultHandler::claimModernAsync(m_apps, this, [this](bool isDefault) {
        setAlreadyDefault(isDefault);
        if (isDefault)
            complete();
        else
            setStatusText(kClaimFailed);
        setActivating(false);
    });
}

void OnboardingStore::skip()
{
    complete();
}

void OnboardingStore::showIntroduction()
{
    setCompleted(false);
    m_preferences.setBool(QString::fromLatin1(kCompletedKey), false);
    refreshDefault(); // the user may have chosen another player since
}

void OnboardingStore::makeDefaultPlayer()
{
    if (m_apps)
        DefaultHandler::claimModernAsync(m_apps, this, [](bool) {});
}

void OnboardingStore::refreshDefault()
{
    if (m_apps)
        DefaultHandler::testAsync(m_apps, this,
                                  [this](bool isDefault) { setAlreadyDefault(isDefault); });
}

void OnboardingStore::setActivating(bool on)
{
    if (m_isActivating == on)
        return;
    m_isActivating = on;
    emit isActivatingChanged();
}

void OnboardingStore::setAlreadyDefault(bool on)
{
    if (m_alreadyDefault == on)
        return;
    m_alreadyDefault = on;
    emit alreadyDefaultChanged();
}

void OnboardingStore::setStatusText(const QString &text)
{
    if (m_statusText == text)
        return;
    m_statusText = text;
    emit statusTextChanged();
}
