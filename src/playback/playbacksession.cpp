#include "playbacksession.h"

#include "diskjobs.h"
#include "folderplaylist.h"
#include "preferences.h"

#include <cmath>

namespace {

// Compares, assigns and announces: published state emits once per real change.
template<typename T, typename Signal>
void update(PlaybackSession *session, T &field, const T &value, Signal changed)
{
    if (field == value)
        return;
    field = value;
    emit(session->*changed)();
}

bool isUsableSize(const QSizeF &size)
{
    return size.width() > 1.0 && size.height() > 1.0;
}

} // namespace

PlaybackSession::PlaybackSession(Services services, QObject *parent)
    : QObject(parent)
    , m_engine(services.engine)
    , m_preferences(services.preferences)
    , m_folderAccess(services.folderAccess)
    , m_panels(services.panels)
    , m_diskJobs(services.diskJobs ? *services.diskJobs : inlineDiskJobs())
    , m_isMuted(services.preferences.boolValue(kPlayerIsMutedKey))
{
}

PlaybackSession::~PlaybackSession() = default;

const QSet<QString> &PlaybackSession::videoExtensions()
{
    static const QSet<QString> extensions{
        QStringLiteral("mp4"),  QStringLiteral("mov"),  QStringLiteral("m4v"),
        QStringLiteral("avi"),  QStringLiteral("mkv"),  QStringLiteral("webm"),
        QStringLiteral("mpg"),  QStringLiteral("mpeg"), QStringLiteral("mts"),
        QStringLiteral("m2ts"), QStringLiteral("3gp"),
    };
    return extensions;
}

QString PlaybackSession::titleFor(const QUrl &url)
{
    const QString name = url.fileName();
    // Only the last extension goes; a leading dot is part of the name, not an extension.
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    return dot > 0 && dot < name.size() - 1 ? name.left(dot) : name;
}

void PlaybackSession::open(const QUrl &url)
{
    leaveFile();
    const quint64 generation = m_generation;

    setErrorMessage({});
    setReady(false);
    setCurrentTime(0);
    setDuration(0);
    setRateValue(1.0f);
    setVideoSize(QSizeF(0, 0));
    setUrl(url);
    setTitle(titleFor(url));
    emit jumped();

    // Access to the file and its folder takes file-system lookups (identities, bookmarks): the
    // player starts once the disk has answered, unless another file was opened meanwhile.
    m_isOpening = true;
    m_engine.prepare(url);
    m_diskJobs.run(
        this,
        [url, held = m_accessedFolder, access = m_folderAccess, &preferences = m_preferences] {
            return planAccess(url, held, access, preferences);
        },
        [this, generation, url](const AccessPlan &plan) {
            if (generation != m_generation) {
                releaseAccess(plan);
                return;
            }
            m_isOpening = false;
            activateAccess(plan);
            startPlayer(url);
            resumeSteps();
        });
}

void PlaybackSession::startPlayer(const QUrl &url)
{
    // The engine's player pauses itself at the end of the item and does not advance.
    std::unique_ptr<MediaPlayer> player = m_engine.createPlayer(url);
    player->setVolume(m_volume);
    player->setMuted(m_isMuted);
    setPlayer(std::move(player));

    MediaPlayer *current = m_player.get();
    attachTimeObserver(current);
    applyVideoSize(current);
    observe(current);
}

void PlaybackSession::closeFile()
{
    leaveFile();
    stopAccessing();
    setUrl({});
    setTitle({});
    setReady(false);
    setDuration(0);
    setCurrentTime(0);
    setVideoSize(QSizeF(0, 0));
    setErrorMessage({});
    setRateValue(1.0f);
}

// Answers from the disk still on their way for the file the user leaves are dropped, and so
// are the steps that waited for them.
void PlaybackSession::leaveFile()
{
    ++m_generation;
    m_isOpening = false;
    m_isStepping = false;
    m_pendingSteps = 0;
    tearDownPlayer();
}

