#pragma once

#include "foldernavigator.h"
#include "mediaengine.h"
#include "seekqueue.h"

#include <QObject>
#include <QPointer>
#include <QSet>
#include <QSizeF>
#include <QUrl>

#include <functional>
#include <memory>
#include <optional>

class DiskJobs;
class Preferences;
class FolderAccess;
class FilePanels;

// The preference that remembers the mute state across launches.
inline const QString kPlayerIsMutedKey = QStringLiteral("playerIsMuted");

// The one playback model: owns the player of the open file, publishes the playing state for the
// views and carries every playback intent (play and pause, seeking, frame stepping, rate, volume
// and mute, sibling videos, closing). GUI thread only. Every engine callback re-checks that the
// player it was made for is still the current one; a stale callback does nothing.
class PlaybackSession : public QObject {
    Q_OBJECT
    Q_PROPERTY(MediaPlayer *player READ player NOTIFY playerChanged FINAL)
    Q_PROPERTY(QUrl url READ url NOTIFY urlChanged FINAL)
    Q_PROPERTY(QString title READ title NOTIFY titleChanged FINAL)
    Q_PROPERTY(bool isPlaying READ isPlaying NOTIFY isPlayingChanged FINAL)
    Q_PROPERTY(bool isReady READ isReady NOTIFY isReadyChanged FINAL)
    Q_PROPERTY(double duration READ duration NOTIFY durationChanged FINAL)
    Q_PROPERTY(double currentTime READ currentTime NOTIFY currentTimeChanged FINAL)
    Q_PROPERTY(QSizeF videoSize READ videoSize NOTIFY videoSizeChanged FINAL)
    // Empty when there is no message.
    Q_PROPERTY(QString errorMessage READ errorMessage WRITE setErrorMessage NOTIFY
                   errorMessageChanged FINAL)
    Q_PROPERTY(bool isSeeking READ isSeeking NOTIFY isSeekingChanged FINAL)
    Q_PROPERTY(float rate READ rate NOTIFY rateChanged FINAL)
    Q_PROPERTY(float volume READ volume NOTIFY volumeChanged FINAL)
    Q_PROPERTY(bool isMuted READ isMuted NOTIFY isMutedChanged FINAL)
    Q_PROPERTY(bool isRepeating READ isRepeating WRITE setRepeating NOTIFY isRepeatingChanged FINAL)

public:
    // Services the session uses besides the engine; all optional except the engine and the
    // preferences. Without folder access nothing is sandboxed and every grant is refused; without
    // panels no panel opens; without disk jobs the file-system work runs at once, on the GUI
    // thread (for tests and tools that need nothing else to go on meanwhile).
    struct Services {
        MediaEngine &engine;
        Preferences &preferences;
        FolderAccess *folderAccess = nullptr;
        FilePanels *panels = nullptr;
        DiskJobs *diskJobs = nullptr;
    };

    explicit PlaybackSession(Services services, QObject *parent = nullptr);
    ~PlaybackSession() override;

    [[nodiscard]] MediaPlayer *player() const { return m_player.get(); }
    [[nodiscard]] QUrl url() const { return m_url; }
    [[nodiscard]] QString title() const { return m_title; }
    [[nodiscard]] bool isPlaying() const { return m_isPlaying; }
    [[nodiscard]] bool isReady() const { return m_isReady; }
    [[nodiscard]] double duration() const { return m_duration; }
    [[nodiscard]] double currentTime() const { return m_currentTime; }
    [[nodiscard]] QSizeF videoSize() const { return m_videoSize; }
    [[nodiscard]] QString errorMessage() const { return m_errorMessage; }
    void setErrorMessage(const QString &message);
    [[nodiscard]] bool isSeeking() const { return m_isSeeking; }
    [[nodiscard]] float rate() const { return m_rate; }
    [[nodiscard]] float volume() const { return m_volume; }
    [[nodiscard]] bool isMuted() const { return m_isMuted; }
    [[nodiscard]] bool isRepeating() const { return m_isRepeating; }
    void setRepeating(bool on);

    // The lower-case file extensions that count as video.
    static const QSet<QString> &videoExtensions();
    // The title of a file: its name without the last extension.
    [[nodiscard]] static QString titleFor(const QUrl &url);

    Q_INVOKABLE void open(const QUrl &url);
    Q_INVOKABLE void closeFile();
    Q_INVOKABLE void togglePlay();
    Q_INVOKABLE void play();

    // Seeking, scrubbing and frame stepping. Seconds, clamped to 0 … duration.
    Q_INVOKABLE void skip(double seconds);
    Q_INVOKABLE void scrub(double seconds);
    Q_INVOKABLE void beginScrub();
    Q_INVOKABLE void endScrub();
    Q_INVOKABLE void stepFrame(int count);

    // Rate and volume.
    Q_INVOKABLE void setRate(float rate);
    Q_INVOKABLE void nudgeRate(int direction);
    Q_INVOKABLE void setVolume(float volume);
    Q_INVOKABLE void toggleMute();
    [[nodiscard]] static float nextFaster(float rate);
    [[nodiscard]] static float nextSlower(float rate);

