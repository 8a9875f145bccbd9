#include "mprisclient.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QTest>

using namespace Mpris;

namespace {

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

} // namespace

bool MprisClient::waitForPlayer()
{
    return QTest::qWaitFor([&] { return m_bus.interface()->isServiceRegistered(kService).value(); },
                           kWait) &&
           m_bus.connect(kService, kPath, kProperties, QStringLiteral("PropertiesChanged"), this,
                         SLOT(propertiesChanged(QString, QVariantMap, QStringList))) &&
           m_bus.connect(kService, kPath, kPlayer, QStringLiteral("Seeked"), this,
                         SLOT(seekedTo(qlonglong)));
}

QVariantList MprisClient::call(const QString &method, const QVariantList &arguments,
                               const QString &interface)
{
    auto message = QDBusMessage::createMethodCall(kService, kPath, interface, method);
    message.setArguments(arguments);
    return m_bus.call(message).arguments();
}

bool MprisClient::command(const QString &method)
{
    return m_bus.call(QDBusMessage::createMethodCall(kService, kPath, kPlayer, method)).type() ==
           QDBusMessage::ReplyMessage;
}

QVariant MprisClient::get(const QString &name, const QString &interface)
{
    return unwrap(call(QStringLiteral("Get"), {interface, name}, kProperties).value(0));
}

void MprisClient::set(const QString &name, const QVariant &value)
{
    call(QStringLiteral("Set"), {kPlayer, name, QVariant::fromValue(QDBusVariant(value))},
         kProperties);
}

bool MprisClient::announced(const QString &name, const QVariant &value)
{
    return QTest::qWaitFor([&] { return changes.contains({name, value}); }, kWait);
}

void MprisClient::propertiesChanged(const QString &, const QVariantMap &changed,
                                    const QStringList &)
{
    const QVariantMap values = unwrap(QVariant::fromValue(changed)).toMap();
    for (auto it = values.begin(); it != values.end(); ++it)
        changes.append({it.key(), it.value()});
}
