// The real application as the desktop sees it on a private session bus: its MPRIS player,
// driven and read with QtDBus, and the screensaver inhibition it holds while playing.
#include "appdriver.h"
#include "fakescreensaver.h"
#include "testsupport.h"

#include <QDBusArgument>
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
constexpr int kWait = 10000; // milliseconds; generous, for a busy machine

// A value off the bus with its structures (variants, a{sv}, o) turned into Qt values.
QVariant unwrap(const QVariant &value)
{
    if (value.canConvert<QDBusVariant>())
        return unwrap(value.value<QDBusVariant>().variant());
    if (value.canConvert<QDBusObjectPath>())
        return value.value<QDBusObjectPath>().path();
    if (!value.canConvert<QDBusArgument>())
        return value;
    QVariantMap map = qdbus_cast<QVariantMap>(value.value<QDBusArgument>());
    for (QVariant &v : map)
        v = unwrap(v);
    return map;
}

// The application's MPRIS player as a desktop panel uses it; keeps what it announces.
class MprisClient : public QObject {
    Q_OBJECT
public:
    // Subscribes once the player is on the bus, so that the subscription knows its owner.
    bool waitForPlayer()
    {
        return QTest::qWaitFor(
                   [&] { return m_bus.interface()->isServiceRegistered(kService).value(); },
                   kWait) &&
               m_bus.connect(kService, kPath, kProperties, QStringLiteral("PropertiesChanged"),
                             this, SLOT(propertiesChanged(QString, QVariantMap, QStringList))) &&
               m_bus.connect(kService, kPath, kPlayer, QStringLiteral("Seeked"), this,
                             SLOT(seekedTo(qlonglong)));
    }
    QVariantList call(const QString &method, const QVariantList &arguments = {},
                      const QString &interface = kPlayer)
    {
        auto message = QDBusMessage::createMethodCall(kService, kPath, interface, method);
        message.setArguments(arguments);
        return m_bus.call(message).arguments();
    }
    QVariant get(const QString &name, const QString &interface = kPlayer)
    {
        return unwrap(call(QStringLiteral("Get"), {interface, name}, kProperties).value(0));
    }
    void set(const QString &name, const QVariant &value)
    {
        call(QStringLiteral("Set"), {kPlayer, name, QVariant::fromValue(QDBusVariant(value))},
             kProperties);
    }
    QVariant metadata(const char *key) { return get(QStringLiteral("Metadata")).toMap()[key]; }
    double seconds() { return get(QStringLiteral("Position")).toLongLong() / 1e6; }
    // Waits for `name` to be announced with `value`.
    bool announced(const QString &name, const QVariant &value)
    {
        return QTest::qWaitFor([&] { return changes.contains({name, value}); }, kWait);
    }

    QList<std::pair<QString, QVariant>> changes;
    QList<qlonglong> seeks;

private slots:
    void propertiesChanged(const QString &, const QVariantMap &changed, const QStringList &)
    {
        const QVariantMap values = unwrap(QVariant::fromValue(changed)).toMap();
        for (auto it = values.begin(); it != values.end(); ++it)
            changes.append({it.key(), it.value()});
    }
    void seekedTo(qlonglong position) { seeks << position; }

private:
    QDBusConnection m_bus = QDBusConnection::sessionBus();
};

bool startPlaying(AppDriver &app, MprisClient &mpris)
{
    return app.start({testMedia(QStringLiteral("clip.mp4"))}) &&
           app.waitForTrace(QStringLiteral("playing")) >= 0 && mpris.waitForPlayer();
}

} // namespace

