#pragma once

#include <QDBusConnection>
#include <QMutex>
#include <QObject>
#include <QSet>
#include <QThread>

// org.freedesktop.ScreenSaver on the session bus, served from its own connection and thread so
// that it answers while the test's thread waits. Unlike a desktop's, it never lets a cookie go
// when its client leaves the bus, so a cookie that is not returned shows as held.
class FakeScreenSaver : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.ScreenSaver")
public:
    bool serve()
    {
        m_thread.start();
        moveToThread(&m_thread);
        return m_bus.registerObject(m_path, this, QDBusConnection::ExportAllSlots) &&
               m_bus.registerService(QStringLiteral("org.freedesktop.ScreenSaver"));
    }
    ~FakeScreenSaver() override
    {
        m_bus.unregisterService(QStringLiteral("org.freedesktop.ScreenSaver"));
        m_bus.unregisterObject(m_path);
        m_thread.quit();
        m_thread.wait();
    }
    // The cookies handed out and not returned.
    int held() const
    {
        QMutexLocker lock(&m_mutex);
        return int(m_held.size());
    }

public slots:
    uint Inhibit(const QString &, const QString &)
    {
        QMutexLocker lock(&m_mutex);
        m_held.insert(++m_granted);
        return m_granted;
    }
    void UnInhibit(uint cookie)
    {
        QMutexLocker lock(&m_mutex);
        m_held.remove(cookie);
    }

private:
    const QString m_path = QStringLiteral("/org/freedesktop/ScreenSaver");
    QThread m_thread;
    QDBusConnection m_bus =
        QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("screensaver"));
    mutable QMutex m_mutex;
    uint m_granted = 0;
    QSet<uint> m_held;
};
