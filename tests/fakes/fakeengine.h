#pragma once

#include "mediaengine.h"

#include <QList>
#include <QPointF>
#include <QPointer>

#include <vector>

// A media engine whose players do only what the test scripts: statuses, sizes, ticks, ends and
// seek completions happen when the test says so. Players record every command they receive.
class FakePlayer final : public MediaPlayer {
    Q_OBJECT
public:
    struct Seek {
        double target = 0;
        SeekMode mode = SeekMode::Exact;
        std::function<void()> completion;
        bool completed = false;
    };

    explicit FakePlayer(const QUrl &url)
        : m_url(url)
    {
    }

    // MediaPlayer
    QUrl url() const override { return m_url; }
    Status status() const override { return m_status; }
    std::optional<MediaError> error() const override { return m_error; }
    QSizeF presentationSize() const override { return m_presentationSize; }
    double duration() const override { return m_duration; }
    double currentTime() const override { return m_time; }
    float rate() const override { return m_rate; }
    void setRate(float rate) override { m_rate = rate > 0 ? rate : 0; }
    void setVolume(float volume) override { m_volume = volume; }
    void setMuted(bool muted) override { m_muted = muted; }
    void seek(double seconds, SeekMode mode, std::function<void()> completion) override
    {
        m_time = seconds;
        m_seeks.push_back({seconds, mode, std::move(completion), false});
    }
    std::optional<VideoTrack> videoTrack() const override { return m_track; }
    void loadVideoTrack(std::function<void(std::optional<VideoTrack>)> done) override
    {
        m_trackWaiters.push_back(std::move(done));
    }
    void setVideoZoom(double scale, double panX, double panY) override
    {
        m_zoomScale = scale;
        m_zoomPan = QPointF(panX, panY);
    }

    // Scripting: each of these changes the state and emits what a real engine would.
    void becomeReady(double duration, QSizeF presentationSize = QSizeF(0, 0))
    {
        m_duration = duration;
        m_presentationSize = presentationSize;
        m_status = Status::ReadyToPlay;
        emit statusChanged();
        emit durationChanged();
        if (!presentationSize.isEmpty())
            emit presentationSizeChanged();
    }
    void fail(std::optional<MediaError> error)
    {
        m_error = std::move(error);
        m_status = Status::Failed;
        m_rate = 0;
        emit statusChanged();
    }
    void emitTick(double seconds) { emit tick(m_time = seconds); }
    // Plays to the end: the player pauses itself on the last frame and reports it.
    void reachEnd()
    {
        m_rate = 0;
        emitTick(m_duration);
        emit reachedEnd();
    }
    // Settles the pending track loads with `track` (nothing: no video track).
    void settleTrack(std::optional<VideoTrack> track)
    {
        m_track = track;
        for (auto &done : std::exchange(m_trackWaiters, {}))
            done(track);
    }
    // Runs the completion of every seek sent and not completed yet, in the order sent.
    void completeAllSeeks()
    {
        for (size_t i = 0; i < m_seeks.size(); ++i)
            if (!std::exchange(m_seeks[i].completed, true) && m_seeks[i].completion)
                m_seeks[i].completion();
    }

    // What the player was told.
    [[nodiscard]] const std::vector<Seek> &seeks() const { return m_seeks; }
    [[nodiscard]] float volume() const { return m_volume; }
    [[nodiscard]] bool muted() const { return m_muted; }
    [[nodiscard]] double zoomScale() const { return m_zoomScale; }
    [[nodiscard]] QPointF zoomPan() const { return m_zoomPan; }

private:
    QUrl m_url;
    Status m_status = Status::Unknown;
    std::optional<MediaError> m_error;
    QSizeF m_presentationSize{0, 0};
    double m_duration = 0;
    double m_time = 0;
    float m_rate = 0;
    float m_volume = 1;
    bool m_muted = false;
    std::vector<Seek> m_seeks;
    std::optional<VideoTrack> m_track;
    std::vector<std::function<void(std::optional<VideoTrack>)>> m_trackWaiters;
    double m_zoomScale = 1;
    QPointF m_zoomPan;
};

class FakeEngine final : public MediaEngine {
public:
    std::unique_ptr<MediaPlayer> createPlayer(const QUrl &url) override
    {
        auto player = std::make_unique<FakePlayer>(url);
        m_players << player.get();
        return player;
    }

    // Every player made, oldest first; destroyed ones read as null.
    [[nodiscard]] const QList<QPointer<FakePlayer>> &players() const { return m_players; }
    [[nodiscard]] FakePlayer *last() const
    {
        return m_players.isEmpty() ? nullptr : m_players.last();
    }

private:
    QList<QPointer<FakePlayer>> m_players;
};
