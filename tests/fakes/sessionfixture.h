#pragma once

#include "fakeengine.h"
#include "memorypreferences.h"
#include "playbacksession.h"
#include "testsupport.h"

// A session on the scripted engine with preferences in memory, for the session's logic tests.
struct SessionFixture {
    FakeEngine engine;
    MemoryPreferences preferences;
    PlaybackSession session{PlaybackSession::Services{engine, preferences}};

    // Opens `name` and brings it to ready with `duration` seconds; it plays.
    FakePlayer *openReady(const QString &name = QStringLiteral("/v/a.mp4"), double duration = 60)
    {
        session.open(QUrl::fromLocalFile(name));
        engine.last()->becomeReady(duration, QSizeF(1920, 1080));
        settle();
        return engine.last();
    }
};
