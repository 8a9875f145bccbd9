#pragma once

#include <QDBusConnection>
#include <QList>
#include <QMutex>
#include <QObject>
#include <QStringList>
#include <QThread>

// org.freedesktop.ScreenSaver as desktops serve it, on its own connection and thread so that it
// answers while the test's thread waits. It keeps every cookie it handed out; a cookie that is
// never returned stays held, as it would on a desktop until the client leaves the bus.
class FakeScreenSaver : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.ScreenSaver")
public:
    // Serves the screensaver on the session bus, from its own connection and thread, until
    // destroyed. False when the bus refused.
    bool serve()
    {
        m_thread.start();
        moveToThread(&m_thread);
        return m_bus.registerObject(QStringLiteral("/org/freedesktop/ScreenSaver"), this,
                                    QDBusConnection::ExportAllSlots) &&
               m_bus.registerService(QStringLiteral("org.freedesktop.ScreenSaver"));
    }

    ~FakeScreenSaver() override
    {
        m_bus.unregisterService(QStringLiteral("org.freedesktop.ScreenSaver"));
        m_bus.unregisterObject(QStringLiteral("/org/freedesktop/ScreenSaver"));
        m_thread.quit();
        m_thread.wait();
    }

    QStringList applications() const
    {
        QMutexLocker lock(&m_mutex);
        return m_applications;
    }
    QList<uint> granted() const
    {
        QMutexLocker lock(&m_mutex);
        return m_granted;
    }
    QList<uint> returned() const
    {
        QMutexLocker lock(&m_mutex);
        return m_returned;
    }
    qsizetype held() const { return granted().size() - returned().size(); }

public slots:
    uint Inhibit(const QString &application, const QString &reason)
    {
        Q_UNUSED(reason)
        QMutexLocker lock(&m_mutex);
        m_applications << application;
        m_granted << ++m_nextCookie;
        return m_nextCookie;
    }
    void UnInhibit(uint cookie)
    {
        QMutexLocker lock(&m_mutex);
        if (m_granted.contains(cookie) && !m_returned.contains(cookie))
            m_returned << cookie;
    }

private:
    QThread m_thread;
    QDBusConnection m_bus =
        QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("screensaver"));
    mutable QMutex m_mutex;
    QStringList m_applications;
    QList<uint> m_granted;
    QList<uint> m_returned;
    uint m_nextCookie = 40;
};
