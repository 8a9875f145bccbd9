// Rate and volume: the user's choices live in the session and reach the player at the right
// moments, so they survive pauses, scrubs and the replacement of the player.
#include "playbacksession.h"

#include "preferences.h"

#include <cmath>

namespace {

// Rates are 32-bit floats, rounded to hundredths with halves away from zero.
float hundredths(float rate)
{
    return std::round(rate * 100.0f) / 100.0f;
}

} // namespace

// Going up compares with less-than and going down with at-most, so a rate exactly on a rung
// moves to the next rung either way; rates off the ladder are placed by the same rules.
float PlaybackSession::nextFaster(float rate)
{
    const float c = hundredths(rate);
    if (c < 0.1f)
        return 0.1f;
    if (c < 0.25f)
        return 0.25f;
    if (c < 0.5f)
        return 0.5f;
    if (c < 0.75f)
        return 0.75f;
    if (c < 0.9f)
        return hundredths(c + 0.05f);
    if (c < 1.0f)
        return 1.0f;
    if (c < 1.1f)
        return 1.1f;
    if (c < 1.25f)
        return hundredths(c + 0.05f);
    return hundredths(c + 0.25f);
}

float PlaybackSession::nextSlower(float rate)
{
    const float c = hundredths(rate);
    if (c <= 0.25f)
        return 0.1f;
    if (c <= 0.5f)
        return 0.25f;
    if (c <= 0.75f)
        return 0.5f;
    if (c <= 0.9f)
        return hundredths(c - 0.05f);
    if (c <= 1.0f)
        return 0.9f;
    if (c <= 1.1f)
        return 1.0f;
    if (c <= 1.25f)
        return hundredths(c - 0.05f);
    return std::max(hundredths(c - 0.25f), 1.25f);
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
