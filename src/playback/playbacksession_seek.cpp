// The seek queue: at most one seek runs on the player and only the newest target waits, so a
// fast drag becomes a chain of quick approximate seeks that ends where the drag stopped, while
// skips, frame steps and the release of the scrubber land exactly.
#include "playbacksession.h"

#include <cmath>

namespace {

// Media times are made at a time scale of 600 ticks a second.
double onTimeScale(double seconds)
{
    return std::round(seconds * 600.0) / 600.0;
}

} // namespace

double PlaybackSession::clampTime(double seconds) const
{
    const double upper = m_duration > 0 ? m_duration : 0.0;
    if (!(seconds > 0))
        return 0.0; // also for a target that is not a number
    return seconds > upper ? upper : seconds;
}

double PlaybackSession::frameDuration() const
{
    if (m_player) {
        if (const std::optional<VideoTrack> track = m_player->videoTrack()) {
            if (track->nominalFrameRate > 1.0)
                return 1.0 / track->nominalFrameRate;
            if (track->minFrameDuration > 0)
                return track->minFrameDuration;
        }
    }
    return 1.0 / 30.0;
}

void PlaybackSession::seekTo(double seconds, bool exact)
{
    const double target = clampTime(seconds);
    setCurrentTime(target);
    m_pendingScrub = target;
    issueSeek(exact);
}

void PlaybackSession::skip(double seconds)
{
    seekTo(m_currentTime + seconds, true);
}

void PlaybackSession::beginScrub()
{
    if (!m_isSeeking) {
        m_wasPlayingBeforeScrub = !(m_player && m_player->rate() == 0.0f);
        if (m_player)
            m_player->pause();
        setPlaying(false);
    }
    setSeeking(true);
}

void PlaybackSession::scrub(double seconds)
{
    // A value change may arrive before the drag-start event.
    if (!m_isSeeking)
        beginScrub();
    seekTo(seconds, false);
}

void PlaybackSession::endScrub()
{
    m_pendingScrub = m_currentTime;
    m_seekFinished = [this, self = QPointer(this)] {
        if (!self)
            return;
        setSeeking(false);
        if (m_wasPlayingBeforeScrub)
            play();
    };
    issueSeek(true);
}

void PlaybackSession::stepFrame(int count)
{
    if (!m_player || m_duration <= 0)
        return;
    if (m_isPlaying) {
        m_player->pause();
        setPlaying(false);
    }
    seekTo(m_currentTime + frameDuration() * count, true);
}

void PlaybackSession::runSeekFinished()
{
    if (std::function<void()> finished = std::exchange(m_seekFinished, nullptr))
        finished();
}

void PlaybackSession::issueSeek(bool exact)
{
    if (!m_player) {
        runSeekFinished();
        return;
    }
    // An approximate target waits for the running seek; an exact one goes out at once.
    if (m_seekInFlight && !exact)
        return;
    if (!m_pendingScrub) {
        runSeekFinished();
        return;
    }
    const double target = *std::exchange(m_pendingScrub, std::nullopt);
    m_seekInFlight = true;

    const QPointer<MediaPlayer> sentTo(m_player.get());
    const auto mode = exact ? MediaPlayer::SeekMode::Exact : MediaPlayer::SeekMode::Approximate;
    m_player->seek(onTimeScale(target), mode, [this, sentTo, exact] {
        // `this` as the context: the queued action is dropped if the session is gone.
        QMetaObject::invokeMethod(
            this,
            [this, sentTo, exact] {
                if (!isCurrent(sentTo))
                    return; // the file was replaced or closed meanwhile
                m_seekInFlight = false;
                if (m_pendingScrub)
                    issueSeek(exact);
                else
                    runSeekFinished();
            },
            Qt::QueuedConnection);
    });
}
