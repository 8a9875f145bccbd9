#include "recordingengine.h"

#include <algorithm>

RecordingPlayer::RecordingPlayer(std::unique_ptr<MediaPlayer> player)
    : m_player(std::move(player))
{
    MediaPlayer *inner = m_player.get();
    connect(inner, &MediaPlayer::statusChanged, this, &MediaPlayer::statusChanged);
    connect(inner, &MediaPlayer::presentationSizeChanged, this,
            &MediaPlayer::presentationSizeChanged);
    connect(inner, &MediaPlayer::durationChanged, this, &MediaPlayer::durationChanged);
    connect(inner, &MediaPlayer::tick, this, &MediaPlayer::tick);
    connect(inner, &MediaPlayer::reachedEnd, this, &MediaPlayer::reachedEnd);
}

void RecordingPlayer::seek(double seconds, SeekMode mode, std::function<void()> completion)
{
    const size_t index = m_seeks.size();
    m_seeks.push_back({seconds, mode, 0});
    m_player->seek(seconds, mode,
                   [this, guard = QPointer(this), index, completion = std::move(completion)] {
                       if (guard)
                           ++m_seeks[index].completions;
                       if (completion)
                           completion();
                   });
}

bool RecordingPlayer::seeksSettled() const
{
    return std::all_of(m_seeks.begin(), m_seeks.end(),
                       [](const Seek &s) { return s.completions > 0; });
}

std::unique_ptr<MediaPlayer> RecordingEngine::createPlayer(const QUrl &url)
{
    auto player = std::make_unique<RecordingPlayer>(m_engine.createPlayer(url));
    m_last = player.get();
    return player;
}
