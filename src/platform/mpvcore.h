#pragma once

#include "picturestretch.h"

#include <QByteArray>
#include <QLoggingCategory>
#include <QString>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

struct mpv_handle;

Q_DECLARE_LOGGING_CATEGORY(lcMpv)

// For the trace only: the pictures the renderer drew and the window showed, so that a seek's
// completion can be told the moment its picture reached the screen. Pictures are numbered from 1
// in the order the renderer draws them. Any thread.
class PictureLog {
public:
    // Render thread: render() drew a picture it had not drawn before.
    void drew();
    // Render thread: the window's buffer swap showed everything drawn so far.
    void swapped();
    // GUI thread: how many pictures were drawn so far.
    [[nodiscard]] uint64_t drawn();
    // GUI thread: the seek to `target`, sent when `drawnBefore` pictures had been drawn, has
    // completed. The engine completes a seek once the renderer took its picture (or gave up
    // waiting for it), so its picture is the newest drawn, and at least the first drawn after the
    // seek was sent. Traced as shown now if the window has shown it, else when it does.
    void seekCompleted(const QString &target, uint64_t drawnBefore);

private:
    struct Awaited {
        QString target;
        uint64_t picture = 0;
    };
    std::mutex m_mutex;
    uint64_t m_drawn = 0;
    uint64_t m_shown = 0;
    double m_shownAt = 0;
    std::optional<Awaited> m_awaited;
};

// A picture the player decoded itself, shown instead of the core's: a step back through a
// stretch (the core stays where it was), or the file's first picture until the core draws its
// own. Set on the GUI thread, drawn on the render thread.
class ShownPicture {
public:
    void show(StretchPictureRef picture)
    {
        std::lock_guard lock(m_mutex);
        m_picture = std::move(picture);
        ++m_changes;
    }
    [[nodiscard]] StretchPictureRef picture()
    {
        std::lock_guard lock(m_mutex);
        return m_picture;
    }
    // Counts the changes, so the renderer knows whether it has drawn the current state.
    [[nodiscard]] uint64_t changes() const { return m_changes.load(); }

private:
    std::mutex m_mutex;
    StretchPictureRef m_picture;
    std::atomic<uint64_t> m_changes = 0;
};

// One mpv core, shared by its player (GUI thread) and its renderer (render thread); the core is
// destroyed when both let go, so the render context is always freed before its core. The
// destruction waits for the core to stop, so it happens on a thread of its own; at the end of the
// process a core still stopping (stuck in the file system) gets 2 s, then is left behind.
struct MpvCore {
    struct Settings {
        bool drawsVideo = true;
        QByteArray audioOutput;   // empty: mpv's own choice
        qint64 reversalBytes = 0; // room for the pictures kept by backward steps
        std::vector<std::pair<QByteArray, QByteArray>> extraOptions; // set after ours
    };

    // A core made and configured for `file` (empty for a location that is not a file), not yet
    // initialised; `handle` is null when mpv could not make one.
    MpvCore(QString file, const Settings &settings);
    ~MpvCore();

    mpv_handle *handle = nullptr;
    const QString path;
    PictureLog pictures; // used only while tracing
    ShownPicture shown;
    ShownPicture opening; // dropped by the renderer once the core drew a picture

    // The file is loaded once it was found to be one the core can read without hanging, and,
    // for a player that draws, once its renderer exists. Each says so here, from any thread
    // (the renderer the moment it can draw, not to wait for the GUI thread to hear of it); the
    // last of the two loads the file.
    void fileChecked() { proceed(m_isFileChecked); }
    void outputReady() { proceed(m_hasOutput); }

private:
    void proceed(std::atomic_bool &condition);

    std::atomic_bool m_isFileChecked = false;
    std::atomic_bool m_hasOutput = false;
    std::atomic_bool m_loadSent = false;
};
