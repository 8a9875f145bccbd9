#pragma once

// The models and services that QML views read, registered from this module so that the
// libraries that define them stay free of QML.

#include "commands.h"
#include "mediaengine.h"
#include "onboardingstore.h"
#include "playbacksession.h"
#include "windowpresentation.h"

#include <QtQml/qqmlregistration.h>

struct PlaybackSessionForeign {
    Q_GADGET
    QML_FOREIGN(PlaybackSession)
    QML_NAMED_ELEMENT(PlaybackSession)
    QML_UNCREATABLE("The application creates the one session.")
};

struct MediaPlayerForeign {
    Q_GADGET
    QML_FOREIGN(MediaPlayer)
    QML_NAMED_ELEMENT(MediaPlayer)
    QML_UNCREATABLE("Players come from the session.")
};

struct CommandsForeign {
    Q_GADGET
    QML_FOREIGN(Commands)
    QML_NAMED_ELEMENT(Commands)
    QML_UNCREATABLE("The application creates the command hub.")
};

struct WindowPresentationForeign {
    Q_GADGET
    QML_FOREIGN(WindowPresentation)
    QML_NAMED_ELEMENT(WindowPresentation)
    QML_UNCREATABLE("The application creates the one window presentation.")
};

struct OnboardingStoreForeign {
    Q_GADGET
    QML_FOREIGN(OnboardingStore)
    QML_NAMED_ELEMENT(OnboardingStore)
    QML_UNCREATABLE("The application creates the one onboarding store.")
};
