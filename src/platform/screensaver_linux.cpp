// The desktop's screensaver interface (org.freedesktop.ScreenSaver) on the session bus, which
// GNOME, KDE, Xfce and others implement: Inhibit hands out a cookie, UnInhibit returns it.
#include "screensaver.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

#include <optional>

namespace {

const QString kService = QStringLiteral("org.freedesktop.ScreenSaver");
const QString kPath = QStringLiteral("/org/freedesktop/ScreenSaver");
const QString kInterface = QStringLiteral("org.freedesktop.ScreenSaver");
// A screensaver answers at once; this bounds the wait for a reply at quit.
constexpr int kCallTimeoutMs = 2000;

class FreedesktopScreenSaver final : public ScreenSaver {
public:
    // At quit the held cookie goes back before the process ends, also one whose Inhibit is
    // still on its way. This is the only place that waits on the bus.
    ~FreedesktopScreenSaver() override
    {
        if (m_inFlight) {
            m_inFlight->waitForFinished();
            takeCookie(*m_inFlight);
        }
        if (m_cookie)
            call(QStringLiteral("UnInhibit"), {*m_cookie}).waitForFinished();
    }

    bool inhibited() const override { return m_inhibited; }

    void setInhibited(bool on) override
    {
        if (on == m_inhibited)
            return;
        m_inhibited = on;
        emit inhibitedChanged();
        sync();
    }

private:
    QDBusPendingCall call(const QString &method, const QVariantList &arguments)
    {
        QDBusMessage message = QDBusMessage::createMethodCall(kService, kPath, kInterface, method);
        message.setArguments(arguments);
        return m_bus.asyncCall(message, kCallTimeoutMs);
    }

    // Brings the held cookie in line with `m_inhibited`, one request at a time: a change made
    // while a request is on its way is applied when its reply arrives.
    void sync()
    {
        if (!m_bus.isConnected() || m_inFlight)
            return;
        if (m_inhibited && !m_cookie) {
            m_inFlight = call(QStringLiteral("Inhibit"), {QCoreApplication::applicationName(),
                                                          QStringLiteral("Reprodução de vídeo")});
            auto *watcher = new QDBusPendingCallWatcher(*m_inFlight, this);
            connect(watcher, &QDBusPendingCallWatcher::finished, this,
                    [this](QDBusPendingCallWatcher *w) {
                        w->deleteLater();
                        const bool granted = takeCookie(*w);
                        m_inFlight.reset();
                        // Without a screensaver nothing is retried until the next change.
                        if (granted || !m_inhibited)
                            sync();
                    });
        } else if (!m_inhibited && m_cookie) {
            call(QStringLiteral("UnInhibit"), {*std::exchange(m_cookie, std::nullopt)});
        }
    }

    bool takeCookie(const QDBusPendingCall &inhibit)
    {
        const QDBusPendingReply<uint> reply(inhibit);
        if (!reply.isValid())
            return false;
        m_cookie = reply.value();
        return true;
    }

    QDBusConnection m_bus = QDBusConnection::sessionBus();
    bool m_inhibited = false;
    std::optional<uint> m_cookie;
    std::optional<QDBusPendingCall> m_inFlight;
};

} // namespace

std::unique_ptr<ScreenSaver> ScreenSaver::create()
{
    return std::make_unique<FreedesktopScreenSaver>();
}
