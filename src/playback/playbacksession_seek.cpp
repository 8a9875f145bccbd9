// Seeking, scrubbing and frame stepping: the playhead moves at once, the player follows through
// the seek queue.
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
    setCurrentTime(clampTime(seconds));
    emit jumped();
    if (m_player)
        m_seeks.seek(m_currentTime, exact);
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
    // The scrub lasts until the player has caught up with the playhead.
    const auto finish = [this] {
        setSeeking(false);
        if (m_wasPlayingBeforeScrub)
            play();
    };
    if (!m_player) {
        finish();
        return;
    }
    m_seeks.whenDrained(finish);
    m_seeks.seek(m_currentTime, true);
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

void PlaybackSession::sendSeek(double seconds, bool exact)
{
    const QPointer<MediaPlayer> sentTo(m_player.get());
    const auto mode = exact ? MediaPlayer::SeekMode::Exact : MediaPlayer::SeekMode::Approximate;
    m_player->seek(onTimeScale(seconds), mode, [this, sentTo, exact] {
        // `this` as the context: the queued action is dropped if the session is gone.
        QMetaObject::invokeMethod(
            this,
            [this, sentTo, exact] {
                if (isCurrent(sentTo)) // not replaced or closed meanwhile
                    m_seeks.completed(exact);
            },
            Qt::QueuedConnection);
    });
}
