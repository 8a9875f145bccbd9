// The real application as the desktop sees it on a private session bus: its MPRIS player,
// driven and read with QtDBus, and the screensaver inhibition it holds while playing.
#include "appdriver.h"
#include "fakescreensaver.h"
#include "testsupport.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QTest>

namespace {

const QString kService = QStringLiteral("org.mpris.MediaPlayer2.lunelo");
const QString kPath = QStringLiteral("/org/mpris/MediaPlayer2");
const QString kRoot = QStringLiteral("org.mpris.MediaPlayer2");
const QString kPlayer = QStringLiteral("org.mpris.MediaPlayer2.Player");
const QString kProperties = QStringLiteral("org.freedesktop.DBus.Properties");

// A variant off the bus with its structures (a{sv}, o) turned into Qt values.
QVariant unwrap(const QVariant &value)
{
    if (value.canConvert<QDBusVariant>())
        return unwrap(value.value<QDBusVariant>().variant());
    if (value.canConvert<QDBusArgument>()) {
        QVariantMap map = qdbus_cast<QVariantMap>(value.value<QDBusArgument>());
        for (QVariant &v : map)
            v = unwrap(v);
        return map;
    }
    if (value.canConvert<QDBusObjectPath>())
        return value.value<QDBusObjectPath>().path();
    return value;
}

// The application's MPRIS player, as a desktop panel uses it; remembers every announcement.
class MprisClient : public QObject {
    Q_OBJECT
public:
    bool waitForPlayer()
    {
        m_bus.connect(kService, kPath, kProperties, QStringLiteral("PropertiesChanged"), this,
                      SLOT(propertiesChanged(QString, QVariantMap, QStringList)));
        m_bus.connect(kService, kPath, kPlayer, QStringLiteral("Seeked"), this,
                      SLOT(seekedTo(qlonglong)));
        return QTest::qWaitFor(
            [&] { return m_bus.interface()->isServiceRegistered(kService).value(); }, 10000);
    }

    QDBusMessage call(const QString &method, const QVariantList &arguments = {},
                      const QString &interface = kPlayer)
    {
        QDBusMessage message = QDBusMessage::createMethodCall(kService, kPath, interface, method);
        message.setArguments(arguments);
        return m_bus.call(message);
    }

    QVariant get(const QString &name, const QString &interface = kPlayer)
    {
        return unwrap(
            call(QStringLiteral("Get"), {interface, name}, kProperties).arguments().value(0));
    }

    bool set(const QString &name, const QVariant &value)
    {
        return call(QStringLiteral("Set"),
                    {kPlayer, name, QVariant::fromValue(QDBusVariant(value))}, kProperties)
                   .type() == QDBusMessage::ReplyMessage;
    }

    QVariantMap metadata() { return get(QStringLiteral("Metadata")).toMap(); }
    double seconds() { return get(QStringLiteral("Position")).toLongLong() / 1e6; }

    // Waits for an announcement of `name` with `value`.
    bool waitForChange(const QString &name, const QVariant &value)
    {
        return QTest::qWaitFor(
            [&] {
                return std::any_of(changes.begin(), changes.end(), [&](const QVariantMap &c) {
                    return c.contains(name) && c.value(name) == value;
                });
            },
            10000);
    }

    QList<QVariantMap> changes;
    QList<qlonglong> seeks;

private slots:
    void propertiesChanged(const QString &interface, const QVariantMap &changed,
                           const QStringList &invalidated)
    {
        Q_UNUSED(invalidated)
        if (interface == kPlayer)
            changes << unwrap(QVariant::fromValue(changed)).toMap();
    }
    void seekedTo(qlonglong position) { seeks << position; }

private:
    QDBusConnection m_bus = QDBusConnection::sessionBus();
};

// Starts the application on a clip and waits until it plays and its player is on the bus.
bool startPlaying(AppDriver &app, MprisClient &mpris, const QString &clip = "clip.mp4")
{
    return app.start({testMedia(clip)}) && app.waitForTrace(QStringLiteral("playing")) >= 0 &&
           mpris.waitForPlayer();
}

} // namespace

