// Rate and volume: the user's choices live in the session and reach the player at the right
// moments, so they survive pauses, scrubs and the replacement of the player.
#include "playbacksession.h"

#include "preferences.h"

#include "rateladder.h"

float PlaybackSession::nextFaster(float rate)
{
    return RateLadder::nextFaster(rate);
}

float PlaybackSession::nextSlower(float rate)
{
    return RateLadder::nextSlower(rate);
}

void PlaybackSession::nudgeRate(int direction)
{
    if (direction == 0)
        setRate(1.0f);
    else if (direction > 0)
        setRate(nextFaster(m_rate));
    else
        setRate(nextSlower(m_rate));
}

void PlaybackSession::setRate(float rate)
{
    setRateValue(rate);
    // A non-zero rate on a paused player would start it; paused and scrubbing players keep
    // their rate until the next play().
    if (m_isPlaying && !m_isSeeking && m_player)
        m_player->setRate(rate);
}

void PlaybackSession::setVolume(float volume)
{
    setVolumeValue(volume > 1.0f ? 1.0f : (volume > 0.0f ? volume : 0.0f));
    if (m_player)
        m_player->setVolume(m_volume);
    // Raising the volume unmutes; setting it to 0 does not mute.
    if (m_volume > 0.0f && m_isMuted)
        toggleMute();
}

void PlaybackSession::toggleMute()
{
    setMutedValue(!m_isMuted);
    m_preferences.setBool(kPlayerIsMutedKey, m_isMuted);
    if (m_player)
        m_player->setMuted(m_isMuted);
}
