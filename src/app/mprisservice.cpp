#include "mprisservice.h"

#include "appdelegate.h"
#include "playbacksession.h"

#include <QDBusAbstractAdaptor>
#include <QDBusMessage>
#include <QMetaProperty>
#include <QTimer>

#include <cmath>
#include <unistd.h>

namespace {

const QString kPath = QStringLiteral("/org/mpris/MediaPlayer2");
const QString kServiceName = QStringLiteral("org.mpris.MediaPlayer2.lunelo");
const QString kPlayerInterface = QStringLiteral("org.mpris.MediaPlayer2.Player");
const QDBusObjectPath kNoTrack(QStringLiteral("/org/mpris/MediaPlayer2/TrackList/NoTrack"));

constexpr double kMinimumRate = 0.1;
constexpr double kMaximumRate = 16.0;

// The player properties announced through PropertiesChanged; the position never is.
constexpr const char *kAnnounced[] = {
    "PlaybackStatus", "LoopStatus",    "Metadata", "Rate",     "Volume",
    "CanGoNext",      "CanGoPrevious", "CanPlay",  "CanPause", "CanSeek",
};

qlonglong microseconds(double seconds)
{
    // A file's header can claim a length beyond what 64 bits of microseconds hold.
    constexpr double kMost = 9.2e18;
    const double us = seconds * 1e6;
    if (!(us > 0))
        return 0;
    return us < kMost ? qlonglong(std::llround(us)) : qlonglong(kMost);
}

} // namespace

// org.mpris.MediaPlayer2: the application.
class MprisRootAdaptor : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.mpris.MediaPlayer2")
    Q_PROPERTY(bool CanQuit READ canQuit CONSTANT)
    Q_PROPERTY(bool CanRaise READ canRaise CONSTANT)
    Q_PROPERTY(bool HasTrackList READ hasTrackList CONSTANT)
    Q_PROPERTY(QString Identity READ identity CONSTANT)
    Q_PROPERTY(QString DesktopEntry READ desktopEntry CONSTANT)
    Q_PROPERTY(QStringList SupportedUriSchemes READ supportedUriSchemes CONSTANT)
    Q_PROPERTY(QStringList SupportedMimeTypes READ supportedMimeTypes CONSTANT)

public:
    explicit MprisRootAdaptor(MprisService *service)
        : QDBusAbstractAdaptor(service)
        , m_service(service)
    {
    }

    bool canQuit() const { return true; }
    bool canRaise() const { return true; }
    bool hasTrackList() const { return false; }
    QString identity() const { return QStringLiteral("Lunelo"); }
    QString desktopEntry() const { return QStringLiteral("org.lunelo.Lunelo"); }
    QStringList supportedUriSchemes() const { return {QStringLiteral("file")}; }
    QStringList supportedMimeTypes() const
    {
        // The types of the desktop entry, one or more for each video extension.
        return {
            QStringLiteral("video/mp4"),        QStringLiteral("video/quicktime"),
            QStringLiteral("video/x-m4v"),      QStringLiteral("video/x-msvideo"),
            QStringLiteral("video/x-matroska"), QStringLiteral("video/webm"),
            QStringLiteral("video/mpeg"),       QStringLiteral("video/mp2t"),
            QStringLiteral("video/3gpp"),
        };
    }

public slots:
    void Raise() { m_service->raise(); }
    void Quit() { m_service->quit(); }

private:
    MprisService *m_service;
};

// org.mpris.MediaPlayer2.Player: the open video and its transport.
class MprisPlayerAdaptor : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.mpris.MediaPlayer2.Player")
    Q_PROPERTY(QString PlaybackStatus READ playbackStatus)
    Q_PROPERTY(QString LoopStatus READ loopStatus WRITE setLoopStatus)
    Q_PROPERTY(QVariantMap Metadata READ metadata)
    Q_PROPERTY(qlonglong Position READ position)
    Q_PROPERTY(double Rate READ rate WRITE setRate)
    Q_PROPERTY(double MinimumRate READ minimumRate CONSTANT)
    Q_PROPERTY(double MaximumRate READ maximumRate CONSTANT)
    Q_PROPERTY(double Volume READ volume WRITE setVolume)
    Q_PROPERTY(bool CanGoNext READ hasFile)
    Q_PROPERTY(bool CanGoPrevious READ hasFile)
    Q_PROPERTY(bool CanPlay READ canPlay)
    Q_PROPERTY(bool CanPause READ canPlay)
    Q_PROPERTY(bool CanSeek READ canSeek)
    Q_PROPERTY(bool CanControl READ canControl CONSTANT)