class TestAppDesktop : public QObject {
    Q_OBJECT

private slots:
    void playerDescribesThePlayingVideo()
    {
        AppDriver app;
        MprisClient mpris;
        QVERIFY(startPlaying(app, mpris));

        QCOMPARE(mpris.get(QStringLiteral("Identity"), kRoot), QStringLiteral("Lunelo"));
        QCOMPARE(mpris.get(QStringLiteral("DesktopEntry"), kRoot),
                 QStringLiteral("org.lunelo.Lunelo"));
        QVERIFY(mpris.get(QStringLiteral("CanRaise"), kRoot).toBool());
        QVERIFY(mpris.get(QStringLiteral("SupportedMimeTypes"), kRoot)
                    .toStringList()
                    .contains(QStringLiteral("video/mp4")));

        QCOMPARE(mpris.get(QStringLiteral("PlaybackStatus")), QStringLiteral("Playing"));
        const QVariantMap metadata = mpris.metadata();
        QCOMPARE(metadata.value(QStringLiteral("xesam:title")), QStringLiteral("clip"));
        QCOMPARE(metadata.value(QStringLiteral("xesam:url")),
                 QUrl::fromLocalFile(testMedia(QStringLiteral("clip.mp4"))).toString());
        QCOMPARE(metadata.value(QStringLiteral("mpris:length")).toLongLong(), 4'000'000);
        QVERIFY(
            metadata.value(QStringLiteral("mpris:trackid")).toString().startsWith("/org/lunelo/"));
        QTRY_VERIFY(mpris.seconds() > 0.2);
        QCOMPARE(mpris.get(QStringLiteral("Rate")).toDouble(), 1.0);
        QCOMPARE(mpris.get(QStringLiteral("Volume")).toDouble(), 1.0);
        for (const char *can :
             {"CanPlay", "CanPause", "CanSeek", "CanGoNext", "CanGoPrevious", "CanControl"})
            QVERIFY2(mpris.get(QString::fromLatin1(can)).toBool(), can);
    }

    void transportCallsDriveThePlayerAndAreAnnounced()
    {
        AppDriver app;
        MprisClient mpris;
        QVERIFY(startPlaying(app, mpris));
        const QString firstTrack =
            mpris.metadata().value(QStringLiteral("mpris:trackid")).toString();

        mpris.call(QStringLiteral("Pause"));
        QVERIFY(mpris.waitForChange(QStringLiteral("PlaybackStatus"), QStringLiteral("Paused")));
        QCOMPARE(mpris.get(QStringLiteral("PlaybackStatus")), QStringLiteral("Paused"));
        mpris.call(QStringLiteral("PlayPause"));
        QVERIFY(mpris.waitForChange(QStringLiteral("PlaybackStatus"), QStringLiteral("Playing")));

        // Stop closes the file; Play then has nothing to play.
        mpris.call(QStringLiteral("Stop"));
        QVERIFY(mpris.waitForChange(QStringLiteral("PlaybackStatus"), QStringLiteral("Stopped")));
        QCOMPARE(mpris.metadata().value(QStringLiteral("mpris:trackid")),
                 QStringLiteral("/org/mpris/MediaPlayer2/TrackList/NoTrack"));
        QVERIFY(!mpris.get(QStringLiteral("CanPlay")).toBool());
        QCOMPARE(mpris.call(QStringLiteral("Play")).type(), QDBusMessage::ReplyMessage);
        QCOMPARE(mpris.get(QStringLiteral("PlaybackStatus")), QStringLiteral("Stopped"));

        const int mark = app.traceCount();
        mpris.call(QStringLiteral("OpenUri"),
                   {QUrl::fromLocalFile(testMedia(QStringLiteral("clip.webm"))).toString()});
        QVERIFY(app.waitForTrace(QStringLiteral("playing"), 10000, mark) >= 0);
        QTRY_COMPARE(mpris.metadata().value(QStringLiteral("xesam:title")), QStringLiteral("clip"));
        QVERIFY(mpris.metadata().value(QStringLiteral("mpris:trackid")) != firstTrack);
        QTRY_COMPARE(mpris.metadata().value(QStringLiteral("mpris:length")).toLongLong(),
                     2'000'000);

        // The position is read, never announced.
        for (const QVariantMap &change : std::as_const(mpris.changes))
            QVERIFY(!change.contains(QStringLiteral("Position")));
    }

    void seekingLandsWhereAskedAndIsAnnounced()
    {
        AppDriver app;
        MprisClient mpris;
        QVERIFY(startPlaying(app, mpris));
        mpris.call(QStringLiteral("Pause"));
        QVERIFY(mpris.waitForChange(QStringLiteral("PlaybackStatus"), QStringLiteral("Paused")));
        const QDBusObjectPath track(
            mpris.metadata().value(QStringLiteral("mpris:trackid")).toString());

        mpris.call(QStringLiteral("SetPosition"),
                   {QVariant::fromValue(track), qlonglong(3'000'000)});
        QTRY_VERIFY(qAbs(mpris.seconds() - 3.0) < 0.05);
        QTRY_VERIFY(!mpris.seeks.isEmpty());
        QVERIFY(qAbs(mpris.seeks.last() / 1e6 - 3.0) < 0.05);

        mpris.call(QStringLiteral("Seek"), {qlonglong(-2'000'000)});
        QTRY_VERIFY(qAbs(mpris.seconds() - 1.0) < 0.05);

        // Requests for another track or beyond this one are stale and change nothing.
        const QDBusObjectPath other(QStringLiteral("/org/lunelo/Lunelo/track/999"));
        mpris.call(QStringLiteral("SetPosition"),
                   {QVariant::fromValue(other), qlonglong(2'000'000)});
        mpris.call(QStringLiteral("SetPosition"),
                   {QVariant::fromValue(track), qlonglong(9'000'000)});
        QTest::qWait(300);
        QVERIFY(qAbs(mpris.seconds() - 1.0) < 0.05);
    }

