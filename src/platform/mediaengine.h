#pragma once

#include <QObject>
#include <QRectF>
#include <QSizeF>
#include <QString>
#include <QUrl>

#include <functional>
#include <memory>
#include <optional>

// The media engine: a player for one file, with the observable quantities and callbacks the
// playback session reacts to. One MediaPlayer plays exactly one item, for its whole life; a new
// file gets a new player. That makes "the player this callback was made for" a plain identity
// check: a callback of a replaced player never reaches its successor.
//
// Threading: every function of MediaPlayer is called on the GUI thread and never blocks on the
// engine; every signal and completion is delivered on the GUI thread, from the event loop (never
// synchronously from inside the call that caused it). The only exception is
// createVideoRenderer(), which the picture surface calls on its render thread.
//
// Units: times in seconds, sizes in video pixels (the picture's display size), rates as playback
// speed factors (1 = normal), volume from 0 to 1.

// Why an item failed. Descriptions are short Portuguese sentences, ready for the error banner.
struct MediaError {
    enum class Code {
        Unknown,
        FileNotFound,
        NoPermissionToRead, // the process may not read the file (EACCES, EPERM)
        UnrecognizedFormat,
        NothingToPlay,     // a container without any video or audio we can decode
        UnsupportedSource, // a playlist, a manifest, a pipe, a socket, a device: not a plain file
    };
    Code code = Code::Unknown;
    QString description;
};

// What the engine knows of the item's first video track, in the terms the session needs for the
// rotated display size and the frame duration.
struct VideoTrack {
    QSizeF naturalSize{0, 0};    // display size before rotation; 0 × 0 when unknown
    int rotation = 0;            // clockwise degrees the picture is turned for display
    double nominalFrameRate = 0; // frames per second declared by the container; 0 when unknown
    double minFrameDuration = 0; // seconds between the closest two frames; 0 when unknown
};

// Draws the player's current picture into an OpenGL framebuffer. Render thread only; created and
// destroyed there with the scene's OpenGL context current.
class VideoRenderer {
public:
    virtual ~VideoRenderer() = default;
    // Draws the newest frame over the whole of OpenGL framebuffer `fbo` (0: the window's own) of
    // `pixelSize` device pixels, in OpenGL's orientation (the first row at the bottom). `picture`:
    // where the picture lies in it, in device pixels from the top left corner.
    virtual void render(unsigned fbo, QSize pixelSize, const QRectF &picture) = 0;
    // Whether the engine asked for a render since the last one: for a new frame, or for the same
    // one drawn anew (after a change of zoom, say), or whether it would draw its picture
    // elsewhere now that it lies at `picture`. Until then render() would draw again exactly what
    // it drew last. True before the first render().
    [[nodiscard]] virtual bool hasUpdate(const QRectF &picture) const
    {
        Q_UNUSED(picture)
        return true;
    }
    // Whether render() has drawn a frame of the video yet (before that it draws black).
    [[nodiscard]] virtual bool hasDrawnPicture() const { return false; }
    // The window's buffer swap has put on screen what render() drew last.
    virtual void frameSwapped() {}
};

class MediaPlayer : public QObject {
    Q_OBJECT
public:
    enum class Status {
        Unknown,
        ReadyToPlay,
        Failed,
    };
    Q_ENUM(Status)

    enum class SeekMode {
        // Lands on the first frame that starts at or after the target. A frame that starts less
        // than 5 ms before the target counts as starting at it, so that a target computed from a
        // frame's time (in floating point, on a grid of 1/600 s) lands on that frame.
        Exact,
        Approximate, // lands on a nearby key frame, quickly
    };

    ~MediaPlayer() override = default;

    [[nodiscard]] virtual QUrl url() const = 0;
    [[nodiscard]] virtual Status status() const = 0;
    // Set once the status is Failed.
    [[nodiscard]] virtual std::optional<MediaError> error() const = 0;
    // Display size of the picture after rotation; 0 × 0 while unknown.
    [[nodiscard]] virtual QSizeF presentationSize() const = 0;
    // Seconds; 0 while unknown, may be infinite for endless streams.
    [[nodiscard]] virtual double duration() const = 0;
    // The playhead in seconds: during a seek, the seek's target; after an exact seek, its target
    // until playback runs again; at the end of the item, the duration.
    [[nodiscard]] virtual double currentTime() const = 0;

    // Playback speed, 0 while paused. Setting a positive rate plays at that rate; 0 pauses.
    // The value reads back at once; the engine itself may later pause (at the end of the item),
    // which reads as 0 from then on.
    [[nodiscard]] virtual float rate() const = 0;
    virtual void setRate(float rate) = 0;
    void pause() { setRate(0.0f); }

    virtual void setVolume(float volume) = 0;
    virtual void setMuted(bool muted) = 0;

    // Moves the playhead to `seconds`. `completion` runs exactly once, on the GUI thread, when
    // the engine shows the target (or gave up on it); seeks sent before a completion arrives
    // complete with it. A player destroyed first never runs its pending completions.
    virtual void seek(double seconds, SeekMode mode, std::function<void()> completion) = 0;

    // The first video track as far as it is known now; nothing while loading or without video.
    [[nodiscard]] virtual std::optional<VideoTrack> videoTrack() const = 0;
    // Calls `done` once, on the GUI thread, when the first video track is known: with the track,
    // or with nothing when the item has no video or failed to load.
    virtual void loadVideoTrack(std::function<void(std::optional<VideoTrack>)> done) = 0;

    // The part of the picture shown: `scale` times the fitted picture, its centre moved by
    // `panX` and `panY` times the scaled picture's width and height. Applied at once.
    virtual void setVideoZoom(double scale, double panX, double panY) = 0;

    // Render thread, with the scene's OpenGL context current: a renderer for this player's
    // picture, or nothing when the engine draws no video (as in tests). The engine may start
    // loading the file from here. `frameReady` may be called on any thread when a new frame
    // waits.
    virtual std::unique_ptr<VideoRenderer> createVideoRenderer(std::function<void()> frameReady)
    {
        Q_UNUSED(frameReady)
        return nullptr;
    }

signals:
    void statusChanged();
    void presentationSizeChanged();
    void durationChanged();
    // About 30 times a second while playing, and once whenever the playhead jumps or playback
    // starts or stops. Carries the playhead in seconds.
    void tick(double seconds);
    // Playback reached the end of the item; the player has paused itself on the last frame. A
    // paused player sent to the end does not report it.
    void reachedEnd();

protected:
    using QObject::QObject;
};

class MediaEngine {
public:
    virtual ~MediaEngine() = default;
    // A new player for the file at `url`. Loading starts at once (or as soon as the player's
    // picture has somewhere to go); the result is reported through statusChanged.
    virtual std::unique_ptr<MediaPlayer> createPlayer(const QUrl &url) = 0;
    // A player for `url` will be asked for soon (once the disk has answered for it): the engine
    // may start reading the file meanwhile.
    virtual void prepare(const QUrl &url) { Q_UNUSED(url) }
};
