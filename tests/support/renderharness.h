#pragma once

#include "framecounter.h"
#include "memorypreferences.h"
#include "mpvengine.h"
#include "picturesurface.h"
#include "playbacksession.h"
#include "recordingengine.h"

#include <QImage>
#include <QPointer>
#include <QQuickView>

#include <memory>

// Shows a playback session's picture in a real window, drawn by libmpv through the picture surface
// as the player draws it (one surface per player, filling the window), and reads it back. The
// session runs on the real engine with its sound going nowhere; every seek it sends is recorded.
// For tests that run inside tests/run-x.sh. Create it after the application object.
// `reversalBytes`: the engine's room for the pictures kept by backward steps.
class RenderHarness {
public:
    explicit RenderHarness(QSize windowSize = QSize(640, 480),
                           qint64 reversalBytes = MpvEngine::Options{}.reversalBytes);
    ~RenderHarness();

    [[nodiscard]] PlaybackSession &session() { return m_session; }
    [[nodiscard]] QQuickView &view() { return *m_view; }
    // The surface showing the current player; null while nothing is open.
    [[nodiscard]] PictureSurface *surface() const { return m_surface; }
    // The current player with its record of seeks; null while nothing is open.
    [[nodiscard]] RecordingPlayer *player() const { return m_recorder.last(); }

    // Opens the file and waits until it is ready and its picture size is known.
    bool openAndWaitReady(const QString &path, int timeoutMs = 10000);
    // Waits until every seek sent has completed and the session has nothing left to send.
    bool waitForSeeksSettled(int timeoutMs = 10000);

    // The window's content as it is drawn now.
    [[nodiscard]] QImage grab();
    // Where the picture lies in images from grab().
    [[nodiscard]] QRectF pictureRect(const QImage &image) const;
    // The frame number the counter clip shows now; -1 when no counter can be read.
    [[nodiscard]] int shownFrame();

private:
    void showPlayer();

    MpvEngine m_engine;
    RecordingEngine m_recorder{m_engine};
    MemoryPreferences m_preferences;
    PlaybackSession m_session;
    std::unique_ptr<QQuickView> m_view;
    QPointer<PictureSurface> m_surface;
};
