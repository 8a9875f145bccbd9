#include "fakeengine.h"

FakePlayer::FakePlayer(const QUrl &url)
    : m_url(url)
{
}

void FakePlayer::setRate(float rate)
{
    ++m_rateChanges;
    m_rate = rate > 0 ? rate : 0;
}

void FakePlayer::seek(double seconds, SeekMode mode, std::function<void()> completion)
{
    m_time = seconds;
    m_seeks.push_back({seconds, mode, std::move(completion), false});
}

void FakePlayer::loadVideoTrack(std::function<void(std::optional<VideoTrack>)> done)
{
    m_trackWaiters.push_back(std::move(done));
}

void FakePlayer::setVideoZoom(double scale, double panX, double panY)
{
    m_zoomScale = scale;
    m_zoomPan = QPointF(panX, panY);
}

void FakePlayer::becomeReady(double duration, QSizeF presentationSize)
{
    m_duration = duration;
    m_presentationSize = presentationSize;
    m_status = Status::ReadyToPlay;
    emit statusChanged();
    emit durationChanged();
    if (!presentationSize.isEmpty())
        emit presentationSizeChanged();
}

void FakePlayer::fail(std::optional<MediaError> error)
{
    m_error = std::move(error);
    m_status = Status::Failed;
    m_rate = 0;
    emit statusChanged();
}

void FakePlayer::changePresentationSize(QSizeF size)
{
    m_presentationSize = size;
    emit presentationSizeChanged();
}

void FakePlayer::changeDuration(double seconds)
{
    m_duration = seconds;
    emit durationChanged();
}

void FakePlayer::emitTick(double seconds)
{
    m_time = seconds;
    emit tick(seconds);
}

void FakePlayer::reachEnd()
{
    m_time = m_duration;
    m_rate = 0;
    emit tick(m_time);
    emit reachedEnd();
}

void FakePlayer::settleTrack(std::optional<VideoTrack> track)
{
    m_track = track;
    auto waiters = std::exchange(m_trackWaiters, {});
    for (auto &done : waiters)
        done(track);
}

void FakePlayer::completeSeek(qsizetype index)
{
    Seek &seek = m_seeks.at(size_t(index));
    if (seek.completed)
        return;
    seek.completed = true;
    if (seek.completion)
        seek.completion();
}

void FakePlayer::completeAllSeeks()
{
    for (qsizetype i = 0; i < qsizetype(m_seeks.size()); ++i)
        completeSeek(i);
}

std::unique_ptr<MediaPlayer> FakeEngine::createPlayer(const QUrl &url)
{
    auto player = std::make_unique<FakePlayer>(url);
    m_players << player.get();
    return player;
}
