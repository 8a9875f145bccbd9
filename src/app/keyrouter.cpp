#include "keyrouter.h"

#include "commands.h"
#include "keytable.h"
#include "onboardingstore.h"
#include "playbacksession.h"
#include "windowpresentation.h"

#include <QApplication>
#include <QKeyEvent>

KeyRouter::KeyRouter(PlaybackSession &session, OnboardingStore &onboarding,
                     WindowPresentation &presentation, Commands &commands, QObject *parent)
    : QObject(parent)
    , m_session(session)
    , m_onboarding(onboarding)
    , m_presentation(presentation)
    , m_commands(commands)
{
}

KeyRouter::Decision KeyRouter::decide(const QKeyEvent &event, KeyTable::Intent *intent) const
{
    if (!m_onboarding.completed())
        return Decision::LetThrough;
    // The application menu, open in the window, takes the keys as a modal panel would.
    if (QGuiApplication::modalWindow() || QApplication::activeModalWidget() ||
        m_presentation.menuOpen())
        return Decision::LetThrough;
    if (event.modifiers() & KeyTable::kRouterPassesWith)
        return Decision::LetThrough;
    const KeyTable::Binding *binding = KeyTable::find(KeyCodes::fromEvent(event));
    if (!binding)
        return Decision::LetThrough;
    if (event.isAutoRepeat() && !binding->isRepeatable)
        return Decision::Swallow; // holding Space toggles once
    *intent = binding->intent;
    return Decision::Act;
}

bool KeyRouter::routeKey(const QKeyEvent &event)
{
    KeyTable::Intent intent{};
    switch (decide(event, &intent)) {
    case Decision::LetThrough:
        return false;
    case Decision::Swallow:
        return true;
    case Decision::Act:
        act(intent);
        return true;
    }
    return false;
}

void KeyRouter::act(KeyTable::Intent intent)
{
    using KeyTable::Intent;
    switch (intent) {
    case Intent::SlowerRate:
        nudgeTo(PlaybackSession::nextSlower(m_session.rate()));
        break;
    case Intent::FasterRate:
        nudgeTo(PlaybackSession::nextFaster(m_session.rate()));
        break;
    case Intent::NormalRate:
        nudgeTo(1.0f);
        break;
    case Intent::FullScreen:
        m_presentation.enterFullScreen();
        break;
    case Intent::Escape:
        m_presentation.handleEscape();
        break;
    case Intent::ToggleRepeat:
        m_session.setRepeating(!m_session.isRepeating());
        break;
    case Intent::ToggleMute:
        m_session.toggleMute();
        break;
    case Intent::TogglePlay:
        m_session.togglePlay();
        break;
    case Intent::FrameBack:
        m_session.stepFrame(-1);
        break;
    case Intent::FrameForward:
        m_session.stepFrame(1);
        break;
    case Intent::SkipBack:
        m_session.skip(-KeyTable::kSkipSeconds);
        break;
    case Intent::SkipForward:
        m_session.skip(KeyTable::kSkipSeconds);
        break;
    case Intent::PreviousVideo:
        m_session.openSibling(-1);
        break;
    case Intent::NextVideo:
        m_session.openSibling(1);
        break;
    }
}

bool KeyRouter::eventFilter(QObject *watched, QEvent *event)
{
    switch (event->type()) {
    case QEvent::ShortcutOverride: {
        // A key this router takes must not fire a shortcut first: claiming the override makes
        // Qt deliver it as a key press, which routeKey() then takes.
        KeyTable::Intent intent{};
        if (decide(*static_cast<QKeyEvent *>(event), &intent) != Decision::LetThrough) {
            event->accept();
            return true;
        }
        break;
    }
    case QEvent::KeyPress:
        if (routeKey(*static_cast<QKeyEvent *>(event)))
            return true;
        break;
    default:
        break;
    }
    return QObject::eventFilter(watched, event);
}

void KeyRouter::nudgeTo(float rate)
{
    m_session.setRate(rate);
    m_commands.post(Commands::Command::RateNudged);
}
