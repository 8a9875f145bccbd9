#pragma once

#include <QObject>

class Commands;
class OnboardingStore;
class PlaybackSession;
class QKeyEvent;
class WindowPresentation;
namespace KeyTable {
enum class Intent;
}

// The application-wide keys. Installed as an event filter on the application object, it sees
// every key press before the focused view and before any shortcut, and acts on the keys of the
// key table (keytable.h, which also says what it lets through) by their position on the keyboard,
// so they act alike on every layout. Stateless; GUI thread only.
class KeyRouter : public QObject {
    Q_OBJECT
public:
    KeyRouter(PlaybackSession &session, OnboardingStore &onboarding,
              WindowPresentation &presentation, Commands &commands, QObject *parent = nullptr);

    // Acts on a key press and answers true when it takes it (the event is then swallowed);
    // false lets it through.
    bool routeKey(const QKeyEvent &event);

    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    enum class Decision {
        LetThrough,
        Swallow, // taken without action: an auto-repeat of a key that acts once
        Act,
    };

    [[nodiscard]] Decision decide(const QKeyEvent &event, KeyTable::Intent *intent) const;
    void act(KeyTable::Intent intent);
    // Sets the rate and lets the player view show it.
    void nudgeTo(float rate);

    PlaybackSession &m_session;
    OnboardingStore &m_onboarding;
    WindowPresentation &m_presentation;
    Commands &m_commands;
};
