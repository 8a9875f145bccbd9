#include "keyrouter.h"

#include "commands.h"
#include "keycodes.h"
#include "onboardingstore.h"
#include "playbacksession.h"
#include "windowpresentation.h"

#include <QApplication>
#include <QKeyEvent>

#include <algorithm>
#include <array>

namespace {

// Held down, these act again with every auto-repeat; the other keys act once per press.
constexpr std::array kRepeatableKeys{KeyCodes::Comma, KeyCodes::Period, KeyCodes::LeftArrow,
                                     KeyCodes::RightArrow};

// Command, Control and Option of the Mac are Ctrl, Super and Alt here; with any of them held the
// key belongs to the shortcuts and the player view. Shift, keypad and AltGr do not count.
constexpr Qt::KeyboardModifiers kBlockingModifiers =
    Qt::ControlModifier | Qt::MetaModifier | Qt::AltModifier;

} // namespace

const KeyRouter::Binding KeyRouter::kBindings[] = {
    {KeyCodes::S, [](KeyRouter &r) { r.nudgeTo(PlaybackSession::nextSlower(r.m_session.rate())); }},
    {KeyCodes::D, [](KeyRouter &r) { r.nudgeTo(PlaybackSession::nextFaster(r.m_session.rate())); }},
    // F never leaves full screen; Escape does.
    {KeyCodes::F, [](KeyRouter &r) { r.m_presentation.enterFullScreen(); }},
    {KeyCodes::B, [](KeyRouter &r) { r.m_session.setRepeating(!r.m_session.isRepeating()); }},
    {KeyCodes::R, [](KeyRouter &r) { r.nudgeTo(1.0f); }},
    {KeyCodes::P, [](KeyRouter &r) { r.m_session.openSibling(-1); }},
    {KeyCodes::Comma, [](KeyRouter &r) { r.m_session.stepFrame(-1); }},
    {KeyCodes::N, [](KeyRouter &r) { r.m_session.openSibling(1); }},
    {KeyCodes::M, [](KeyRouter &r) { r.m_session.toggleMute(); }},
    {KeyCodes::Period, [](KeyRouter &r) { r.m_session.stepFrame(1); }},
    {KeyCodes::Space, [](KeyRouter &r) { r.m_session.togglePlay(); }},
    {KeyCodes::Escape, [](KeyRouter &r) { r.m_presentation.handleEscape(); }},
    {KeyCodes::LeftArrow, [](KeyRouter &r) { r.m_session.skip(-10.0); }},
    {KeyCodes::RightArrow, [](KeyRouter &r) { r.m_session.skip(10.0); }},
    {KeyCodes::DownArrow, [](KeyRouter &r) { r.m_session.openSibling(1); }},
    {KeyCodes::UpArrow, [](KeyRouter &r) { r.m_session.openSibling(-1); }},
};

KeyRouter::KeyRouter(PlaybackSession &session, OnboardingStore &onboarding,
                     WindowPresentation &presentation, Commands &commands, QObject *parent)
    : QObject(parent)
    , m_session(session)
    , m_onboarding(onboarding)
    , m_presentation(presentation)
    , m_commands(commands)
{
}

KeyRouter::Decision KeyRouter::decide(const QKeyEvent &event, Action *action) const
{
    if (!m_onboarding.completed())
        return Decision::LetThrough;
    // The application menu, open in the window, takes the keys as a modal panel would.
    if (QGuiApplication::modalWindow() || QApplication::activeModalWidget() ||
        m_presentation.menuOpen())
        return Decision::LetThrough;
    if (event.modifiers() & kBlockingModifiers)
        return Decision::LetThrough;
    const int key = KeyCodes::fromEvent(event);
    const auto binding = std::find_if(std::begin(kBindings), std::end(kBindings),
                                      [key](const Binding &b) { return b.key == key; });
    if (binding == std::end(kBindings))
        return Decision::LetThrough;
    if (event.isAutoRepeat() &&
        std::find(kRepeatableKeys.begin(), kRepeatableKeys.end(), key) == kRepeatableKeys.end())
        return Decision::Swallow; // holding Space toggles once
    *action = binding->action;
    return Decision::Act;
}

bool KeyRouter::routeKey(const QKeyEvent &event)
{
    Action action = nullptr;
    switch (decide(event, &action)) {
    case Decision::LetThrough:
        return false;
    case Decision::Swallow:
        return true;
    case Decision::Act:
        action(*this);
        return true;
    }
    return false;
}

bool KeyRouter::eventFilter(QObject *watched, QEvent *event)
{
    switch (event->type()) {
    case QEvent::ShortcutOverride: {
        // A key this router takes must not fire a shortcut first: claiming the override makes
        // Qt deliver it as a key press, which routeKey() then takes.
        Action action = nullptr;
        if (decide(*static_cast<QKeyEvent *>(event), &action) != Decision::LetThrough) {
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
    m_commands.post(CommandName::rateNudged);
}
