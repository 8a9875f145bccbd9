#include "mpvengine.h"

#include "diskjobs.h"
#include "keyframes.h"
#include "mpvcore.h"
#include "mpvfailure.h"
#include "mpvrenderer.h"
#include "picturestretch.h"
#include "seektracker.h"
#include "trace.h"
#include "windowsystem.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QPointer>

#include <mpv/client.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace {

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

} // namespace

// The first picture of a file, decoded on a thread of its own (a stalled disk holds up only that
// thread) from the moment the file is named, so that it shows as soon as the window can draw: the
// core opens the file only once its video output can start, and takes some hundreds of
// milliseconds more for its own first frame.
class OpeningDecode {
public:
    explicit OpeningDecode(QString path)
        : path(std::move(path))
    {
    }

    static std::shared_ptr<OpeningDecode> start(const QString &path)
    {
        auto decode = std::make_shared<OpeningDecode>(path);
        std::thread([decode] {
            std::optional<OpeningPicture> picture;
            if (!isSpecialFile(decode->path))
                picture = PictureStretch::decodeOpening(decode->path);
            std::function<void(const OpeningPicture &)> later;
            {
                std::lock_guard lock(decode->m_mutex);
                decode->m_isDone = true;
                decode->m_picture = picture;
                later = std::move(decode->m_later);
            }
            if (later && picture)
                later(*picture);
        }).detach();
        return decode;
    }

    // The picture when decoded already; else `later` gets it from the decoding thread, if the
    // file has one.
    std::optional<OpeningPicture> pictureOr(std::function<void(const OpeningPicture &)> later)
    {
        std::lock_guard lock(m_mutex);
        if (!m_isDone)
            m_later = std::move(later);
        return m_picture;
    }

    const QString path;

private:
    std::mutex m_mutex;
    bool m_isDone = false;
    std::optional<OpeningPicture> m_picture;
    std::function<void(const OpeningPicture &)> m_later;
};

namespace {

class MpvPlayer final : public MediaPlayer {
public:
    // `opening`: the decoding of the file's first picture, shown until the core draws.
    MpvPlayer(const QUrl &url, const MpvEngine::Options &options,
              const MpvEngine::MpvOptions &extraOptions, std::shared_ptr<DiskJobs> diskJobs,
              const std::shared_ptr<OpeningDecode> &opening)
        : m_url(url)
        , m_drawsVideo(options.drawsVideo)
        , m_display(options.drawsVideo ? WindowSystem::nativeDisplay()
                                       : WindowSystem::NativeDisplay{})
        , m_core(
              std::make_shared<MpvCore>(url.isLocalFile() ? url.toLocalFile() : QString(),
                                        MpvCore::Settings{options.drawsVideo, options.audioOutput,
                                                          options.reversalBytes, extraOptions}))
        , m_diskJobs(std::move(diskJobs))
    {
        m_media.reversalBytes = options.reversalBytes;
        m_media.turnAfter = options.turnBackAfter;
        if (Trace::enabled()) {
            m_seeks.onShown = [this](double target, uint64_t drawnBefore) {
                m_core->pictures.seekCompleted(QString::fromLatin1(number(target)), drawnBefore);
            };
        }
        mpv_handle *h = m_core->handle;
        if (!h) {
            failLater(MPV_ERROR_NOMEM);
            return;
        }
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
                    failWith(specialFileError());
            });
        if (opening) {
            const QPointer self(this);
            const std::optional<OpeningPicture> decoded =
                opening->pictureOr([self](const OpeningPicture &picture) {
                    QMetaObject::invokeMethod(
                        QCoreApplication::instance(),
                        [self, picture] {
                            if (self)
                                self->showOpening(picture);
                        },
                        Qt::QueuedConnection);
                });
            // Before the session first asks, and before the window first draws.
            if (decoded)
                showOpening(*decoded);
        }
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
    double duration() const override { return m_media.duration; }
    double currentTime() const override { return m_media.playhead; }
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
        if (mode == SeekMode::Exact && stepThroughStretch(seconds, completion))
            return;
        sendSeek(seconds, mode, std::move(completion));
    }

    std::optional<VideoTrack> videoTrack() const override
    {
        if (m_naturalSize.isEmpty())
            return std::nullopt;
        return VideoTrack{m_naturalSize, m_rotation, m_media.containerFps,
                          m_media.estimatedFps > 0 ? 1.0 / m_media.estimatedFps : 0.0};
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
        // A picture of our own moves with the zoom now, not when the core next redraws.
        if (m_requestRender && (m_core->shown.picture() || m_core->opening.picture()))
            m_requestRender();
    }

    std::unique_ptr<VideoRenderer> createVideoRenderer(std::function<void()> frameReady) override
    {
        if (!m_drawsVideo || !m_core->handle)
            return nullptr;
        // Render thread, while the GUI thread waits for the scene's synchronisation.
        m_requestRender = frameReady;
        return createMpvRenderer(m_core, m_display, std::move(frameReady));
    }