void PlaybackSession::tearDownPlayer()
{
    dropItemObservers();
    disconnect(m_timeObserver);
    if (m_player)
        m_player->pause();
    setPlayer(nullptr);
    setPlaying(false);
}

void PlaybackSession::dropItemObservers()
{
    for (const auto &connection : std::as_const(m_itemObservers))
        disconnect(connection);
    m_itemObservers.clear();
    m_seeks.clear();
}

bool PlaybackSession::isCurrent(const MediaPlayer *player) const
{
    return player && m_player.get() == player;
}

void PlaybackSession::attachTimeObserver(MediaPlayer *player)
{
    disconnect(m_timeObserver);
    const QPointer<MediaPlayer> guard(player);
    m_timeObserver = connect(
        player, &MediaPlayer::tick, this,
        [this, guard](double seconds) {
            if (!isCurrent(guard) || m_isSeeking)
                return;
            if (std::isfinite(seconds))
                setCurrentTime(seconds);
            setPlaying(guard->rate() != 0.0f);
        },
        Qt::QueuedConnection);
}

void PlaybackSession::observe(MediaPlayer *player)
{
    const QPointer<MediaPlayer> guard(player);
    // Each status is taken when the player reports it and handled from the event loop, so a
    // status reported twice in quick succession is still handled once for each report.
    const auto deliverStatus = [this, guard](MediaPlayer::Status status) {
        QMetaObject::invokeMethod(
            this, [this, guard, status] { statusObserved(guard, status); }, Qt::QueuedConnection);
    };
    m_itemObservers << connect(player, &MediaPlayer::statusChanged, this, [guard, deliverStatus] {
        if (guard)
            deliverStatus(guard->status());
    });
    m_itemObservers << connect(
        player, &MediaPlayer::presentationSizeChanged, this,
        [this, guard] { presentationSizeObserved(guard); }, Qt::QueuedConnection);
    m_itemObservers << connect(
        player, &MediaPlayer::durationChanged, this, [this, guard] { durationObserved(guard); },
        Qt::QueuedConnection);
    m_itemObservers << connect(
        player, &MediaPlayer::reachedEnd, this, [this, guard] { endObserved(guard); },
        Qt::QueuedConnection);
    // The current values are observed like changes, from the event loop.
    deliverStatus(player->status());
    QMetaObject::invokeMethod(
        this,
        [this, guard] {
            presentationSizeObserved(guard);
            durationObserved(guard);
        },
        Qt::QueuedConnection);
}

void PlaybackSession::statusObserved(MediaPlayer *player, MediaPlayer::Status status)
{
    if (!isCurrent(player))
        return;
    switch (status) {
    case MediaPlayer::Status::ReadyToPlay: {
        setReady(true);
        const double d = player->duration();
        setDuration(std::isfinite(d) ? d : 0.0);
        applyVideoSize(player);
        play();
        break;
    }
    case MediaPlayer::Status::Failed: {
        // The engine may find a file unplayable after it reported it ready (a decoder that
        // refuses the picture once it sees it).
        setReady(false);
        setPlaying(false);
        const std::optional<MediaError> error = player->error();
        if (!m_accessedFolder && isPermissionError(error) && !m_url.isEmpty()) {
            requestFolderAccess(FolderPlaylist::folderOf(m_url),
                                [this, self = QPointer(this)](bool granted) {
                                    if (granted && self && !m_url.isEmpty())
                                        open(m_url);
                                });
        } else {
            setErrorMessage(error ? error->description
                                  : QStringLiteral("Não foi possível abrir este vídeo."));
        }
        break;
    }
    case MediaPlayer::Status::Unknown:
        break;
    }
}

void PlaybackSession::presentationSizeObserved(MediaPlayer *player)
{
    if (!isCurrent(player))
        return;
    const QSizeF size = player->presentationSize();
    if (isUsableSize(size))
        setVideoSize(size);
}

void PlaybackSession::durationObserved(MediaPlayer *player)
{
    if (!isCurrent(player))
        return;
    const double d = player->duration();
    if (std::isfinite(d) && d > 0)
        setDuration(d);
}

