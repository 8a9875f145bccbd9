#pragma once

#include "mediaengine.h"

#include <chrono>
#include <memory>
#include <utility>
#include <vector>

// MediaEngine on libmpv. Each player owns its own mpv core, so that the events of one file can
// never be mistaken for those of the next; a core is cheap to create (a few milliseconds) and is
// destroyed on a background thread, because mpv_terminate_destroy() waits for the core to stop.
// Nothing here waits on a core from the GUI thread: a core stuck in the file system (a share that
// stopped answering) holds up its own threads only, never the window or the next file. Pipes,
// sockets and devices named like videos never reach a core: they fail with a message.
class DiskJobs;
class OpeningDecode;

class MpvEngine final : public MediaEngine {
public:
    struct Options {
        // False: decode without drawing (mpv's null video output), for tests without a window.
        // True: the player starts loading once its picture surface has created a renderer,
        // because mpv's video output can only start when a render context exists.
        bool drawsVideo = true;
        // mpv's audio output driver; empty keeps mpv's own choice ("null" in tests).
        QByteArray audioOutput;
        // The most the decoded pictures kept for stepping backward may hold, in bytes. The
        // player decodes the stretch before the playhead once and keeps its pictures, so that
        // the steps back show them without decoding again; where it cannot, the core turns
        // around, if the file's longest stretch between key frames fits (else every backward
        // step is an exact seek). 640 MiB: a 1080p stretch of 8 s at 25 frames a second, a
        // 2160p one of 2 s.
        qint64 reversalBytes = qint64(640) << 20;
        // How long a run of steps back at a key's repeat goes by exact seeks before it keeps
        // the pictures: a short hold lands sooner by seeks, which hold less than half the
        // memory.
        std::chrono::milliseconds turnBackAfter{1000};
    };
    // Further mpv options by name and value, set on every core after Lunelo's own: for tests and
    // tools (for example "ao-pcm-file", to record the sound).
    using MpvOptions = std::vector<std::pair<QByteArray, QByteArray>>;

    // `diskJobs`: where the players look at their files (before loading one, and to describe a
    // failure), away from the GUI thread; the engine makes its own when none is given.
    explicit MpvEngine(Options options, MpvOptions extraOptions = {},
                       std::shared_ptr<DiskJobs> diskJobs = {});

    std::unique_ptr<MediaPlayer> createPlayer(const QUrl &url) override;
    // Decodes the file's first picture meanwhile, to show before the player's core draws.
    void prepare(const QUrl &url) override;

private:
    Options m_options;
    std::shared_ptr<OpeningDecode> m_prepared;
    MpvOptions m_extraOptions;
    std::shared_ptr<DiskJobs> m_diskJobs;
};
