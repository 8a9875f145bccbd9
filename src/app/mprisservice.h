#pragma once

#include <QDBusConnection>
#include <QDBusObjectPath>
#include <QObject>
#include <QVariantMap>

class AppDelegate;
class PlaybackSession;

// Publishes the playback session as an MPRIS media player (org.mpris.MediaPlayer2 and
// org.mpris.MediaPlayer2.Player at /org/mpris/MediaPlayer2), so that the desktop's media keys,
// panels and lock screen show the video and drive it. Every intent is a session operation.
// GUI thread only.
//
// Units on the bus: times in microseconds, rates as speed factors, volume from 0 to 1.
class MprisService : public QObject {
    Q_OBJECT
public:
    MprisService(PlaybackSession &session, AppDelegate &delegate, QObject *parent = nullptr);
    ~MprisService() override;

    // Exports the player on `bus` as org.mpris.MediaPlayer2.lunelo, or with an instance suffix
    // when another process holds that name. False when the bus refuses both.
    bool publish(QDBusConnection bus);

    // The root interface.
    void raise();
    void quit();

    // The player interface's published state.
    [[nodiscard]] QString playbackStatus() const;
    [[nodiscard]] QVariantMap metadata() const;
    [[nodiscard]] qlonglong position() const;
    [[nodiscard]] double rate() const;
    void setRate(double rate);
    [[nodiscard]] double volume() const;
    void setVolume(double volume);
    // The session's repeat: "None" or "Track". "Playlist" turns it on too: there is no list
    // to loop, and a panel that cycles through the three would otherwise never turn it on.
    [[nodiscard]] QString loopStatus() const;
    void setLoopStatus(const QString &status);
    [[nodiscard]] bool hasFile() const;
    [[nodiscard]] bool canPlay() const;
    [[nodiscard]] bool canSeek() const;

    // The player interface's methods.
    void play();
    void pause();
    void playPause();
    void stop();
    void next();
    void previous();
    void seek(qlonglong offset);
    void setPosition(const QDBusObjectPath &track, qlonglong position);
    void openUri(const QString &uri);

signals:
    // The playhead jumped; microseconds.
    void seeked(qlonglong position);

private:
    void scheduleChanges();
    void publishChanges();
    void positionJumped();
    [[nodiscard]] QVariantMap snapshot() const;

    PlaybackSession &m_session;
    AppDelegate &m_delegate;
    QDBusConnection m_bus{QString()};
    bool m_isPublished = false;
    bool m_changesScheduled = false;
    QVariantMap m_published; // the player's properties as last announced
    QDBusObjectPath m_track;
    quint64 m_trackCount = 0;
};
