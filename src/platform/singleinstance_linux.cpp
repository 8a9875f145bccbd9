// The desktop's application interface (org.freedesktop.Application) on the session bus, under
// the application id: what file managers and `gio launch` use to reach a running application.
#include "singleinstance.h"

#include <QDBusAbstractAdaptor>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusInterface>
#include <QDBusReply>
#include <QVariantMap>

namespace {

const QString kService = QStringLiteral("org.lunelo.Lunelo");
const QString kPath = QStringLiteral("/org/lunelo/Lunelo");
const QString kInterface = QStringLiteral("org.freedesktop.Application");
constexpr int kForwardTimeoutMs = 5000;

} // namespace

class ApplicationAdaptor : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

public:
    explicit ApplicationAdaptor(SingleInstance *instance)
        : QDBusAbstractAdaptor(instance)
        , m_instance(instance)
    {
    }

public slots:
    void Activate(const QVariantMap &platformData)
    {
        Q_UNUSED(platformData)
        emit m_instance->reopenRequested();
    }

    void Open(const QStringList &uris, const QVariantMap &platformData)
    {
        Q_UNUSED(platformData)
        QList<QUrl> urls;
        for (const QString &uri : uris) {
            const QUrl url(uri);
            if (url.isLocalFile())
                urls << url;
        }
        if (urls.isEmpty())
            emit m_instance->reopenRequested();
        else
            emit m_instance->openRequested(urls);
    }

    void ActivateAction(const QString &name, const QVariantList &parameter,
                        const QVariantMap &platformData)
    {
        Q_UNUSED(name)
        Q_UNUSED(parameter)
        Activate(platformData);
    }

private:
    SingleInstance *m_instance;
};

SingleInstance::SingleInstance(QObject *parent)
    : QObject(parent)
{
}

SingleInstance::~SingleInstance() = default;

bool SingleInstance::claim()
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return true;
    QDBusConnectionInterface *daemon = bus.interface();
    const auto reply = daemon->registerService(kService, QDBusConnectionInterface::DontQueueService,
                                               QDBusConnectionInterface::DontAllowReplacement);
    if (!reply.isValid() || reply.value() != QDBusConnectionInterface::ServiceRegistered)
        return !daemon->isServiceRegistered(kService).value();
    new ApplicationAdaptor(this);
    bus.registerObject(kPath, this, QDBusConnection::ExportAdaptors);
    return true;
}

bool SingleInstance::forward(const QList<QUrl> &urls)
{
    QDBusInterface app(kService, kPath, kInterface, QDBusConnection::sessionBus());
    app.setTimeout(kForwardTimeoutMs);
    QDBusMessage answer;
    if (urls.isEmpty()) {
        answer = app.call(QStringLiteral("Activate"), QVariantMap());
    } else {
        QStringList uris;
        for (const QUrl &url : urls)
            uris << url.toString(QUrl::FullyEncoded);
        answer = app.call(QStringLiteral("Open"), uris, QVariantMap());
    }
    return answer.type() == QDBusMessage::ReplyMessage;
}

#include "singleinstance_linux.moc"
