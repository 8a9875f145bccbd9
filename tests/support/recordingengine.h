#pragma once

#include "mediaengine.h"

#include <QPointer>

#include <vector>

// A media engine that hands out the players of another one and records every seek they are sent
// and how often each completed, so a test on the real engine can count seeks and check that each
// one completes exactly once. Everything else passes straight through. GUI thread, except
// createVideoRenderer(), which is passed on from the render thread as it comes.
class RecordingPlayer final : public MediaPlayer {
    Q_OBJECT
public:
    struct Seek {
        double target = 0;
        SeekMode mode = SeekMode::Exact;
        int completions = 0;
    };

    explicit RecordingPlayer(std::unique_ptr<MediaPlayer> player);

    QUrl url() const override { return m_player->url(); }
    Status status() const override { return m_player->status(); }
    std::optional<MediaError> error() const override { return m_player->error(); }
    QSizeF presentationSize() const override { return m_player->presentationSize(); }
    double duration() const override { return m_player->duration(); }
    double currentTime() const override { return m_player->currentTime(); }
    float rate() const override { return m_player->rate(); }
    void setRate(float rate) override { m_player->setRate(rate); }
    void setVolume(float volume) override { m_player->setVolume(volume); }
    void setMuted(bool muted) override { m_player->setMuted(muted); }
    void seek(double seconds, SeekMode mode, std::function<void()> completion) override;
    std::optional<VideoTrack> videoTrack() const override { return m_player->videoTrack(); }
    void loadVideoTrack(std::function<void(std::optional<VideoTrack>)> done) override
    {
        m_player->loadVideoTrack(std::move(done));
    }
    void setVideoZoom(double scale, double panX, double panY) override
    {
        m_player->setVideoZoom(scale, panX, panY);
    }
    std::unique_ptr<VideoRenderer> createVideoRenderer(std::function<void()> frameReady) override
    {
        return m_player->createVideoRenderer(std::move(frameReady));
    }

    // Every seek sent so far, oldest first.
    [[nodiscard]] const std::vector<Seek> &seeks() const { return m_seeks; }
    // Whether every seek sent so far has completed.
    [[nodiscard]] bool seeksSettled() const;

private:
    std::unique_ptr<MediaPlayer> m_player;
    std::vector<Seek> m_seeks;
};

class RecordingEngine final : public MediaEngine {
public:
    explicit RecordingEngine(MediaEngine &engine)
        : m_engine(engine)
    {
    }

    std::unique_ptr<MediaPlayer> createPlayer(const QUrl &url) override;

    // The newest player made; null once it is gone.
    [[nodiscard]] RecordingPlayer *last() const { return m_last; }

private:
    MediaEngine &m_engine;
    QPointer<RecordingPlayer> m_last;
};
