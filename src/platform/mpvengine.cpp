#include "mpvengine.h"

#include "diskjobs.h"
#include "keyframes.h"
#include "trace.h"
#include "windowsystem.h"

#include <QFileInfo>
#include <QLoggingCategory>
#include <QMetaObject>
#include <QOpenGLContext>

#include <mpv/client.h>
#include <mpv/render_gl.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <fcntl.h>
#include <mutex>
#include <optional>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

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

// For the trace only: the pictures the renderer drew and the window showed, so that a seek's
// completion can be told the moment its picture reached the screen. Pictures are numbered from 1
// in the order the renderer draws them. Any thread.
class PictureLog {
public:
    // Render thread: render() drew a picture it had not drawn before.
    void drew()
    {
        std::lock_guard lock(m_mutex);
        ++m_drawn;
    }

    // Render thread: the window's buffer swap showed everything drawn so far.
    void swapped()
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

    // GUI thread: how many pictures were drawn so far.
    [[nodiscard]] uint64_t drawn()
    {
        std::lock_guard lock(m_mutex);
        return m_drawn;
    }

    // GUI thread: the seek to `target`, sent when `drawnBefore` pictures had been drawn, has
    // completed. The engine completes a seek once the renderer took its picture (or gave up
    // waiting for it), so its picture is the newest drawn, and at least the first drawn after
    // the seek was sent. Traced as shown now if the window has shown it, else when it does.
    void seekCompleted(const QString &target, uint64_t drawnBefore)
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

// One mpv core, shared by its player (GUI thread) and its renderer (render thread); the core is
// destroyed when both let go, so the render context is always freed before its core.
struct MpvCore {
    MpvCore(QString file, bool drawsVideo)
        : path(std::move(file))
        , m_hasOutput(!drawsVideo)
    {
    }
    mpv_handle *handle = nullptr;
    // The file to play; empty for a location that is not a file.
    const QString path;
    PictureLog pictures; // used only while tracing
    ~MpvCore()
    {
        if (handle)
            Reaper::instance().destroy(handle);
    }

    // The file is loaded once it was found to be one the core can read without hanging, and,
    // for a player that draws, once its renderer exists. Each says so here, from any thread
    // (the renderer the moment it can draw, not to wait for the GUI thread to hear of it); the
    // last of the two loads the file.
    void fileChecked() { proceed(m_isFileChecked); }
    void outputReady() { proceed(m_hasOutput); }

private:
    void proceed(std::atomic_bool &condition)
    {
        condition = true;
        if (!handle || path.isEmpty() || !m_isFileChecked || !m_hasOutput ||
            m_loadSent.exchange(true))
            return;
        const QByteArray file = QFile::encodeName(path);
        const char *cmd[] = {"loadfile", file.constData(), "replace", nullptr};
        mpv_command_async(handle, 0, cmd);
        Trace::event("load", path);
    }