private:
    void showOpening(const OpeningPicture &opening)
    {
        if (m_status == Status::Failed)
            return;
        // The core's own size, once known, stands.
        if (m_presentationSize.isEmpty()) {
            m_presentationSize = opening.displaySize;
            emit presentationSizeChanged();
        }
        m_core->opening.show(opening.picture);
        if (m_requestRender)
            m_requestRender();
    }

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
            sendCommands();
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
                m_seeks.accepted(event.reply_userdata, event.error >= 0, m_media.isSeekable);
            break;
        case MPV_EVENT_SEEK:
            m_seeks.started();
            break;
        case MPV_EVENT_PLAYBACK_RESTART:
            m_seeks.restarted();
            announceTime();
            break;
        case MPV_EVENT_END_FILE: {
            const auto *end = static_cast<mpv_event_end_file *>(event.data);
            if (end->reason == MPV_END_FILE_REASON_ERROR)
                fail(end->error);
            else if (end->reason == MPV_END_FILE_REASON_REDIRECT)
                failRedirect();
            // Nothing restarts after the end of the file.
            leaveStretch();
            m_seeks.completeAll();
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
        const double value =
            has && p.format == MPV_FORMAT_DOUBLE ? *static_cast<double *>(p.data) : 0.0;
        const bool flag = has && p.format == MPV_FORMAT_FLAG && *static_cast<int *>(p.data);
        switch (id) {
        case Prop::Duration:
            if (m_status == Status::ReadyToPlay && value != m_media.duration) {
                m_media.duration = value;
                emit durationChanged();
            }
            break;
        case Prop::TimePos: {
            if (has && m_seeks.isPending())
                m_seeks.playheadMoved(value);
            if (m_corePlayhead) // a picture of the stretch shows: the playhead is its
                break;
            // While seeking, and paused after an exact seek, the playhead reads as the seek's
            // target (mpv's time-pos is the start of the frame shown, up to a frame later, or the
            // start of the last frame for a target at the end); at the end, as the end.
            const auto playhead = m_seeks.playhead();
            if (!has || m_seeks.isPending() || playhead == SeekTracker::Playhead::Holding ||
                playhead == SeekTracker::Playhead::AtEnd)
                break;
            m_media.playhead = value;
            // The engine reports every frame; the session wants about 30 reports a second.
            if (std::abs(m_media.playhead - m_lastTick) >= 1.0 / 30.0 - 1e-3)
                announceTime();
            break;
        }
        case Prop::VideoParams:
            videoParamsChanged(has ? static_cast<mpv_node *>(p.data) : nullptr);
            break;
        case Prop::Pause:
            if (has)
                pauseObserved(flag);
            break;
        case Prop::EofReached:
            if (flag == std::exchange(m_eofReached, flag))
                break;
            if (flag)
                endReached();
            else // a seek away from the end; time-pos takes over again
                m_seeks.leftEnd();
            break;
        case Prop::ContainerFps:
            m_media.containerFps = value;
            break;
        case Prop::EstimatedFps:
            m_media.estimatedFps = value;
            break;
        case Prop::Seekable:
            m_media.isSeekable = !has || flag;
            break;
        case Prop::HardwareDecoder: {
            const char *name = has ? *static_cast<char **>(p.data) : nullptr;
            m_media.decodesInHardware = name && *name && qstrcmp(name, "no") != 0;
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

    void endReached()
    {
        const bool played = m_seeks.reachedEnd();
        // The last frame stays on screen, and the playhead is at the end of the item (mpv's
        // time-pos stays at the start of the last frame).
        if (std::isfinite(m_media.duration) && m_media.duration > 0)
            m_media.playhead = m_media.duration;
        m_paused = true;
        announceTime();
        if (played)
            emit reachedEnd();
    }

    void propertyReply(Reply id, int error, const mpv_event_property &p)
    {
        const bool has = error >= 0 && p.format != MPV_FORMAT_NONE && p.data;
        if (id == Reply::LoadedDuration) {
            if (m_status != Status::Unknown || m_isFailing)
                return;
            m_media.duration = has ? *static_cast<double *>(p.data) : 0.0;
            m_status = Status::ReadyToPlay;
            m_media.isReady = true;
            readKeyFrames();
            if (m_drawsVideo)
                m_stretch = std::make_unique<PictureStretch>(m_core->path, m_media.reversalBytes,
                                                             this, [this] { stretchChanged(); });
            Trace::event("loaded", number(m_media.duration));
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
        if (!paused && m_seeks.playhead() != SeekTracker::Playhead::Playing)
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
        m_media.pictureBytes = decodedPictureBytes(
            mapString(map, "pixelformat"), int(mapDouble(map, "w")), int(mapDouble(map, "h")));
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

    // A seek through the core. `keepsStretch`: a step back while the stretch decodes for the
    // steps after it.
    void sendSeek(double seconds, SeekMode mode, std::function<void()> completion,
                  bool keepsStretch = false)
    {
        m_lastBackStep.reset();
        // A picture of the stretch stays on screen until the core shows the seek's.
        if (const auto shows = leaveStretch(keepsStretch)) {
            completion = [this, shows = *shows, done = std::move(completion)] {
                releaseStretchPicture(shows);
                if (done)
                    done();
            };
        }
        const bool exact = mode == SeekMode::Exact;
        const uint64_t drawnBefore = Trace::enabled() ? m_core->pictures.drawn() : 0;
        SeekTracker::Media media = m_media;
        if (m_stretch && m_stretch->isDecoding()) // it will serve the steps sooner
            media.turnAfter = SeekTracker::Clock::duration::max();
        const auto way = m_seeks.seek(seconds, exact, media, std::chrono::steady_clock::now(),
                                      std::move(completion), drawnBefore);
        m_media.playhead = seconds;
        // The playhead jumps now. Announced from the event loop, after any tick of the old
        // position still on its way, so the old position cannot have the last word.
        QMetaObject::invokeMethod(
            this, [this] { announceTime(); }, Qt::QueuedConnection);
        if (Trace::enabled()) {
            using Way = SeekTracker::Way;
            const char *kind = way == Way::Back   ? "back"
                               : way == Way::Step ? "step"
                               : exact            ? "exact"
                                                  : "keyframes";
            Trace::event("seek", QString::fromLatin1(number(seconds)) + QLatin1Char(' ') +
                                     QLatin1String(kind));
        }
        sendCommands();
    }

    // Steps back go through pictures decoded here while they can: the player paused, a drawn,
    // unturned picture, and room for a picture. A single step goes to the core, which shows it
    // soonest (it decodes only what that frame needs); a second one within a second of it goes to
    // the core too, and has the stretch before it decoded meanwhile, and once that holds a step's
    // picture, or once a third comes while it decodes, the steps show kept pictures. From then on
    // the core stays where its last seek leaves it, and only a request it must serve (playing, a
    // seek elsewhere) moves it, from there. Takes `completion` when it takes the seek.
    bool stepThroughStretch(double target, std::function<void()> &completion)
    {
        if (!m_stretch || !m_requestRender || m_rotation != 0 || m_status != Status::ReadyToPlay ||
            !m_paused || m_seeks.playhead() == SeekTracker::Playhead::Playing ||
            m_media.pictureBytes <= 0 || m_media.pictureBytes > m_media.reversalBytes ||
            m_seeks.playNeedsSeek())
            return false;
        StretchPictureRef picture = m_stretch->find(target);
        const bool back = isStepBack(target);
        const auto now = std::chrono::steady_clock::now();
        const bool again = m_lastBackStep && now - *m_lastBackStep < std::chrono::seconds(1);
        // Past the second step, the steps wait for the stretch: more seeks of the core's would
        // only slow its decoding down.
        if (!m_corePlayhead && !picture && !(again && m_stretch->isDecoding())) {
            if (!back)
                return false;
            const double shown = m_media.playhead; // the frame the stretch ends on
            if (again && !m_stretch->isDecoding())
                m_stretch->keepUntil(shown);
            sendSeek(target, SeekMode::Exact, std::move(completion), true);
            m_lastBackStep = now;
            return true;
        }
        if (!picture && !back)
            return false;
        if (!m_corePlayhead)
            m_corePlayhead = m_media.playhead;
        m_media.playhead = target;
        QMetaObject::invokeMethod(
            this, [this] { announceTime(); }, Qt::QueuedConnection);
        Trace::event("seek", QString::fromLatin1(number(target)) + QLatin1String(" stretch"));
        if (picture) {
            showStretchPicture(picture, target);
            QMetaObject::invokeMethod(
                this, [done = std::move(completion)] { done ? done() : void(); },
                Qt::QueuedConnection);
        } else {
            m_awaited.push_back({target, std::move(completion)});
            if (!m_stretch->isDecoding() && !m_stretch->keepEarlier())
                m_stretch->keepUntil(m_shownStretch ? m_shownStretch->start() : *m_corePlayhead);
        }
        return true;
    }

    // Whether an exact seek to `target` is a step to the frame before the playhead.
    [[nodiscard]] bool isStepBack(double target) const
    {
        const double fps = m_media.containerFps > 0 ? m_media.containerFps : m_media.estimatedFps;
        if (fps <= 0)
            return false;
        const double back = m_media.playhead - target;
        return back > 0.25 / fps && back < 1.5 / fps;
    }

    void showStretchPicture(const StretchPictureRef &picture, double target)
    {
        const uint64_t drawnBefore = Trace::enabled() ? m_core->pictures.drawn() : 0;
        m_shownStretch = picture;
        ++m_stretchShows;
        m_core->shown.show(picture);
        m_requestRender();
        m_stretch->shown(picture);
        if (Trace::enabled())
            m_core->pictures.seekCompleted(QString::fromLatin1(number(target)), drawnBefore);
    }

    // A decoding of the stretch finished: the steps that waited for it show their picture, or
    // wait for the one before it, or, when it holds none, go to the core.
    void stretchChanged()
    {
        // Nothing to step through: the core holds the playhead again.
        if (m_stretch->hasFailed() && m_awaited.empty() && !m_shownStretch)
            m_corePlayhead.reset();
        if (m_awaited.empty())
            return;
        const double target = m_awaited.back().target;
        if (StretchPictureRef picture = m_stretch->find(target)) {
            showStretchPicture(picture, target);
            AwaitedStep::completeAll(std::exchange(m_awaited, {}));
            return;
        }
        if (m_stretch->isDecoding() || m_stretch->keepEarlier())
            return;
        sendSeek(target, SeekMode::Exact,
                 [steps = std::exchange(m_awaited, {})] { AwaitedStep::completeAll(steps); });
    }

    // The core takes over: steps still waiting for their picture complete (a later request
    // overtakes them), the kept pictures go, and the playhead is the core's again, for the
    // request that follows to start from. Returns, when a picture of the stretch is on screen,
    // its number, for releaseStretchPicture().
    std::optional<uint64_t> leaveStretch(bool keepsStretch = false)
    {
        for (AwaitedStep &step : std::exchange(m_awaited, {})) {
            if (step.completion)
                QMetaObject::invokeMethod(this, std::move(step.completion), Qt::QueuedConnection);
        }
        if (m_stretch && !keepsStretch)
            m_stretch->clear();
        if (!m_corePlayhead)
            return std::nullopt;
        m_media.playhead = *std::exchange(m_corePlayhead, std::nullopt);
        m_shownStretch.reset();
        return m_stretchShows;
    }

    // The core shows its own picture again, unless a newer picture of the stretch shows.
    void releaseStretchPicture(uint64_t shows)
    {
        if (shows != m_stretchShows || m_shownStretch)
            return;
        m_core->shown.show(nullptr);
        if (m_requestRender)
            m_requestRender();
    }

    // Sends what the seek bookkeeping asks of the core.
    void sendCommands()
    {
        using Kind = SeekTracker::Command::Kind;
        for (const SeekTracker::Command &c : m_seeks.takeCommands()) {
            const QByteArray target = number(c.target);
            const char *seek[] = {"seek", target.constData(),
                                  c.isExact ? "absolute+exact" : "absolute+keyframes", nullptr};
            const char *step[] = {"frame-step", nullptr};
            const char *back[] = {"set", "play-dir", "backward", nullptr};
            const char *forward[] = {"set", "play-dir", "forward", nullptr};
            const char *soundOff[] = {"set", "aid", "no", nullptr};
            const char *soundOn[] = {"set", "aid", "auto", nullptr};
            const char **cmd = seek;
            switch (c.kind) {
            case Kind::Seek:
                break;
            case Kind::Step:
                cmd = step;
                break;
            case Kind::TurnBack:
                cmd = back;
                break;
            case Kind::TurnForward:
                cmd = forward;
                break;
            case Kind::SoundOff:
                cmd = soundOff;
                break;
            case Kind::SoundOn:
                cmd = soundOn;
                break;
            }
            if (!m_core->handle || mpv_command_async(m_core->handle, c.id, cmd) < 0) {
                if (c.id) // a seek the core never took completes from the event loop
                    QMetaObject::invokeMethod(
                        this,
                        [this, id = c.id] {
                            m_seeks.accepted(id, false, true);
                            sendCommands();
                        },
                        Qt::QueuedConnection);
            }
        }
    }

    // Whether backward steps may keep the pictures between two key frames is known from the
    // file's index, read away from the GUI thread; until then they are exact seeks.
    void readKeyFrames()
    {
        if (m_core->path.isEmpty())
            return;
        m_diskJobs->run(
            this, [path = m_core->path] { return longestKeyFrameInterval(path); },
            [this](std::optional<double> seconds) { m_media.longestKeyFrameInterval = seconds; });
    }

    void setPaused(bool paused)
    {
        m_lastBackStep.reset();
        if (paused) {
            m_seeks.pause();
        } else if (!m_corePlayhead && !m_seeks.mayPlay()) {
            // Nothing is left to play: the core would pause again at once (keep-open), and that
            // change can slip past unseen between our requests. The player stays paused at the
            // end; the session hears so from the event loop.
            QMetaObject::invokeMethod(
                this, [this] { emit tick(m_media.playhead); }, Qt::QueuedConnection);
            return;
        } else {
            // Playback runs forward, from the frame the backward steps asked for.
            if (m_corePlayhead || m_seeks.playNeedsSeek())
                sendSeek(m_media.playhead, SeekMode::Exact, {});
            m_seeks.play();
        }
        int flag = paused ? 1 : 0;
        ++m_pendingPauseSets;
        mpv_set_property_async(m_core->handle, uint64_t(Reply::SetPause), "pause", MPV_FORMAT_FLAG,
                               &flag);
        if (paused != m_paused) {
            m_paused = paused;
            m_lastTick = m_media.playhead;
            QMetaObject::invokeMethod(
                this, [this] { emit tick(m_media.playhead); }, Qt::QueuedConnection);
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
        failWith(playlistError());
    }

    void failWith(MediaError error)
    {
        if (m_status == Status::Failed)
            return;
        m_error = std::move(error);
        m_status = Status::Failed;
        m_media.isReady = false;
        m_paused = true;
        leaveStretch();
        m_core->shown.show(nullptr);
        m_core->opening.show(nullptr);
        Trace::event("failed", m_error->description);
        settleTrack();
        m_seeks.completeAll();
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
        m_lastTick = m_media.playhead;
        emit tick(m_media.playhead);
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
    double m_lastTick = 0;
    bool m_paused = true;
    float m_speed = 1.0f;
    int m_pendingPauseSets = 0;
    bool m_hadVideoOutput = false;
    bool m_eofReached = false; // as the core last reported it

    // The playhead, the duration and what the seeks must know of the frames and the core.
    SeekTracker::Media m_media;
    SeekTracker m_seeks{uint64_t(Reply::FirstSeekId)};

    QSizeF m_naturalSize{0, 0};
    int m_rotation = 0;
    bool m_trackSettled = false;
    std::vector<std::function<void(std::optional<VideoTrack>)>> m_trackWaiters;

    int64_t m_frameDrops = 0; // observed only while tracing
    int64_t m_decoderDrops = 0;

    // Steps back through pictures decoded here; while one shows (or is awaited), the core stays
    // where it was, at m_corePlayhead.
    struct AwaitedStep {
        double target = 0;
        std::function<void()> completion;

        static void completeAll(const std::vector<AwaitedStep> &steps)
        {
            for (const AwaitedStep &step : steps) {
                if (step.completion)
                    step.completion();
            }
        }
    };
    std::unique_ptr<PictureStretch> m_stretch; // once ready, for a player that draws
    std::vector<AwaitedStep> m_awaited;        // steps waiting for the stretch to decode
    StretchPictureRef m_shownStretch;
    std::optional<double> m_corePlayhead;
    uint64_t m_stretchShows = 0; // pictures of the stretch shown so far
    std::function<void()> m_requestRender;
    // When the last step back went to the core; cleared by any other request.
    std::optional<std::chrono::steady_clock::time_point> m_lastBackStep;

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
    std::shared_ptr<OpeningDecode> opening = std::exchange(m_prepared, nullptr);
    if (m_options.drawsVideo && url.isLocalFile() &&
        (!opening || opening->path != url.toLocalFile()))
        opening = OpeningDecode::start(url.toLocalFile());
    return std::make_unique<MpvPlayer>(url, m_options, m_extraOptions, m_diskJobs, opening);
}

void MpvEngine::prepare(const QUrl &url)
{
    if (m_options.drawsVideo && url.isLocalFile())
        m_prepared = OpeningDecode::start(url.toLocalFile());
}