    void rateAndVolumeAreWritableWithinTheirRanges()
    {
        AppDriver app;
        MprisClient mpris;
        QVERIFY(startPlaying(app, mpris));
        struct Row {
            const char *property;
            double written;
            double readBack;
        };
        const Row rows[] = {
            {"Rate", 1.5, 1.5},     {"Rate", 0.01, 0.1}, {"Rate", 40, 16},
            {"Volume", 0.25, 0.25}, {"Volume", -1, 0},   {"Volume", 2, 1},
        };
        for (const Row &row : rows) {
            const QString name = QString::fromLatin1(row.property);
            QVERIFY(mpris.set(name, row.written));
            QTRY_COMPARE(mpris.get(name).toDouble(), row.readBack);
            QVERIFY(mpris.waitForChange(name, row.readBack));
        }
        // A rate of 0 pauses.
        QVERIFY(mpris.set(QStringLiteral("Rate"), 0.0));
        QVERIFY(mpris.waitForChange(QStringLiteral("PlaybackStatus"), QStringLiteral("Paused")));
    }

    void raiseShowsTheWindowAndQuitEndsTheProcess()
    {
        AppDriver app;
        MprisClient mpris;
        QVERIFY(startPlaying(app, mpris));
        const QString id = QString::number(app.window());
        AppDriver::xdotool({QStringLiteral("windowminimize"), QStringLiteral("--sync"), id});
        const auto isVisible = [&] {
            return AppDriver::xdotool({QStringLiteral("search"), QStringLiteral("--onlyvisible"),
                                       QStringLiteral("--pid"), QString::number(app.processId())})
                .contains(id);
        };
        QTRY_VERIFY(!isVisible());
        mpris.call(QStringLiteral("Raise"), {}, kRoot);
        QTRY_VERIFY(isVisible());

        mpris.call(QStringLiteral("Quit"), {}, kRoot);
        QCOMPARE(app.waitForExit(), 0);
    }

    // Held while a video plays; returned on pause, at the end, on close and when the
    // application quits. The fake never releases a cookie by itself, so a leak shows.
    void screenStaysAwakeOnlyWhilePlaying()
    {
        FakeScreenSaver screensaver;
        QVERIFY(screensaver.serve());
        AppDriver app;
        MprisClient mpris;
        QVERIFY(startPlaying(app, mpris));
        QTRY_COMPARE(screensaver.held(), 1);
        QCOMPARE(screensaver.applications().value(0), QStringLiteral("Lunelo"));

        mpris.call(QStringLiteral("Pause"));
        QTRY_COMPARE(screensaver.held(), 0);
        mpris.call(QStringLiteral("Play"));
        QTRY_COMPARE(screensaver.held(), 1);

        const int mark = app.traceCount();
        mpris.call(QStringLiteral("Seek"), {qlonglong(3'500'000)}); // plays to the end
        QVERIFY(app.waitForTrace(QStringLiteral("paused"), 10000, mark) >= 0);
        QTRY_COMPARE(screensaver.held(), 0);
        mpris.call(QStringLiteral("Play")); // from the start again
        QTRY_COMPARE(screensaver.held(), 1);

        mpris.call(QStringLiteral("Stop"));
        QTRY_COMPARE(screensaver.held(), 0);
        mpris.call(QStringLiteral("OpenUri"),
                   {QUrl::fromLocalFile(testMedia(QStringLiteral("clip.mp4"))).toString()});
        QTRY_COMPARE(screensaver.held(), 1);

        const QString id = QString::number(app.window());
        AppDriver::xdotool({QStringLiteral("windowactivate"), QStringLiteral("--sync"), id});
        AppDriver::xdotool(
            {QStringLiteral("key"), QStringLiteral("--window"), id, QStringLiteral("alt+F4")});
        QCOMPARE(app.waitForExit(), 0);
        QCOMPARE(screensaver.held(), 0);
        QCOMPARE(screensaver.granted().size(), 4);
    }
};

QTEST_MAIN(TestAppDesktop)
#include "tst_app_desktop.moc"