public:
    explicit MprisPlayerAdaptor(MprisService *service)
        : QDBusAbstractAdaptor(service)
        , m_service(service)
    {
        connect(service, &MprisService::seeked, this, &MprisPlayerAdaptor::Seeked);
    }

    QString playbackStatus() const { return m_service->playbackStatus(); }
    QString loopStatus() const { return m_service->loopStatus(); }
    void setLoopStatus(const QString &status) { m_service->setLoopStatus(status); }
    QVariantMap metadata() const { return m_service->metadata(); }
    qlonglong position() const { return m_service->position(); }
    double rate() const { return m_service->rate(); }
    void setRate(double rate) { m_service->setRate(rate); }
    double minimumRate() const { return kMinimumRate; }
    double maximumRate() const { return kMaximumRate; }
    double volume() const { return m_service->volume(); }
    void setVolume(double volume) { m_service->setVolume(volume); }
    bool hasFile() const { return m_service->hasFile(); }
    bool canPlay() const { return m_service->canPlay(); }
    bool canSeek() const { return m_service->canSeek(); }
    bool canControl() const { return true; }

public slots:
    void Play() { m_service->play(); }
    void Pause() { m_service->pause(); }
    void PlayPause() { m_service->playPause(); }
    void Stop() { m_service->stop(); }
    void Next() { m_service->next(); }
    void Previous() { m_service->previous(); }
    void Seek(qlonglong offset) { m_service->seek(offset); }
    void SetPosition(const QDBusObjectPath &track, qlonglong position)
    {
        m_service->setPosition(track, position);
    }
    void OpenUri(const QString &uri) { m_service->openUri(uri); }

signals:
    void Seeked(qlonglong Position);

private:
    MprisService *m_service;
};

MprisService::MprisService(PlaybackSession &session, AppDelegate &delegate, QObject *parent)
    : QObject(parent)
    , m_session(session)
    , m_delegate(delegate)
    , m_track(kNoTrack)
{
    new MprisRootAdaptor(this);
    new MprisPlayerAdaptor(this);

    // A new file is a new track, even when it is the same file again.
    connect(&session, &PlaybackSession::urlChanged, this, [this] {
        m_track = m_session.url().isEmpty()
                      ? kNoTrack
                      : QDBusObjectPath(
                            QStringLiteral("/org/lunelo/Lunelo/track/%1").arg(++m_trackCount));
        scheduleChanges();
    });
    for (const auto changed :
         {&PlaybackSession::titleChanged, &PlaybackSession::durationChanged,
          &PlaybackSession::isPlayingChanged, &PlaybackSession::isReadyChanged,
          &PlaybackSession::errorMessageChanged, &PlaybackSession::rateChanged,
          &PlaybackSession::volumeChanged, &PlaybackSession::isRepeatingChanged})
        connect(&session, changed, this, &MprisService::scheduleChanges);
    connect(&session, &PlaybackSession::jumped, this, &MprisService::positionJumped);
}

MprisService::~MprisService()
{
    if (m_isPublished)
        m_bus.unregisterObject(kPath);
}

bool MprisService::publish(QDBusConnection bus)
{
    if (!bus.isConnected() || !bus.registerObject(kPath, this, QDBusConnection::ExportAdaptors))
        return false;
    if (!bus.registerService(kServiceName) &&
        !bus.registerService(kServiceName + QStringLiteral(".instance%1").arg(::getpid()))) {
        bus.unregisterObject(kPath);
        return false;
    }
    m_bus = bus;
    m_isPublished = true;
    m_published = snapshot();
    return true;
}

void MprisService::raise()
{
    m_delegate.showWindow();
}

void MprisService::quit()
{
    // As the window's own close button does: its close path runs and the process ends with it.
    m_delegate.presentation().closeWindow();
}

QString MprisService::playbackStatus() const
{
    if (!hasFile() || !m_session.errorMessage().isEmpty())
        return QStringLiteral("Stopped");
    return m_session.isPlaying() ? QStringLiteral("Playing") : QStringLiteral("Paused");
}

QString MprisService::loopStatus() const
{
    return m_session.isRepeating() ? QStringLiteral("Track") : QStringLiteral("None");
}

