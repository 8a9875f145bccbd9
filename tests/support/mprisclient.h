#pragma once

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QTest>

namespace Mpris {
inline const QString kService = QStringLiteral("org.mpris.MediaPlayer2.lunelo");
inline const QString kPath = QStringLiteral("/org/mpris/MediaPlayer2");
inline const QString kRoot = QStringLiteral("org.mpris.MediaPlayer2");
inline const QString kPlayer = QStringLiteral("org.mpris.MediaPlayer2.Player");
inline const QString kProperties = QStringLiteral("org.freedesktop.DBus.Properties");
} // namespace Mpris

// The application's MPRIS player as a desktop panel uses it, on the session bus; keeps the
// positions it announces it jumped to.
class MprisClient : public QObject {
    Q_OBJECT
public:
    static constexpr int kWait = 20000; // milliseconds; generous, for a busy machine

    // Subscribes once the player is on the bus, so that the subscription knows its owner.
    bool waitForPlayer()
    {
        using namespace Mpris;
        return QTest::qWaitFor(
                   [&] { return m_bus.interface()->isServiceRegistered(kService).value(); },
                   kWait) &&
               m_bus.connect(kService, kPath, kPlayer, QStringLiteral("Seeked"), this,
                             SLOT(seekedTo(qlonglong)));
    }
    // Calls `method`; the reply's arguments (none when the call failed).
    QVariantList call(const QString &method, const QVariantList &arguments = {},
                      const QString &interface = Mpris::kPlayer)
    {
        auto message =
            QDBusMessage::createMethodCall(Mpris::kService, Mpris::kPath, interface, method);
        message.setArguments(arguments);
        return m_bus.call(message).arguments();
    }
    // A property with its bus structures (variants, a{sv}, o) turned into Qt values.
    QVariant get(const QString &name)
    {
        return unwrap(
            call(QStringLiteral("Get"), {Mpris::kPlayer, name}, Mpris::kProperties).value(0));
    }
    void set(const QString &name, const QVariant &value)
    {
        call(QStringLiteral("Set"),
             {Mpris::kPlayer, name, QVariant::fromValue(QDBusVariant(value))}, Mpris::kProperties);
    }
    QVariant metadata(const char *key) { return get(QStringLiteral("Metadata")).toMap()[key]; }

    QList<qlonglong> seeks;

private slots:
    void seekedTo(qlonglong position) { seeks << position; }

private:
    static QVariant unwrap(const QVariant &value)
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

    QDBusConnection m_bus = QDBusConnection::sessionBus();
};