    // The video `direction` places after (positive) or before (negative) the open file in its
    // folder, wrapping around at both ends; asks for the folder first where access is missing.
    // The folder is read away from the GUI thread; steps asked for before the disk answered add
    // up to one step, from the same file, once it has.
    Q_INVOKABLE void openSibling(int direction);
    // Asks for a video file in the modal open panel and opens it; nothing on cancel.
    Q_INVOKABLE void presentOpenPanel();

signals:
    void playerChanged();
    void urlChanged();
    void titleChanged();
    void isPlayingChanged();
    void isReadyChanged();
    void durationChanged();
    void currentTimeChanged();
    void videoSizeChanged();
    void errorMessageChanged();
    void isSeekingChanged();
    void rateChanged();
    void volumeChanged();
    void isMutedChanged();
    void isRepeatingChanged();
    // The playhead jumped instead of moving on with playback: a skip, a scrub, a frame step, a
    // restart from the beginning, a new file. `currentTime` already holds where it landed.
    void jumped();

private:
    // Player life cycle and observation.
    void tearDownPlayer();
    void dropItemObservers();
    void attachTimeObserver(MediaPlayer *player);
    void observe(MediaPlayer *player);
    void applyVideoSize(MediaPlayer *player);
    void statusObserved(MediaPlayer *player, MediaPlayer::Status status);
    void presentationSizeObserved(MediaPlayer *player);
    void durationObserved(MediaPlayer *player);
    void endObserved(MediaPlayer *player);
    [[nodiscard]] bool isCurrent(const MediaPlayer *player) const;

    // Moves the playhead to `seconds`, within the item, and asks the player to follow.
    void seekTo(double seconds, bool exact);
    void sendSeek(double seconds, bool exact);
    [[nodiscard]] double clampTime(double seconds) const;
    [[nodiscard]] double frameDuration() const;

    // Opening, in two halves: the file system's answers about access come in between.
    void startPlayer(const QUrl &url);
    void leaveFile();

    // Sibling steps.
    void siblingFound(const FolderNavigator::Sibling &found, int direction);
    void stepOnceGranted(int direction);
    void resumeSteps();

    // Folder access. What opening a file finds out on the disk about access to it and its
    // folder; accesses it started are held here until the session takes them over, or lets
    // them go.
    struct AccessPlan {
        QUrl file;
        bool keepsFolder = false;           // the folder held is the file's
        std::optional<QUrl> restoredFolder; // a folder a remembered grant gave access to again
        std::optional<QString> freshKey;    // where a stale grant's fresh bookmark goes
        std::optional<QByteArray> freshBookmark;
        bool isFileAccessed = false;
    };
    struct Grant;
    [[nodiscard]] bool isSandboxed() const;
    [[nodiscard]] static AccessPlan planAccess(const QUrl &file,
                                               const std::optional<QUrl> &heldFolder,
                                               FolderAccess *access,
                                               const Preferences &preferences);
    void activateAccess(const AccessPlan &plan);
    void releaseAccess(const AccessPlan &plan);
    void stopAccessing();
    void stopFileAccess();
    void stopFolderAccess();
    void requestFolderAccess(const QUrl &folder, std::function<void(bool)> done);
    void presentFolderAccessPanel(const QUrl &folder, std::function<void(bool)> done);
    void grantFolder(const Grant &grant, const std::function<void(bool)> &done);
    [[nodiscard]] static bool isPermissionError(const std::optional<MediaError> &error);

    // Published-state setters: each compares, then emits once.
    void setPlayer(std::unique_ptr<MediaPlayer> player);
    void setUrl(const QUrl &url);
    void setTitle(const QString &title);
    void setPlaying(bool on);
    void setReady(bool on);
    void setDuration(double seconds);
    void setCurrentTime(double seconds);
    void setVideoSize(const QSizeF &size);
    void setSeeking(bool on);
    void setRateValue(float rate);
    void setVolumeValue(float volume);
    void setMutedValue(bool on);

    MediaEngine &m_engine;
    Preferences &m_preferences;
    FolderAccess *m_folderAccess = nullptr;
    FilePanels *m_panels = nullptr;
    DiskJobs &m_diskJobs;

    // Work on the disk for the open file. Every open and close starts a new generation: answers
    // for an earlier one are dropped, for the user has left that file. While the file's access
    // is being settled, or a step's folder is being read, further steps are summed up in
    // `m_pendingSteps`, the newest intent, and run as one once the disk has answered.
    quint64 m_generation = 0;
    bool m_isOpening = false;
    bool m_isStepping = false;
    int m_pendingSteps = 0;

    std::unique_ptr<MediaPlayer> m_player;
    QUrl m_url;
    QString m_title;
    bool m_isPlaying = false;
    bool m_isReady = false;
    double m_duration = 0;
    double m_currentTime = 0;
    QSizeF m_videoSize{0, 0};
    QString m_errorMessage;
    bool m_isSeeking = false;
    float m_rate = 1.0f;
    float m_volume = 1.0f;
    bool m_isMuted = false;
    bool m_isRepeating = false;

    // The connections of the current player's observers and time observer.
    QList<QMetaObject::Connection> m_itemObservers;
    QMetaObject::Connection m_timeObserver;
    SeekQueue m_seeks{[this](double seconds, bool exact) { sendSeek(seconds, exact); }};
    bool m_wasPlayingBeforeScrub = false;

    // The file and the folder whose access this session started; each is stopped before its
    // field is replaced or cleared.
    std::optional<QUrl> m_accessedUrl;
    std::optional<QUrl> m_accessedFolder;
};