void MprisService::setLoopStatus(const QString &status)
{
    if (status == QLatin1String("None"))
        m_session.setRepeating(false);
    else if (status == QLatin1String("Track") || status == QLatin1String("Playlist"))
        m_session.setRepeating(true);
}

QVariantMap MprisService::metadata() const
{
    QVariantMap map{{QStringLiteral("mpris:trackid"), QVariant::fromValue(m_track)}};
    if (!hasFile())
        return map;
    map.insert(QStringLiteral("xesam:title"), m_session.title());
    map.insert(QStringLiteral("xesam:url"), m_session.url().toString(QUrl::FullyEncoded));
    if (m_session.duration() > 0)
        map.insert(QStringLiteral("mpris:length"), microseconds(m_session.duration()));
    return map;
}

qlonglong MprisService::position() const
{
    return microseconds(m_session.currentTime());
}

double MprisService::rate() const
{
    return std::round(double(m_session.rate()) * 100.0) / 100.0; // rates are in hundredths
}

void MprisService::setRate(double rate)
{
    if (std::isnan(rate))
        return; // no rate at all: clamping would keep it, and the ladder cannot place it
    // A rate of 0 is how a client asks for a pause.
    if (rate <= 0)
        pause();
    else
        m_session.setRate(float(std::clamp(rate, kMinimumRate, kMaximumRate)));
}

double MprisService::volume() const
{
    return m_session.volume();
}

void MprisService::setVolume(double volume)
{
    if (!std::isnan(volume))
        m_session.setVolume(float(volume));
}

bool MprisService::hasFile() const
{
    return !m_session.url().isEmpty();
}

bool MprisService::canPlay() const
{
    return m_session.isReady();
}

bool MprisService::canSeek() const
{
    return m_session.isReady() && m_session.duration() > 0;
}

void MprisService::play()
{
    if (canPlay() && !m_session.isPlaying())
        m_session.togglePlay();
}

void MprisService::pause()
{
    if (m_session.isPlaying())
        m_session.togglePlay();
}

void MprisService::playPause()
{
    if (canPlay())
        m_session.togglePlay();
}

void MprisService::stop()
{
    m_session.closeFile();
}

void MprisService::next()
{
    if (hasFile())
        m_session.openSibling(1);
}

void MprisService::previous()
{
    if (hasFile())
        m_session.openSibling(-1);
}

void MprisService::seek(qlonglong offset)
{
    if (canSeek())
        m_session.skip(double(offset) / 1e6);
}

void MprisService::setPosition(const QDBusObjectPath &track, qlonglong position)
{
    // A request for another track, or outside this one, is stale: ignored.
    const double seconds = double(position) / 1e6;
    if (!canSeek() || track != m_track || seconds < 0 || seconds > m_session.duration())
        return;
    m_session.skip(seconds - m_session.currentTime());
}

void MprisService::openUri(const QString &uri)
{
    const QUrl url(uri);
    if (url.isLocalFile())
        m_delegate.openPreview(url);
}

void MprisService::positionJumped()
{
    if (m_isPublished && hasFile())
        emit seeked(microseconds(m_session.currentTime()));
}

void MprisService::scheduleChanges()
{
    // Changes that arrive together (a new file changes most properties) go out as one signal.
    if (!m_isPublished || m_changesScheduled)
        return;
    m_changesScheduled = true;
    QTimer::singleShot(0, this, &MprisService::publishChanges);
}

void MprisService::publishChanges()
{
    m_changesScheduled = false;
    const QVariantMap now = snapshot();
    QVariantMap changed;
    for (auto it = now.begin(); it != now.end(); ++it) {
        if (m_published.value(it.key()) != it.value())
            changed.insert(it.key(), it.value());
    }
    m_published = now;
    if (changed.isEmpty())
        return;
    QDBusMessage signal =
        QDBusMessage::createSignal(kPath, QStringLiteral("org.freedesktop.DBus.Properties"),
                                   QStringLiteral("PropertiesChanged"));
    signal << kPlayerInterface << changed << QStringList();
    m_bus.send(signal);
}

QVariantMap MprisService::snapshot() const
{
    const QMetaObject *meta = &MprisPlayerAdaptor::staticMetaObject;
    const auto *adaptor = findChild<MprisPlayerAdaptor *>();
    QVariantMap values;
    for (const char *name : kAnnounced)
        values.insert(QString::fromLatin1(name),
                      meta->property(meta->indexOfProperty(name)).read(adaptor));
    return values;
}

#include "mprisservice.moc"
