#pragma once

#include <QDBusConnection>
#include <QList>
#include <QObject>
#include <QString>
#include <QVariant>

#include <utility>

namespace Mpris {
inline const QString kService = QStringLiteral("org.mpris.MediaPlayer2.lunelo");
inline const QString kPath = QStringLiteral("/org/mpris/MediaPlayer2");
inline const QString kRoot = QStringLiteral("org.mpris.MediaPlayer2");
inline const QString kPlayer = QStringLiteral("org.mpris.MediaPlayer2.Player");
inline const QString kProperties = QStringLiteral("org.freedesktop.DBus.Properties");
} // namespace Mpris

// The application's MPRIS player as a desktop panel uses it, on the session bus; keeps what it
// announces.
class MprisClient : public QObject {
    Q_OBJECT
public:
    static constexpr int kWait = 20000; // milliseconds; generous, for a busy machine

    // Subscribes once the player is on the bus, so that the subscription knows its owner.
    bool waitForPlayer();
    // Calls `method`; the reply's arguments (none when the call failed).
    QVariantList call(const QString &method, const QVariantList &arguments = {},
                      const QString &interface = Mpris::kPlayer);
    // Calls `method` of the player; whether it was answered without an error.
    bool command(const QString &method);
    // A property with its bus structures (variants, a{sv}, o) turned into Qt values.
    QVariant get(const QString &name, const QString &interface = Mpris::kPlayer);
    void set(const QString &name, const QVariant &value);
    QVariant metadata(const char *key) { return get(QStringLiteral("Metadata")).toMap()[key]; }
    double seconds() { return get(QStringLiteral("Position")).toLongLong() / 1e6; }
    // Waits for `name` to be announced with `value`.
    bool announced(const QString &name, const QVariant &value);

    QList<std::pair<QString, QVariant>> changes;
    QList<qlonglong> seeks;

private slots:
    void propertiesChanged(const QString &, const QVariantMap &changed, const QStringList &);
    void seekedTo(qlonglong position) { seeks << position; }

private:
    QDBusConnection m_bus = QDBusConnection::sessionBus();
};