void PlaybackSession::endObserved(MediaPlayer *player)
{
    if (!isCurrent(player))
        return;
    if (!m_isRepeating) {
        setPlaying(false); // the player has already paused itself
        return;
    }
    const QPointer<MediaPlayer> guard(player);
    player->seek(0.0, MediaPlayer::SeekMode::Exact, [this, guard] {
        QMetaObject::invokeMethod(
            this,
            [this, guard] {
                if (!isCurrent(guard))
                    return;
                setCurrentTime(0);
                emit jumped();
                if (m_isRepeating)
                    play();
            },
            Qt::QueuedConnection);
    });
}

void PlaybackSession::applyVideoSize(MediaPlayer *player)
{
    const QSizeF size = player->presentationSize();
    if (isUsableSize(size))
        setVideoSize(size);

    const QPointer<MediaPlayer> guard(player);
    player->loadVideoTrack([this, self = QPointer(this), guard](std::optional<VideoTrack> track) {
        if (!self || !track)
            return;
        if (!isCurrent(guard))
            return;
        // A quarter turn exchanges width and height.
        const bool isQuarterTurned = ((track->rotation % 180) + 180) % 180 == 90;
        const QSizeF shown = isQuarterTurned ? track->naturalSize.transposed() : track->naturalSize;
        if (isUsableSize(shown))
            setVideoSize(shown);
    });
}

void PlaybackSession::play()
{
    if (m_player)
        m_player->setRate(m_rate);
    setPlaying(true);
}

void PlaybackSession::togglePlay()
{
    if (!m_player)
        return;
    if (m_player->rate() == 0.0f) {
        // At the end, play means from the beginning.
        if (m_duration > 0 && m_currentTime >= m_duration - 0.05)
            seekTo(0, true);
        play();
    } else {
        m_player->pause();
        setPlaying(false);
    }
}

void PlaybackSession::setErrorMessage(const QString &message)
{
    update(this, m_errorMessage, message, &PlaybackSession::errorMessageChanged);
}

void PlaybackSession::setRepeating(bool on)
{
    update(this, m_isRepeating, on, &PlaybackSession::isRepeatingChanged);
}

void PlaybackSession::setPlayer(std::unique_ptr<MediaPlayer> player)
{
    if (!player && !m_player)
        return;
    std::unique_ptr<MediaPlayer> previous = std::exchange(m_player, std::move(player));
    emit playerChanged();
    // Views let go of the old player when they hear of the new one; delete it after that.
    if (previous)
        previous.release()->deleteLater();
}

void PlaybackSession::setUrl(const QUrl &url)
{
    update(this, m_url, url, &PlaybackSession::urlChanged);
}

void PlaybackSession::setTitle(const QString &title)
{
    update(this, m_title, title, &PlaybackSession::titleChanged);
}

void PlaybackSession::setPlaying(bool on)
{
    update(this, m_isPlaying, on, &PlaybackSession::isPlayingChanged);
}

void PlaybackSession::setReady(bool on)
{
    update(this, m_isReady, on, &PlaybackSession::isReadyChanged);
}

void PlaybackSession::setDuration(double seconds)
{
    update(this, m_duration, seconds, &PlaybackSession::durationChanged);
}

void PlaybackSession::setCurrentTime(double seconds)
{
    update(this, m_currentTime, seconds, &PlaybackSession::currentTimeChanged);
}

void PlaybackSession::setVideoSize(const QSizeF &size)
{
    update(this, m_videoSize, size, &PlaybackSession::videoSizeChanged);
}

void PlaybackSession::setSeeking(bool on)
{
    update(this, m_isSeeking, on, &PlaybackSession::isSeekingChanged);
}

void PlaybackSession::setRateValue(float rate)
{
    update(this, m_rate, rate, &PlaybackSession::rateChanged);
}

void PlaybackSession::setVolumeValue(float volume)
{
    update(this, m_volume, volume, &PlaybackSession::volumeChanged);
}

void PlaybackSession::setMutedValue(bool on)
{
    update(this, m_isMuted, on, &PlaybackSession::isMutedChanged);
}
