#pragma once

#include "mediaengine.h"

#include <QList>
#include <QPointer>

#include <vector>

// A media engine whose players do only what the test scripts: statuses, sizes, ticks, ends and
// seek completions happen when the test says so. Players record what they are told in public
// fields.
class FakePlayer final : public MediaPlayer {
    Q_OBJECT
public:
    struct Seek {
        double target = 0;
        SeekMode mode = SeekMode::Exact;
        std::function<void()> completion; // emptied once run
    };

    explicit FakePlayer(const QUrl &url) { m_url = url; }

    QUrl url() const override { return m_url; }
    Status status() const override { return m_status; }
    std::optional<MediaError> error() const override { return {}; }
    QSizeF presentationSize() const override { return m_presentationSize; }
    double duration() const override { return m_duration; }
    double currentTime() const override { return m_time; }
    float rate() const override { return m_rate; }
    void setRate(float rate) override { m_rate = rate > 0 ? rate : 0; }
    void setVolume(float to) override { volume = to; }
    void setMuted(bool to) override { muted = to; }
    void seek(double seconds, SeekMode mode, std::function<void()> completion) override
    {
        seeks.push_back({m_time = seconds, mode, std::move(completion)});
    }
    std::optional<VideoTrack> videoTrack() const override { return m_track; }
    void loadVideoTrack(std::function<void(std::optional<VideoTrack>)> done) override
    {
        m_trackWaiters.push_back(std::move(done));
    }
    void setVideoZoom(double, double, double) override {}

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
    void emitTick(double seconds) { emit tick(m_time = seconds); }
    // Settles the pending track loads with `track` (nothing: no video track).
    void settleTrack(std::optional<VideoTrack> track)
    {
        m_track = track;
        for (auto &done : std::exchange(m_trackWaiters, {}))
            done(track);
    }
    // Completes every seek sent and not completed yet, in the order sent.
    void completeAllSeeks()
    {
        for (size_t i = 0; i < seeks.size(); ++i)
            if (const auto completion = std::exchange(seeks[i].completion, {}))
                completion();
    }

    std::vector<Seek> seeks;
    float volume = 1;
    bool muted = false;

private:
    QUrl m_url;
    Status m_status = Status::Unknown;
    QSizeF m_presentationSize{0, 0};
    double m_duration = 0;
    double m_time = 0;
    float m_rate = 0;
    std::optional<VideoTrack> m_track;
    std::vector<std::function<void(std::optional<VideoTrack>)>> m_trackWaiters;
};

class FakeEngine final : public MediaEngine {
public:
    std::unique_ptr<MediaPlayer> createPlayer(const QUrl &url) override
    {
        auto player = std::make_unique<FakePlayer>(url);
        players << player.get();
        return player;
    }
    [[nodiscard]] FakePlayer *last() const { return players.isEmpty() ? nullptr : players.last(); }

    QList<QPointer<FakePlayer>> players; // every player made, oldest first; destroyed ones null
};
