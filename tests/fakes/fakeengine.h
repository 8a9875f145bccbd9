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

    explicit FakePlayer(const QUrl &url);

    // MediaPlayer
    QUrl url() const override { return m_url; }
    Status status() const override { return m_status; }
    std::optional<MediaError> error() const override { return m_error; }
    QSizeF presentationSize() const override { return m_presentationSize; }
    double duration() const override { return m_duration; }
    double currentTime() const override { return m_time; }
    float rate() const override { return m_rate; }
    void setRate(float rate) override;
    void setVolume(float volume) override { m_volume = volume; }
    void setMuted(bool muted) override { m_muted = muted; }
    void seek(double seconds, SeekMode mode, std::function<void()> completion) override;
    std::optional<VideoTrack> videoTrack() const override { return m_track; }
    void loadVideoTrack(std::function<void(std::optional<VideoTrack>)> done) override;
    void setVideoZoom(double scale, double panX, double panY) override;

    // Scripting: each of these changes the state and emits what a real engine would.
    void becomeReady(double duration, QSizeF presentationSize = QSizeF(0, 0));
    void fail(std::optional<MediaError> error);
    void changePresentationSize(QSizeF size);
    void changeDuration(double seconds);
    void emitTick(double seconds);
    // Plays to the end: the player pauses itself on the last frame and reports it.
    void reachEnd();
    // Settles the pending track loads with `track` (nothing: no video track).
    void settleTrack(std::optional<VideoTrack> track);
    // Runs the completion of seek `index` (in order sent), once.
    void completeSeek(qsizetype index);
    void completeAllSeeks();

    // What the player was told.
    [[nodiscard]] const std::vector<Seek> &seeks() const { return m_seeks; }
    [[nodiscard]] float volume() const { return m_volume; }
    [[nodiscard]] bool muted() const { return m_muted; }
    [[nodiscard]] int rateChanges() const { return m_rateChanges; }
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
    int m_rateChanges = 0;
    std::vector<Seek> m_seeks;
    std::optional<VideoTrack> m_track;
    std::vector<std::function<void(std::optional<VideoTrack>)>> m_trackWaiters;
    double m_zoomScale = 1;
    QPointF m_zoomPan;
};

class FakeEngine final : public MediaEngine {
public:
    std::unique_ptr<MediaPlayer> createPlayer(const QUrl &url) override;

    // Every player made, oldest first; destroyed ones read as null.
    [[nodiscard]] const QList<QPointer<FakePlayer>> &players() const { return m_players; }
    [[nodiscard]] FakePlayer *last() const
    {
        return m_players.isEmpty() ? nullptr : m_players.last();
    }

private:
    QList<QPointer<FakePlayer>> m_players;
};