    std::atomic_bool m_isFileChecked = false;
    std::atomic_bool m_hasOutput = false;
    std::atomic_bool m_loadSent = false;
};

// Sent by the renderer to its own core once the render context exists, so the player learns on
// the GUI thread, in order with the core's other events, that video output can start.
constexpr const char *kVideoOutputMessage = "lunelo-video-output";

enum class Reply : uint64_t {
    None = 0,
    SetPause,
    PauseState,
    LoadedDuration,
    LoadedVideoTrack,
    FirstSeekId = 1000, // seek commands carry their own ids from here on
};

enum class Prop : uint64_t {
    Duration = 1,
    TimePos,
    VideoParams,
    Pause,
    EofReached,
    ContainerFps,
    EstimatedFps,
    Seekable,
    HardwareDecoder,
    FrameDrops,
    DecoderDrops,
};

struct ObservedProperty {
    Prop id;
    const char *name;
    mpv_format format;
};

constexpr ObservedProperty kObserved[] = {
    {Prop::Duration, "duration", MPV_FORMAT_DOUBLE},
    {Prop::TimePos, "time-pos", MPV_FORMAT_DOUBLE},
    {Prop::VideoParams, "video-params", MPV_FORMAT_NODE},
    {Prop::Pause, "pause", MPV_FORMAT_FLAG},
    {Prop::EofReached, "eof-reached", MPV_FORMAT_FLAG},
    {Prop::ContainerFps, "container-fps", MPV_FORMAT_DOUBLE},
    {Prop::EstimatedFps, "estimated-vf-fps", MPV_FORMAT_DOUBLE},
    {Prop::Seekable, "seekable", MPV_FORMAT_FLAG},
    {Prop::HardwareDecoder, "hwdec-current", MPV_FORMAT_STRING},
};

// Observed only while tracing: the frames the engine dropped, late for display (vo) or skipped
// before decoding. A benchmark needs them to know that every frame was drawn.
constexpr ObservedProperty kTracedOnly[] = {
    {Prop::FrameDrops, "frame-drop-count", MPV_FORMAT_INT64},
    {Prop::DecoderDrops, "decoder-frame-drop-count", MPV_FORMAT_INT64},
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

// Error-level engine messages that are part of normal operation: probing a hardware decoder
// that this machine lacks fails loudly before mpv falls back to software decoding.
constexpr std::pair<const char *, const char *> kExpectedLogMessages[] = {
    {"ffmpeg", "AVHWDeviceContext:"},
    {"vaapi", "libva:"},
};

bool isExpectedLogMessage(const mpv_event_log_message &message)
{
    for (const auto &[prefix, text] : kExpectedLogMessages) {
        if (qstrcmp(message.prefix, prefix) == 0 &&
            qstrncmp(message.text, text, qstrlen(text)) == 0)
            return true;
    }
    return false;
}

QByteArray number(double value)
{
    return QByteArray::number(value, 'f', 6);
}

double mapDouble(const mpv_node_list *map, const char *key)
{
    for (int i = 0; map && i < map->num; ++i) {
        if (qstrcmp(map->keys[i], key) != 0)
            continue;
        const mpv_node &n = map->values[i];
        if (n.format == MPV_FORMAT_INT64)
            return double(n.u.int64);
        if (n.format == MPV_FORMAT_DOUBLE)
            return n.u.double_;
    }
    return 0;
}

QByteArray mapString(const mpv_node_list *map, const char *key)
{
    for (int i = 0; map && i < map->num; ++i) {
        if (qstrcmp(map->keys[i], key) == 0 && map->values[i].format == MPV_FORMAT_STRING)
            return map->values[i].u.string;
    }
    return {};
}

const QString kPlaylistMessage =
    QStringLiteral("Este arquivo é uma lista de reprodução, não um vídeo.");

// How text files that list other media begin (playlists, streaming manifests, edit lists).
// Such a file named like a video is refused, never followed; the user learns what it is.
constexpr const char *kPlaylistSignatures[] = {
    "#EXTM3U", "[playlist]", "# mpv EDL", "ffconcat version", "<MPD",
};

bool looksLikePlaylist(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    QByteArray head = file.read(512);
    if (head.startsWith("\xEF\xBB\xBF"))
        head.remove(0, 3);
    const QByteArray start = head.trimmed().left(32).toLower();
    for (const char *signature : kPlaylistSignatures) {
        const QByteArray s = QByteArray(signature).toLower();
        // A DASH manifest's root element follows an XML declaration.
        if (s.startsWith('<') ? head.toLower().contains(s) : start.startsWith(s))
            return true;
    }
    return false;
}

const QString kSpecialFileMessage =
    QStringLiteral("Este é um arquivo especial do sistema (pipe, soquete ou dispositivo), não um "
                   "vídeo.");

// Whether the file at `path` is a pipe, a socket or a device (links followed): the core would
// wait for a pipe's writer for good, or read a device without end. Blocks on the file system.
bool isSpecialFile(const QString &path)
{
    struct stat info {};
    return ::stat(QFile::encodeName(path).constData(), &info) == 0 &&
           (S_ISFIFO(info.st_mode) || S_ISSOCK(info.st_mode) || S_ISCHR(info.st_mode) ||
            S_ISBLK(info.st_mode));
}

// The error the user sees for a file that did not load. The file itself is asked first: a
// vanished or unreadable file says so, whatever the demuxer made of it. Blocks on the file
// system.
MediaError describeFailure(const QString &path, int mpvError)
{
    using Code = MediaError::Code;
    if (path.isEmpty())
        return {Code::UnsupportedSource,
                QStringLiteral("Este endereço não é um arquivo de vídeo.")};
    // Permission first: a file in a folder the process may not enter does not seem to exist.
    const QByteArray native = QFile::encodeName(path);
    const int fd = ::open(native.constData(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0 && (errno == EACCES || errno == EPERM))
        return {Code::NoPermissionToRead, QStringLiteral("Sem permissão para ler este vídeo.")};
    if (fd >= 0)
        ::close(fd);
    const QFileInfo info(path);
    if (!info.exists())
        return {Code::FileNotFound,
                QStringLiteral("O vídeo não foi encontrado. Ele pode ter sido movido ou apagado.")};
    if (info.isDir()) // named like a video, met among a folder's videos
        return {Code::UnsupportedSource,
                QStringLiteral("Esta é uma pasta, não um arquivo de vídeo.")};
    switch (mpvError) {
    case MPV_ERROR_UNKNOWN_FORMAT:
        if (looksLikePlaylist(path))
            return {Code::UnsupportedSource, kPlaylistMessage};
        return {Code::UnrecognizedFormat,
                QStringLiteral("O formato deste arquivo não é reconhecido.")};
    case MPV_ERROR_NOTHING_TO_PLAY:
        return {Code::NothingToPlay,
                QStringLiteral("Este arquivo não tem imagem nem som que o Lunelo consiga "
                               "reproduzir.")};
    default:
        return {Code::Unknown, QStringLiteral("Não foi possível abrir este vídeo.")};
    }
}

void *glProcAddress(void *, const char *name)
{
    QOpenGLContext *context = QOpenGLContext::currentContext();
    return context ? reinterpret_cast<void *>(context->getProcAddress(name)) : nullptr;
}

// The render parameter that hands mpv the application's display connection, through which
// hardware decoders share their frames with OpenGL; the list's end where there is none.
mpv_render_param displayParameter(const WindowSystem::NativeDisplay &display)
{
    switch (display.kind) {
    case WindowSystem::NativeDisplay::Kind::X11:
        return {MPV_RENDER_PARAM_X11_DISPLAY, display.handle};
    case WindowSystem::NativeDisplay::Kind::Wayland:
        return {MPV_RENDER_PARAM_WL_DISPLAY, display.handle};
    case WindowSystem::NativeDisplay::Kind::None:
        break;
    }
    return {MPV_RENDER_PARAM_INVALID, nullptr};
}

class MpvVideoRenderer final : public VideoRenderer {
public:
    MpvVideoRenderer(std::shared_ptr<MpvCore> core, WindowSystem::NativeDisplay display,
                     std::function<void()> frameReady)
        : m_core(std::move(core))
        , m_display(display)
        , m_frameReady(std::move(frameReady))
    {
        create();
    }

    ~MpvVideoRenderer() override
    {
        if (m_context) {
            mpv_render_context_set_update_callback(m_context, nullptr, nullptr);
            mpv_render_context_free(m_context);
        }
    }

    [[nodiscard]] bool hasUpdate() const override
    {
        return !m_context || m_updates.load() != m_renderedUpdates;
    }

    void render(unsigned fbo, QSize pixelSize) override
    {
        if (!m_context)
            return;
        m_renderedUpdates = m_updates.load();
        const uint64_t flags = mpv_render_context_update(m_context);
        const bool newPicture =
            (flags & MPV_RENDER_UPDATE_FRAME) && Trace::enabled() && isNewPicture();
        mpv_opengl_fbo target{int(fbo), pixelSize.width(), pixelSize.height(), 0};
        int flipY = 1; // OpenGL's orientation: the first row at the bottom
        mpv_render_param params[] = {
            {MPV_RENDER_PARAM_OPENGL_FBO, &target},
            {MPV_RENDER_PARAM_FLIP_Y, &flipY},
            {MPV_RENDER_PARAM_INVALID, nullptr},
        };
        mpv_render_context_render(m_context, params);
        if (flags & MPV_RENDER_UPDATE_FRAME)
            m_hasDrawnPicture = true;
        if (newPicture)
            m_core->pictures.drew();
    }

    [[nodiscard]] bool hasDrawnPicture() const override { return m_hasDrawnPicture; }

    void frameSwapped() override
    {
        if (Trace::enabled())
            m_core->pictures.swapped();
    }

private:
    // Whether the frame that waits is a picture not drawn before (not a redraw of the last one).
    bool isNewPicture()
    {
        mpv_render_frame_info info{};
        mpv_render_param param{MPV_RENDER_PARAM_NEXT_FRAME_INFO, &info};
        if (mpv_render_context_get_info(m_context, param) < 0)
            return false;
        return (info.flags & MPV_RENDER_FRAME_INFO_PRESENT) &&
               !(info.flags & MPV_RENDER_FRAME_INFO_REDRAW);
    }

    // Made at once, while the scene still prepares its first frame, so that the file loads
    // meanwhile.
    void create()
    {
        mpv_opengl_init_params gl{glProcAddress, nullptr};
        const char *api = MPV_RENDER_API_TYPE_OPENGL;
        // The display, when there is one, lets hardware decoding hand frames to OpenGL
        // without a copy; without it mpv decodes in software or copies back. (Without a
        // display its entry is the list's end.)
        mpv_render_param params[] = {
            {MPV_RENDER_PARAM_API_TYPE, const_cast<char *>(api)},
            {MPV_RENDER_PARAM_OPENGL_INIT_PARAMS, &gl},
            displayParameter(m_display),
            {MPV_RENDER_PARAM_INVALID, nullptr},
        };
        if (mpv_render_context_create(&m_context, m_core->handle, params) < 0) {
            qCWarning(lcMpv) << "could not create the video renderer";
            m_context = nullptr;
        } else {
            mpv_render_context_set_update_callback(
                m_context,
                [](void *self) {
                    auto *renderer = static_cast<MpvVideoRenderer *>(self);
                    ++renderer->m_updates;
                    renderer->m_frameReady();
                },
                this);
        }
        // Without a renderer the file still loads, and plays its sound.
        m_core->outputReady();
        const char *cmd[] = {"script-message", kVideoOutputMessage, nullptr};
        mpv_command_async(m_core->handle, 0, cmd);
    }

    std::shared_ptr<MpvCore> m_core;
    const WindowSystem::NativeDisplay m_display;
    std::function<void()> m_frameReady;
    mpv_render_context *m_context = nullptr;
    // The engine's requests for a render (any thread), and how many the last render answered.
    std::atomic<uint64_t> m_updates = 0;
    uint64_t m_renderedUpdates = 0;
    bool m_hasDrawnPicture = false;
};

class MpvPlayer final : public MediaPlayer {
public:
    MpvPlayer(const QUrl &url, const MpvEngine::Options &options,
              const MpvEngine::MpvOptions &extraOptions, std::shared_ptr<DiskJobs> diskJobs)
        : m_url(url)
        , m_drawsVideo(options.drawsVideo)
        , m_display(options.drawsVideo ? WindowSystem::nativeDisplay()
                                       : WindowSystem::NativeDisplay{})
        , m_core(std::make_shared<MpvCore>(url.isLocalFile() ? url.toLocalFile() : QString(),
                                           options.drawsVideo))
        , m_diskJobs(std::move(diskJobs))
        , m_reversalBytes(options.reversalBytes)
    {
        mpv_handle *h = mpv_create();
        m_core->handle = h;
        if (!h) {
            failLater(MPV_ERROR_NOMEM);
            return;
        }
        for (const auto &[name, value] : kCoreOptions) {
            if (mpv_set_option_string(h, name, value) < 0)
                qCWarning(lcMpv) << "option refused:" << name << value;
        }
        mpv_set_option_string(h, "vo", m_drawsVideo ? "libmpv" : "null");
        // Backward steps keep the decoded pictures of one stretch between key frames, never
        // more than this.
        mpv_set_option_string(h, "video-reversal-buffer",
                              QByteArray::number(m_reversalBytes).constData());
        if (!options.audioOutput.isEmpty())
            mpv_set_option_string(h, "ao", options.audioOutput.constData());
        for (const auto &[name, value] : extraOptions)
            mpv_set_option_string(h, name.constData(), value.constData());
        mpv_request_log_messages(h, "error");
        mpv_set_wakeup_callback(h, &MpvPlayer::wakeup, this);
        if (mpv_initialize(h) < 0) {
            failLater(MPV_ERROR_UNINITIALIZED);
            return;
        }
        for (const auto &p : kObserved)
            mpv_observe_property(h, uint64_t(p.id), p.name, p.format);
        if (Trace::enabled()) {
            for (const auto &p : kTracedOnly)
                mpv_observe_property(h, uint64_t(p.id), p.name, p.format);
        }
        if (m_core->path.isEmpty()) {
            failLater(MPV_ERROR_LOADING_FAILED);
            return;
        }
        // Away from the GUI thread, which a stalled disk must never hold up.
        m_diskJobs->run(
            this,
            [core = m_core] {
                const bool special = isSpecialFile(core->path);
                if (!special)
                    core->fileChecked();
                return special;
            },
            [this](bool special) {
                if (special)
                    failWith({MediaError::Code::UnsupportedSource, kSpecialFileMessage});
            });
    }

    ~MpvPlayer() override
    {
        if (mpv_handle *h = m_core->handle) {
            mpv_set_wakeup_callback(h, nullptr, nullptr);
            const char *cmd[] = {"stop", nullptr};
            mpv_command_async(h, 0, cmd);
        }
    }

    QUrl url() const override { return m_url; }
    Status status() const override { return m_status; }
    std::optional<MediaError> error() const override { return m_error; }
    QSizeF presentationSize() const override { return m_presentationSize; }
    double duration() const override { return m_duration; }
    double currentTime() const override { return m_time; }
    float rate() const override { return m_paused ? 0.0f : m_speed; }

    void setRate(float rate) override
    {
        if (!m_core->handle)
            return;
        if (rate > 0) {
            if (rate != m_speed) {
                m_speed = rate;
                double speed = rate;
                mpv_set_property_async(m_core->handle, 0, "speed", MPV_FORMAT_DOUBLE, &speed);
            }
            setPaused(false);
        } else {
            setPaused(true);
        }
    }

    void setVolume(float volume) override
    {
        // The volume is a linear gain; mpv's volume v applies a gain of (v / 100)^3.
        double v = std::cbrt(std::clamp(double(volume), 0.0, 1.0)) * 100.0;
        if (m_core->handle)
            mpv_set_property_async(m_core->handle, 0, "volume", MPV_FORMAT_DOUBLE, &v);
    }

    void setMuted(bool muted) override
    {
        int flag = muted ? 1 : 0;
        if (m_core->handle)
            mpv_set_property_async(m_core->handle, 0, "mute", MPV_FORMAT_FLAG, &flag);
    }

    void seek(double seconds, SeekMode mode, std::function<void()> completion) override
    {
        const uint64_t id = m_nextSeekId++;
        const bool exact = mode == SeekMode::Exact;
        std::optional<double> back = exact ? previousFrame(seconds) : std::nullopt;
        // The first step back of a run is an exact seek: turning the core around costs several
        // of those. Only a step that follows another at a key's repeat turns it.
        const auto now = std::chrono::steady_clock::now();
        const bool repeated = back && m_lastBackStep && now - *m_lastBackStep < kKeyRepeat;
        m_lastBackStep = back ? std::optional(now) : std::nullopt;
        const bool backSeek = back && m_direction == Direction::Forward && !repeated;
        if (backSeek)
            back.reset();
        const bool step =
            exact && !back && m_direction == Direction::Forward && isNextFrame(seconds);
        SeekStage stage = step ? SeekStage::Stepping : SeekStage::Sent;
        if (back && m_direction == Direction::Forward && !m_seeks.empty())
            stage = SeekStage::Waiting;
        else if (back)
            stage =
                m_direction == Direction::Backward ? SeekStage::SteppingBack : SeekStage::Turning;
        else
            turnForward();
        m_seeks.push_back({id, stage, std::move(completion), seconds});
        m_seeks.back().backSeek = backSeek;
        if (back) // the step's frame is the newest that starts before this
            m_seeks.back().reach = seconds + *back - 0.005;
        m_time = seconds;
        m_holdsSeekTarget = mode == SeekMode::Exact && !m_playRequested;
        m_seekedSinceEnd = true;
        // The playhead jumps now. Announced from the event loop, after any tick of the old
        // position still on its way, so the old position cannot have the last word.
        QMetaObject::invokeMethod(
            this, [this] { announceTime(); }, Qt::QueuedConnection);
        const QByteArray target = number(seconds);
        const char *flags = mode == SeekMode::Exact ? "absolute+exact" : "absolute+keyframes";
        if (Trace::enabled()) {
            m_seeks.back().drawnBefore = m_core->pictures.drawn();
            const char *kind = back ? "back" : step ? "step" : exact ? "exact" : "keyframes";
            Trace::event("seek",
                         QString::fromLatin1(target) + QLatin1Char(' ') + QLatin1String(kind));
        }
        if (stage == SeekStage::Waiting)
            return;
        if (stage == SeekStage::Turning) {
            // The step goes out once the core has turned around.
            if (m_direction == Direction::Forward)
                turnBackward();
            return;
        }
        if (stage != SeekStage::Sent) {
            sendStep(id);
            return;
        }
        const char *cmd[] = {"seek", target.constData(), flags, nullptr};
        if (!m_core->handle || mpv_command_async(m_core->handle, id, cmd) < 0)
            finishSeek(id);
    }

    std::optional<VideoTrack> videoTrack() const override
    {
        if (m_naturalSize.isEmpty())
            return std::nullopt;
        return VideoTrack{m_naturalSize, m_rotation, m_containerFps,
                          m_estimatedFps > 0 ? 1.0 / m_estimatedFps : 0.0};
    }

    void loadVideoTrack(std::function<void(std::optional<VideoTrack>)> done) override
    {
        if (m_trackSettled) {
            QMetaObject::invokeMethod(
                this, [done = std::move(done), track = videoTrack()] { done(track); },
                Qt::QueuedConnection);
            return;
        }
        m_trackWaiters.push_back(std::move(done));
    }

    void setVideoZoom(double scale, double panX, double panY) override
    {
        mpv_handle *h = m_core->handle;
        if (!h)
            return;
        double zoom = std::log2(std::max(scale, 1e-6));
        if (zoom != m_zoom) {
            m_zoom = zoom;
            mpv_set_property_async(h, 0, "video-zoom", MPV_FORMAT_DOUBLE, &zoom);
        }
        if (panX != m_panX) {
            m_panX = panX;
            mpv_set_property_async(h, 0, "video-pan-x", MPV_FORMAT_DOUBLE, &panX);
        }
        if (panY != m_panY) {
            m_panY = panY;
            mpv_set_property_async(h, 0, "video-pan-y", MPV_FORMAT_DOUBLE, &panY);
        }
    }

    std::unique_ptr<VideoRenderer> createVideoRenderer(std::function<void()> frameReady) override
    {
        if (!m_drawsVideo || !m_core->handle)
            return nullptr;
        return std::make_unique<MpvVideoRenderer>(m_core, m_display, std::move(frameReady));
    }

private:
    // A seek goes to the core (Sent), the core takes the command (Accepted), starts it, alone or
    // with others queued beside it (Started), and shows its target at the next playback
    // restart, where it completes. A seek to the next frame is a step instead (Stepping): the
    // core decodes one more frame, and the step completes when the playhead reaches it. A seek
    // to the previous frame is a step of the core playing backward (SteppingBack), sent once
    // the core has turned around (Turning), which waits for the exact seeks back before it to
    // show their frames (Waiting); it completes when the playhead goes below `reach`.
    enum class SeekStage {
        Sent,
        Accepted,
        Started,
        Stepping,
        Waiting,
        Turning,
        SteppingBack,
    };
    struct PendingSeek {
        uint64_t id;
        SeekStage stage;
        std::function<void()> completion;
        double target = 0;
        uint64_t drawnBefore = 0; // pictures drawn when it was sent; only while tracing
        double reach = 0;         // backward steps only, seconds
        bool backSeek = false;    // an exact seek to the frame before, the first of a run
    };

    // Faster than a hand presses a key again, slower than any key repeats.
    static constexpr std::chrono::milliseconds kKeyRepeat{150};

    // Which way the core plays. Stepping backward turns it around (mpv's play-dir): it then
    // decodes the stretch from the key frame before the playhead once, keeps those pictures and
    // shows them one by one, newest first, for a backward frame-step each. Turning around is an
    // exact seek of the core's own to where it stands; the core has turned once that seek has
    // started (Turned) and restarted. Any other seek, and playing, turn it forward again, with
    // the seek that goes out after it (mpv's own seek to where it stood gives way to it).
    enum class Direction {
        Forward,
        Turning,
        Turned,
        Backward,
    };

    static void wakeup(void *self)
    {
        auto *player = static_cast<MpvPlayer *>(self);
        if (player->m_wakeupPosted.exchange(true))
            return;
        QMetaObject::invokeMethod(player, &MpvPlayer::drainEvents, Qt::QueuedConnection);
    }

    void drainEvents()
    {
        m_wakeupPosted = false;
        mpv_handle *h = m_core->handle;
        while (h) {
            mpv_event *event = mpv_wait_event(h, 0);
            if (event->event_id == MPV_EVENT_NONE)
                break;
            handle(*event);
        }
    }

    void handle(const mpv_event &event)
    {
        switch (event.event_id) {
        case MPV_EVENT_PROPERTY_CHANGE:
            propertyChanged(Prop(event.reply_userdata),
                            *static_cast<mpv_event_property *>(event.data));
            break;
        case MPV_EVENT_FILE_LOADED: {
            // Ready once the duration is in hand, so that readiness and length arrive together.
            mpv_get_property_async(m_core->handle, uint64_t(Reply::LoadedDuration), "duration",
                                   MPV_FORMAT_DOUBLE);
            mpv_get_property_async(m_core->handle, uint64_t(Reply::LoadedVideoTrack), "vid",
                                   MPV_FORMAT_NODE);
            break;
        }
        case MPV_EVENT_GET_PROPERTY_REPLY:
            propertyReply(Reply(event.reply_userdata), event.error,
                          *static_cast<mpv_event_property *>(event.data));
            break;
        case MPV_EVENT_SET_PROPERTY_REPLY:
            // The core may have paused by itself while our pauses were on their way (at the end
            // of the file, where it keeps the last frame), and that change was passed over as
            // older than ours: once the last one is in, ask for the state itself.
            if (Reply(event.reply_userdata) == Reply::SetPause && m_pendingPauseSets > 0 &&
                --m_pendingPauseSets == 0) {
                mpv_get_property_async(m_core->handle, uint64_t(Reply::PauseState), "pause",
                                       MPV_FORMAT_FLAG);
            }
            break;
        case MPV_EVENT_COMMAND_REPLY:
            if (event.reply_userdata >= uint64_t(Reply::FirstSeekId))
                seekAccepted(event.reply_userdata, event.error);
            break;
        case MPV_EVENT_SEEK:
            if (m_direction == Direction::Turning)
                m_direction = Direction::Turned;
            // The core started the seeks it had taken (several queued ones start as one); the
            // next restart is theirs. A restart that comes first belongs to an earlier seek or
            // to the loading of the file.
            for (PendingSeek &seek : m_seeks) {
                if (seek.stage == SeekStage::Accepted)
                    seek.stage = SeekStage::Started;
            }
            break;
        case MPV_EVENT_PLAYBACK_RESTART: {
            if (m_direction == Direction::Turned) {
                // Turned around, on the frame shown before: the backward steps go out.
                m_direction = Direction::Backward;
                for (PendingSeek &seek : m_seeks) {
                    if (seek.stage == SeekStage::Turning) {
                        seek.stage = SeekStage::SteppingBack;
                        sendStep(seek.id);
                    }
                }
                break;
            }
            // A step still on its way was sent before the seek that restarted, and the seek has
            // overtaken it.
            const auto restarted = [](const PendingSeek &s) {
                return s.stage == SeekStage::Started || s.stage == SeekStage::Stepping ||
                       s.stage == SeekStage::Turning || s.stage == SeekStage::SteppingBack;
            };
            if (Trace::enabled())
                traceSeekShown(restarted);
            completeSeeks(restarted);
            announceTime();
            break;
        }
        case MPV_EVENT_END_FILE: {
            const auto *end = static_cast<mpv_event_end_file *>(event.data);
            if (end->reason == MPV_END_FILE_REASON_ERROR)
                fail(end->error);
            else if (end->reason == MPV_END_FILE_REASON_REDIRECT)
                failRedirect();
            // Nothing restarts after the end of the file.
            completeAllSeeks();
            break;
        }
        case MPV_EVENT_CLIENT_MESSAGE: {
            const auto *msg = static_cast<mpv_event_client_message *>(event.data);
            if (msg->num_args >= 1 && qstrcmp(msg->args[0], kVideoOutputMessage) == 0)
                videoOutputReady();
            break;
        }
        case MPV_EVENT_LOG_MESSAGE: {
            const auto *msg = static_cast<mpv_event_log_message *>(event.data);
            if (isExpectedLogMessage(*msg))
                break;
            qCWarning(lcMpv).noquote() << msg->prefix << QString::fromUtf8(msg->text).trimmed();
            break;
        }
        default:
            break;
        }
    }

    void propertyChanged(Prop id, const mpv_event_property &p)
    {
        const bool has = p.format != MPV_FORMAT_NONE && p.data;
        switch (id) {
        case Prop::Duration: {
            const double d = has ? *static_cast<double *>(p.data) : 0.0;
            if (m_status == Status::ReadyToPlay && d != m_duration) {
                m_duration = d;
                emit durationChanged();
            }
            break;
        }
        case Prop::TimePos: {
            if (has && !m_seeks.empty())
                playheadMoved(*static_cast<double *>(p.data));
            // While seeking, and paused after an exact seek, the playhead reads as the seek's
            // target (mpv's time-pos is the start of the frame shown, up to a frame later, or the
            // start of the last frame for a target at the end); at the end, as the end.
            if (!has || !m_seeks.empty() || m_atEnd || m_holdsSeekTarget)
                break;
            m_time = *static_cast<double *>(p.data);
            // The engine reports every frame; the session wants about 30 reports a second.
            if (std::abs(m_time - m_lastTick) >= 1.0 / 30.0 - 1e-3) {
                announceTime();
            }
            break;
        }
        case Prop::VideoParams:
            videoParamsChanged(has ? static_cast<mpv_node *>(p.data) : nullptr);
            break;
        case Prop::Pause:
            if (has)
                pauseObserved(*static_cast<int *>(p.data) != 0);
            break;
        case Prop::EofReached: {
            const bool atEnd = has && *static_cast<int *>(p.data);
            if (atEnd == m_atEnd)
                break;
            m_atEnd = atEnd;
            m_seekedSinceEnd = false;
            if (!atEnd)
                break; // a seek away from the end; time-pos takes over again
            // A step past the last frame goes nowhere.
            completeSeeks([](const PendingSeek &s) { return s.stage == SeekStage::Stepping; });
            // The last frame stays on screen, and the playhead is at the end of the item (mpv's
            // time-pos stays at the start of the last frame).
            if (std::isfinite(m_duration) && m_duration > 0)
                m_time = m_duration;
            // Only playback reaches the end: a paused player that was sent there stays put.
            const bool played = m_playRequested;
            m_playRequested = false;
            m_paused = true;
            announceTime();
            if (played)
                emit reachedEnd();
            break;
        }
        case Prop::ContainerFps:
            m_containerFps = has ? *static_cast<double *>(p.data) : 0.0;
            break;
        case Prop::EstimatedFps:
            m_estimatedFps = has ? *static_cast<double *>(p.data) : 0.0;
            break;
        case Prop::Seekable:
            m_seekable = !has || *static_cast<int *>(p.data) != 0;
            break;
        case Prop::HardwareDecoder: {
            const char *name = has ? *static_cast<char **>(p.data) : nullptr;
            m_decodesInHardware = name && *name && qstrcmp(name, "no") != 0;
            break;
        }
        case Prop::FrameDrops:
        case Prop::DecoderDrops: {
            const int64_t count = has ? *static_cast<int64_t *>(p.data) : 0;
            (id == Prop::FrameDrops ? m_frameDrops : m_decoderDrops) = count;
            Trace::event("frame-drops",
                         QStringLiteral("%1 %2").arg(m_frameDrops).arg(m_decoderDrops));
            break;
        }
        }
    }

    void propertyReply(Reply id, int error, const mpv_event_property &p)
    {
        const bool has = error >= 0 && p.format != MPV_FORMAT_NONE && p.data;
        if (id == Reply::LoadedDuration) {
            if (m_status != Status::Unknown || m_isFailing)
                return;
            m_duration = has ? *static_cast<double *>(p.data) : 0.0;
            m_status = Status::ReadyToPlay;
            readKeyFrames();
            Trace::event("loaded", number(m_duration));
            emit statusChanged();
            emit durationChanged();
        } else if (id == Reply::PauseState) {
            if (has)
                pauseObserved(*static_cast<int *>(p.data) != 0);
        } else if (id == Reply::LoadedVideoTrack) {
            const auto *node = has ? static_cast<mpv_node *>(p.data) : nullptr;
            const bool hasVideo = node && node->format == MPV_FORMAT_INT64;
            if (!hasVideo)
                settleTrack();
        }
    }

    void pauseObserved(bool paused)
    {
        if (m_pendingPauseSets > 0)
            return; // an older state; the newer one we asked for is on its way
        // Only a request to play unpauses the player. mpv's frame-step unpauses the core for
        // the one frame and pauses it again: no one outside may take that for playing.
        if (!paused && !m_playRequested)
            return;
        if (paused != m_paused) {
            m_paused = paused;
            announceTime();
        }
    }

    void videoParamsChanged(const mpv_node *node)
    {
        if (!node || node->format != MPV_FORMAT_NODE_MAP)
            return;
        const mpv_node_list *map = node->u.list;
        const double dw = mapDouble(map, "dw");
        const double dh = mapDouble(map, "dh");
        const int rotate = int(mapDouble(map, "rotate")) % 360;
        if (dw <= 0 || dh <= 0)
            return;
        m_pictureBytes = decodedPictureBytes(mapString(map, "pixelformat"),
                                             int(mapDouble(map, "w")), int(mapDouble(map, "h")));
        m_naturalSize = QSizeF(dw, dh);
        m_rotation = rotate;
        const QSizeF shown = (rotate == 90 || rotate == 270) ? QSizeF(dh, dw) : QSizeF(dw, dh);
        if (shown != m_presentationSize) {
            m_presentationSize = shown;
            emit presentationSizeChanged();
        }
        settleTrack();
    }

    void settleTrack()
    {
        if (m_trackSettled)
            return;
        m_trackSettled = true;
        auto waiters = std::exchange(m_trackWaiters, {});
        const std::optional<VideoTrack> track = videoTrack();
        for (auto &done : waiters)
            done(track);
    }

    void seekAccepted(uint64_t id, int error)
    {
        auto it = std::find_if(m_seeks.begin(), m_seeks.end(),
                               [id](const PendingSeek &s) { return s.id == id; });
        if (it == m_seeks.end())
            return;
        if (it->stage == SeekStage::Stepping || it->stage == SeekStage::SteppingBack) {
            if (error < 0) // a step the core refused never moves the playhead
                completeSeeks([id](const PendingSeek &s) { return s.id == id; });
            return;
        }
        if (it->stage != SeekStage::Sent)
            return;
        it->stage = SeekStage::Accepted;
        // A seek the core refused never starts; in a stream that cannot seek, the core may drop
        // a seek without a word. Neither will see a restart.
        if (error < 0 || !m_seekable)
            completeSeeks([id](const PendingSeek &s) { return s.id == id; });
    }

    // Whether an exact seek to `seconds` would show the frame after the one on screen, so that
    // decoding that one frame shows the same as going back to the key frame before the target
    // and decoding up to it. It would when the player is paused with nothing but steps in
    // flight, the video's frames come at a constant rate, and the target is one frame past the
    // playhead (the start of the frame shown, or the target of the exact seek that showed it:
    // the first frame that starts at or after it is then the next one) and before the last
    // frame.
    [[nodiscard]] bool isNextFrame(double seconds) const
    {
        if (m_status != Status::ReadyToPlay || !m_paused || m_playRequested || m_atEnd)
            return false;
        if (!std::all_of(m_seeks.begin(), m_seeks.end(),
                         [](const PendingSeek &s) { return s.stage == SeekStage::Stepping; }))
            return false;
        const std::optional<double> frame = constantFrameDuration();
        return frame && std::abs(seconds - m_time - *frame) < *frame / 4 &&
               seconds < m_duration - *frame / 2;
    }

    // The duration of every frame, in seconds, when the video's frames come at a constant rate:
    // the container's, unless the decoded frames say otherwise.
    [[nodiscard]] std::optional<double> constantFrameDuration() const
    {
        if (m_containerFps <= 0 ||
            (m_estimatedFps > 0 && std::abs(m_estimatedFps / m_containerFps - 1) > 0.01))
            return std::nullopt;
        return 1.0 / m_containerFps;
    }

    // When an exact seek to `seconds` would show the frame before the one on screen and the core
    // can step back to it from the pictures it keeps: the duration of a frame. It can when the
    // player is paused with nothing but backward steps in flight, the frames come at a constant
    // rate, the target is one frame before the playhead (not at the end, where the last frame
    // shows whatever the playhead) and after the first frame, the video is decoded in software
    // (hardware decoders keep a handful of pictures), and the longest stretch between two key
    // frames of the file fits in the pictures kept.
    [[nodiscard]] std::optional<double> previousFrame(double seconds) const
    {
        if (m_status != Status::ReadyToPlay || !m_paused || m_playRequested || m_atEnd ||
            !m_seekable || m_decodesInHardware || !m_longestKeyFrameInterval || !m_pictureBytes)
            return std::nullopt;
        const bool onlyBackward = std::all_of(m_seeks.begin(), m_seeks.end(), [](const auto &s) {
            return s.backSeek || s.stage == SeekStage::Waiting || s.stage == SeekStage::Turning ||
                   s.stage == SeekStage::SteppingBack;
        });
        if (!onlyBackward)
            return std::nullopt;
        const std::optional<double> frame = constantFrameDuration();
        if (!frame)
            return std::nullopt;
        const double kept = (*m_longestKeyFrameInterval / *frame + 1) * double(m_pictureBytes);
        if (kept > double(m_reversalBytes))
            return std::nullopt;
        if (std::abs(m_time - seconds - *frame) < *frame / 4 && seconds > *frame / 2 &&
            m_time < m_duration - *frame / 2)
            return frame;
        return std::nullopt;
    }

    void sendStep(uint64_t id)
    {
        const char *cmd[] = {"frame-step", nullptr};
        if (!m_core->handle || mpv_command_async(m_core->handle, id, cmd) < 0)
            finishSeek(id);
    }

    void turnBackward()
    {
        m_direction = Direction::Turning;
        const char *cmd[] = {"set", "play-dir", "backward", nullptr};
        mpv_command_async(m_core->handle, 0, cmd);
    }

    // Once the exact seeks back of a run are done (their frames shown), the steps after them turn
    // the core around, from the frame on screen.
    void turnWaiting()
    {
        if (m_direction != Direction::Forward || m_seeks.empty() || !m_core->handle ||
            !std::all_of(m_seeks.begin(), m_seeks.end(),
                         [](const PendingSeek &s) { return s.stage == SeekStage::Waiting; }))
            return;
        for (PendingSeek &seek : m_seeks)
            seek.stage = SeekStage::Turning;
        turnBackward();
    }

    // The caller sends a seek next: the core's own seek, to where it stood, gives way to it, and
    // so do the steps back still waiting to turn it, completing with it.
    void turnForward()
    {
        for (PendingSeek &seek : m_seeks) {
            if (seek.stage == SeekStage::Waiting)
                seek.stage = SeekStage::Accepted;
        }
        if (m_direction == Direction::Forward)
            return;
        m_direction = Direction::Forward;
        const char *cmd[] = {"set", "play-dir", "forward", nullptr};
        if (m_core->handle)
            mpv_command_async(m_core->handle, 0, cmd);
    }

    // Steps complete once the playhead reaches the frame they asked for: the first that starts
    // at or after the target, or up to 5 ms before it.
    void playheadMoved(double seconds)
    {
        const auto reached = [seconds](const PendingSeek &s) {
            return (s.stage == SeekStage::Stepping && seconds >= s.target - 0.0055) ||
                   (s.stage == SeekStage::SteppingBack && seconds < s.reach);
        };
        if (Trace::enabled())
            traceSeekShown(reached);
        completeSeeks(reached);
    }

    // Of the seeks about to complete, the newest shows its picture.
    template<typename Pick> void traceSeekShown(Pick done)
    {
        const auto newest = std::find_if(m_seeks.rbegin(), m_seeks.rend(), done);
        if (newest != m_seeks.rend())
            m_core->pictures.seekCompleted(QString::fromLatin1(number(newest->target)),
                                           newest->drawnBefore);
    }

    // A seek the core never took: complete it from the event loop, like any other.
    void finishSeek(uint64_t id)
    {
        QMetaObject::invokeMethod(
            this, [this, id] { seekAccepted(id, MPV_ERROR_GENERIC); }, Qt::QueuedConnection);
    }

    // Runs, once each, the completions of the seeks that `done` picks. Taken out of the list
    // first: a completion may send the next seek.
    template<typename Pick> void completeSeeks(Pick done)
    {
        std::vector<PendingSeek> finished;
        for (auto it = m_seeks.begin(); it != m_seeks.end();) {
            if (done(*it)) {
                finished.push_back(std::move(*it));
                it = m_seeks.erase(it);
            } else {
                ++it;
            }
        }
        for (PendingSeek &seek : finished) {
            if (seek.completion)
                seek.completion();
        }
        turnWaiting();
    }

    // Whether backward steps may keep the pictures between two key frames is known from the
    // file's index, read away from the GUI thread; until then they are exact seeks.
    void readKeyFrames()
    {
        if (m_core->path.isEmpty())
            return;
        m_diskJobs->run(
            this, [path = m_core->path] { return longestKeyFrameInterval(path); },
            [this](std::optional<double> seconds) { m_longestKeyFrameInterval = seconds; });
    }

    void setPaused(bool paused)
    {
        if (!paused && m_atEnd && !m_seekedSinceEnd) {
            // Nothing is left to play: the core would pause again at once (keep-open), and
            // that change can slip past unseen between our requests. The player stays paused
            // at the end; the session hears so from the event loop.
            QMetaObject::invokeMethod(
                this, [this] { emit tick(m_time); }, Qt::QueuedConnection);
            return;
        }
        // Playback runs forward, from the frame the backward steps asked for.
        const bool waiting = std::any_of(m_seeks.begin(), m_seeks.end(), [](const auto &s) {
            return s.stage == SeekStage::Waiting;
        });
        if (!paused && (m_direction != Direction::Forward || waiting))
            seek(m_time, SeekMode::Exact, {});
        m_playRequested = !paused;
        if (!paused)
            m_holdsSeekTarget = false;
        int flag = paused ? 1 : 0;
        ++m_pendingPauseSets;
        mpv_set_property_async(m_core->handle, uint64_t(Reply::SetPause), "pause", MPV_FORMAT_FLAG,
                               &flag);
        if (paused != m_paused) {
            m_paused = paused;
            m_lastTick = m_time;
            QMetaObject::invokeMethod(
                this, [this] { emit tick(m_time); }, Qt::QueuedConnection);
        }
    }

    void videoOutputReady()
    {
        if (!std::exchange(m_hadVideoOutput, true))
            return; // the renderer loaded the file before it said so
        if (m_status == Status::ReadyToPlay) {
            // A new surface for a file already playing: mpv dropped video when the previous
            // renderer went away, so select the picture again.
            const char *cmd[] = {"set", "vid", "auto", nullptr};
            mpv_command_async(m_core->handle, 0, cmd);
        }
    }

    void fail(int mpvError)
    {
        if (m_status == Status::Failed || std::exchange(m_isFailing, true))
            return;
        // Describing the failure looks at the file, away from the GUI thread; meanwhile the
        // item reads as loading still, and never becomes ready.
        m_diskJobs->run(
            this, [path = m_core->path, mpvError] { return describeFailure(path, mpvError); },
            [this](MediaError error) { failWith(std::move(error)); });
    }

    void failRedirect()
    {
        // A playlist or manifest named like a video: never follow it.
        const char *cmd[] = {"stop", nullptr};
        mpv_command_async(m_core->handle, 0, cmd);
        failWith({MediaError::Code::UnsupportedSource, kPlaylistMessage});
    }

    void failWith(MediaError error)
    {
        if (m_status == Status::Failed)
            return;
        m_error = std::move(error);
        m_status = Status::Failed;
        m_paused = true;
        Trace::event("failed", m_error->description);
        settleTrack();
        completeAllSeeks();
        emit statusChanged();
    }

    void failLater(int mpvError)
    {
        QMetaObject::invokeMethod(
            this, [this, mpvError] { fail(mpvError); }, Qt::QueuedConnection);
    }

    // Tells the session where the playhead is now.
    void announceTime()
    {
        m_lastTick = m_time;
        emit tick(m_time);
    }

    void completeAllSeeks()
    {
        completeSeeks([](const PendingSeek &) { return true; });
    }

    const QUrl m_url;
    const bool m_drawsVideo;
    const WindowSystem::NativeDisplay m_display;
    std::shared_ptr<MpvCore> m_core;
    const std::shared_ptr<DiskJobs> m_diskJobs;
    std::atomic_bool m_wakeupPosted = false;

    Status m_status = Status::Unknown;
    bool m_isFailing = false; // failed, and the failure is being described
    std::optional<MediaError> m_error;
    QSizeF m_presentationSize{0, 0};
    double m_duration = 0;
    double m_time = 0;
    double m_lastTick = 0;
    bool m_paused = true;
    float m_speed = 1.0f;
    int m_pendingPauseSets = 0;
    bool m_hadVideoOutput = false;

    uint64_t m_nextSeekId = uint64_t(Reply::FirstSeekId);
    std::vector<PendingSeek> m_seeks; // oldest first
    bool m_seekable = true;
    bool m_atEnd = false;
    bool m_seekedSinceEnd = false;  // a seek went out since the core last reached the end
    bool m_playRequested = false;   // the last thing asked of the player was to play
    bool m_holdsSeekTarget = false; // paused since an exact seek
    Direction m_direction = Direction::Forward;
    // When the last seek, a step back, was asked for; nothing after any other seek.
    std::optional<std::chrono::steady_clock::time_point> m_lastBackStep;
    const qint64 m_reversalBytes;
    // Seconds; nothing while unknown, or for a file without an index.
    std::optional<double> m_longestKeyFrameInterval;
    int64_t m_pictureBytes = 0; // a decoded picture; 0 while unknown
    bool m_decodesInHardware = false;

    QSizeF m_naturalSize{0, 0};
    int m_rotation = 0;
    double m_containerFps = 0;
    double m_estimatedFps = 0;
    bool m_trackSettled = false;
    std::vector<std::function<void(std::optional<VideoTrack>)>> m_trackWaiters;

    int64_t m_frameDrops = 0; // observed only while tracing
    int64_t m_decoderDrops = 0;

    double m_zoom = 0;
    double m_panX = 0;
    double m_panY = 0;
};

} // namespace

MpvEngine::MpvEngine(Options options, MpvOptions extraOptions, std::shared_ptr<DiskJobs> diskJobs)
    : m_options(std::move(options))
    , m_extraOptions(std::move(extraOptions))
    , m_diskJobs(diskJobs ? std::move(diskJobs) : createDiskJobs())
{
}

std::unique_ptr<MediaPlayer> MpvEngine::createPlayer(const QUrl &url)
{
    return std::make_unique<MpvPlayer>(url, m_options, m_extraOptions, m_diskJobs);
}
