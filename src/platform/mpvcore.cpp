#include "mpvcore.h"

#include "trace.h"

#include <QFile>

#include <mpv/client.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <thread>

Q_LOGGING_CATEGORY(lcMpv, "lunelo.mpv")

namespace {

// Destroys mpv cores off the GUI thread: mpv_terminate_destroy() waits for the core to wind
// down its threads and outputs. Each core goes on a thread of its own, so one that is slow to
// stop holds up no other; a finished thread is joined at the next destruction (its stack stays
// mapped until then), the rest when the process exits. A core whose thread is stuck in the file
// system (a share that stopped answering) may never stop: the exit waits a moment, then leaves
// it behind.
class Reaper {
public:
    static Reaper &instance()
    {
        static Reaper reaper;
        return reaper;
    }

    void destroy(mpv_handle *handle)
    {
        std::lock_guard lock(m_mutex);
        joinFinished();
        auto done = std::make_shared<std::atomic_bool>(false);
        m_threads.push_back({std::thread([handle, done] {
                                 mpv_terminate_destroy(handle);
                                 *done = true;
                             }),
                             done});
    }

    ~Reaper()
    {
        std::vector<Destruction> threads;
        {
            std::lock_guard lock(m_mutex);
            threads.swap(m_threads);
        }
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
        for (auto &t : threads) {
            while (!*t.done && std::chrono::steady_clock::now() < deadline)
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
            if (*t.done)
                t.thread.join();
            else
                t.thread.detach();
        }
    }

private:
    struct Destruction {
        std::thread thread;
        std::shared_ptr<std::atomic_bool> done;
    };

    void joinFinished()
    {
        std::erase_if(m_threads, [](Destruction &d) {
            if (!*d.done)
                return false;
            d.thread.join(); // returns at once: the thread is past its work
            return true;
        });
    }

    std::mutex m_mutex;
    std::vector<Destruction> m_threads;
};

// Options that make a core a quiet, self-contained player of one local file. Every file is
// untrusted: it must not make the engine load anything but itself. Each of these was checked
// against mpv 0.35 with hostile files named .mp4 (M3U, PLS, HLS, DASH, EDL, CUE, ffconcat, a
// folder) pointing at a local HTTP listener or at other local files.
constexpr std::pair<const char *, const char *> kCoreOptions[] = {
    // No user configuration, profiles, scripts, downloader or remembered positions.
    {"config", "no"},
    {"load-scripts", "no"},
    {"ytdl", "no"},
    {"load-auto-profiles", "no"},
    {"resume-playback", "no"},
    {"save-position-on-quit", "no"},
    {"osc", "no"},
    {"load-stats-overlay", "no"},
    {"load-osd-console", "no"},
    // Nothing a file refers to is opened: playlists, manifests, EDL and CUE sheets, ordered
    // chapters, archives and folders all fail as unrecognised instead of being followed.
    {"access-references", "no"},
    {"ordered-chapters", "no"},
    {"load-unsafe-playlists", "no"},
    // And should anything still ask FFmpeg for a stream, only plain files are allowed, both
    // for mpv's own streams and for the demuxers' nested ones.
    {"stream-lavf-o", "protocol_whitelist=file"},
    {"demuxer-lavf-o", "protocol_whitelist=file"},
    // No files found beside the video (subtitles, audio, cover art).
    {"autoload-files", "no"},
    {"sub-auto", "no"},
    {"audio-file-auto", "no"},
    {"cover-art-auto", "no"},
    {"input-default-bindings", "no"},
    {"input-vo-keyboard", "no"},
    {"terminal", "no"},
    {"osd-level", "0"},
    {"idle", "yes"},
    // Hardware decoding where mpv knows it to be reliable; anything else decodes in software.
    {"hwdec", "auto-safe"},
    // The player stops on the last frame at the end and reports it (eof-reached).
    {"keep-open", "yes"},
    {"keep-open-pause", "yes"},
    // Nothing plays until the session asks for a rate.
    {"pause", "yes"},
    // A track that cannot be decoded, or an output that cannot start, is left out and the rest
    // plays (libmpv would stop the whole file): a broken picture still leaves the sound, a
    // missing sound device the picture. With nothing left, the file fails as nothing to play.
    {"stop-playback-on-init-failure", "no"},
    {"keepaspect", "yes"},
    // Rates other than 1 keep the pitch. mpv inserts scaletempo2 by itself, but mutes below
    // 0.25x; its ceiling stays at 4x, where it mutes too, because above about 7x scaletempo2
    // of mpv 0.35 writes past its buffers and brings the process down.
    {"af", "scaletempo2=min-speed=0:max-speed=4"},
    {"scale", "bilinear"},
    {"dscale", "bilinear"},
    {"cscale", "bilinear"},
};

} // namespace

void PictureLog::drew()
{
    std::lock_guard lock(m_mutex);
    ++m_drawn;
}

void PictureLog::swapped()
{
    std::lock_guard lock(m_mutex);
    if (m_shown == m_drawn)
        return;
    m_shown = m_drawn;
    m_shownAt = Trace::now();
    if (m_shown == 1)
        Trace::eventAt(m_shownAt, "first-frame");
    if (m_awaited && m_shown >= m_awaited->picture) {
        Trace::eventAt(m_shownAt, "seek-shown", m_awaited->target);
        m_awaited.reset();
    }
}

uint64_t PictureLog::drawn()
{
    std::lock_guard lock(m_mutex);
    return m_drawn;
}

void PictureLog::seekCompleted(const QString &target, uint64_t drawnBefore)
{
    std::lock_guard lock(m_mutex);
    const uint64_t picture = std::max(m_drawn, drawnBefore + 1);
    if (m_shown >= picture) {
        Trace::eventAt(m_shownAt, "seek-shown", target);
        m_awaited.reset();
    } else {
        m_awaited = Awaited{target, picture};
    }
}

MpvCore::MpvCore(QString file, const Settings &settings)
    : handle(mpv_create())
    , path(std::move(file))
    , m_hasOutput(!settings.drawsVideo)
{
    if (!handle)
        return;
    for (const auto &[name, value] : kCoreOptions) {
        if (mpv_set_option_string(handle, name, value) < 0)
            qCWarning(lcMpv) << "option refused:" << name << value;
    }
    mpv_set_option_string(handle, "vo", settings.drawsVideo ? "libmpv" : "null");
    // Backward steps keep the decoded pictures of one stretch between key frames, never more
    // than this.
    mpv_set_option_string(handle, "video-reversal-buffer",
                          QByteArray::number(settings.reversalBytes).constData());
    if (!settings.audioOutput.isEmpty())
        mpv_set_option_string(handle, "ao", settings.audioOutput.constData());
    for (const auto &[name, value] : settings.extraOptions)
        mpv_set_option_string(handle, name.constData(), value.constData());
    mpv_request_log_messages(handle, "error");
}

MpvCore::~MpvCore()
{
    if (handle)
        Reaper::instance().destroy(handle);
}

void MpvCore::proceed(std::atomic_bool &condition)
{
    condition = true;
    if (!handle || path.isEmpty() || !m_isFileChecked || !m_hasOutput || m_loadSent.exchange(true))
        return;
    const QByteArray file = QFile::encodeName(path);
    const char *cmd[] = {"loadfile", file.constData(), "replace", nullptr};
    mpv_command_async(handle, 0, cmd);
    Trace::event("load", path);
}
