#pragma once

#include "framecounter.h"
#include "memorypreferences.h"
#include "mpvengine.h"
#include "picturesurface.h"
#include "playbacksession.h"

#include <QPointer>
#include <QQuickView>

#include <memory>

// A playback session on the real engine (its sound going nowhere) whose picture libmpv draws
// through the picture surface into a real window, read back as the counter clip's frame number.
// For tests inside tests/run-x.sh; create it after the application object. `reversalBytes`: the
// engine's room for the pictures kept by steps back.
class RenderHarness {
public:
    explicit RenderHarness(qint64 reversalBytes = MpvEngine::Options{}.reversalBytes);

    // Opens the file and waits until it is ready and its picture size is known.
    bool openAndWaitReady(const QString &path);
    // The frame number the counter clip shows now; -1 when none can be read.
    [[nodiscard]] int shownFrame();

private:
    MpvEngine m_engine;
    MemoryPreferences m_preferences;

public:
    PlaybackSession session{PlaybackSession::Services{m_engine, m_preferences}};

private:
    std::unique_ptr<QQuickView> m_view; // goes first, with the surface drawing the player
    QPointer<PictureSurface> m_surface;
};