class TestAppDesktop : public QObject {
    Q_OBJECT

private slots:
    void playerShowsTheVideoAndFollowsTheTransport()
    {
        AppDriver app;
        MprisClient mpris;
        QVERIFY(startPlaying(app, mpris));
        QCOMPARE(mpris.get(QStringLiteral("PlaybackStatus")), QStringLiteral("Playing"));
        QCOMPARE(mpris.metadata("xesam:title"), QStringLiteral("clip"));
        QCOMPARE(mpris.metadata("xesam:url"),
                 QUrl::fromLocalFile(testMedia(QStringLiteral("clip.mp4"))).toString());
        QVERIFY(qAbs(mpris.metadata("mpris:length").toLongLong() - 4'000'000) < 100'000);
        QTRY_VERIFY_WITH_TIMEOUT(mpris.seconds() > 0.2, kWait);
        for (const char *can : {"CanPlay", "CanPause", "CanSeek", "CanGoNext", "CanControl"})
            QVERIFY2(mpris.get(QString::fromLatin1(can)).toBool(), can);

        mpris.call(QStringLiteral("Pause"));
        QVERIFY(mpris.announced(QStringLiteral("PlaybackStatus"), QStringLiteral("Paused")));
        mpris.call(QStringLiteral("PlayPause"));
        QVERIFY(mpris.announced(QStringLiteral("PlaybackStatus"), QStringLiteral("Playing")));
        // Stop closes the file.
        mpris.call(QStringLiteral("Stop"));
        QVERIFY(mpris.announced(QStringLiteral("PlaybackStatus"), QStringLiteral("Stopped")));
        QCOMPARE(mpris.metadata("mpris:trackid"),
                 QStringLiteral("/org/mpris/MediaPlayer2/TrackList/NoTrack"));
        QVERIFY(!mpris.get(QStringLiteral("CanPlay")).toBool());
        // The position is read, never announced.
        for (const auto &change : std::as_const(mpris.changes))
            QVERIFY(change.first != QStringLiteral("Position"));
    }

    void seekingRateAndVolumeLandWhereAsked()
    {
        AppDriver app;
        MprisClient mpris;
        QVERIFY(startPlaying(app, mpris));
        mpris.call(QStringLiteral("Pause"));
        QVERIFY(mpris.announced(QStringLiteral("PlaybackStatus"), QStringLiteral("Paused")));
        const QDBusObjectPath track(mpris.metadata("mpris:trackid").toString());

        mpris.call(QStringLiteral("SetPosition"), {QVariant::fromValue(track), 3'000'000LL});
        QTRY_VERIFY_WITH_TIMEOUT(qAbs(mpris.seconds() - 3.0) < 0.05, kWait);
        QTRY_VERIFY_WITH_TIMEOUT(
            !mpris.seeks.isEmpty() && qAbs(mpris.seeks.last() / 1e6 - 3.0) < 0.05, kWait);
        mpris.call(QStringLiteral("Seek"), {-2'000'000LL});
        QTRY_VERIFY_WITH_TIMEOUT(qAbs(mpris.seconds() - 1.0) < 0.05, kWait);
        // A position for another track is stale.
        const QDBusObjectPath other(QStringLiteral("/org/lunelo/Lunelo/track/999"));
        mpris.call(QStringLiteral("SetPosition"), {QVariant::fromValue(other), 2'000'000LL});
        QTest::qWait(300);
        QVERIFY(qAbs(mpris.seconds() - 1.0) < 0.05);

        mpris.set(QStringLiteral("Rate"), 1.5);
        QVERIFY(mpris.announced(QStringLiteral("Rate"), 1.5));
        mpris.set(QStringLiteral("Volume"), 0.25);
        QVERIFY(mpris.announced(QStringLiteral("Volume"), 0.25));
        QCOMPARE(mpris.get(QStringLiteral("Volume")).toDouble(), 0.25);
    }

    void raiseShowsTheWindowAndQuitEndsTheProcess()
    {
        AppDriver app;
        MprisClient mpris;
        QVERIFY(startPlaying(app, mpris));
        const QString id = QString::number(app.window());
        const auto isVisible = [&] {
            return AppDriver::xdotool({QStringLiteral("search"), QStringLiteral("--onlyvisible"),
                                       QStringLiteral("--pid"), QString::number(app.processId())})
                .contains(id);
        };
        AppDriver::xdotool({QStringLiteral("windowminimize"), QStringLiteral("--sync"), id});
        QTRY_VERIFY_WITH_TIMEOUT(!isVisible(), kWait);
        mpris.call(QStringLiteral("Raise"), {}, kRoot);
        QTRY_VERIFY_WITH_TIMEOUT(isVisible(), kWait);
        mpris.call(QStringLiteral("Quit"), {}, kRoot);
        QCOMPARE(app.waitForExit(), 0);
    }

    // The fake never lets a cookie go by itself, so one the player forgets stays held.
    void screenStaysAwakeOnlyWhilePlaying()
    {
        FakeScreenSaver screensaver;
        QVERIFY(screensaver.serve());
        AppDriver app;
        MprisClient mpris;
        QVERIFY(startPlaying(app, mpris));
        QTRY_COMPARE_WITH_TIMEOUT(screensaver.held(), 1, kWait);
        mpris.call(QStringLiteral("Pause"));
        QTRY_COMPARE_WITH_TIMEOUT(screensaver.held(), 0, kWait);
        mpris.call(QStringLiteral("Play"));
        QTRY_COMPARE_WITH_TIMEOUT(screensaver.held(), 1, kWait);
        mpris.call(QStringLiteral("Stop"));
        QTRY_COMPARE_WITH_TIMEOUT(screensaver.held(), 0, kWait);

        const int mark = app.traceCount();
        mpris.call(QStringLiteral("OpenUri"),
                   {QUrl::fromLocalFile(testMedia(QStringLiteral("clip.mp4"))).toString()});
        QVERIFY(app.waitForTrace(QStringLiteral("playing"), kWait, mark) >= 0);
        QTRY_COMPARE_WITH_TIMEOUT(screensaver.held(), 1, kWait);
        const QString id = QString::number(app.window());
        AppDriver::xdotool({QStringLiteral("windowactivate"), QStringLiteral("--sync"), id});
        AppDriver::xdotool(
            {QStringLiteral("key"), QStringLiteral("--window"), id, QStringLiteral("alt+F4")});
        QCOMPARE(app.waitForExit(), 0);
        QCOMPARE(screensaver.held(), 0);
        QCOMPARE(screensaver.granted(), 3);
    }
};

QTEST_MAIN(TestAppDesktop)
#include "tst_app_desktop.moc"
