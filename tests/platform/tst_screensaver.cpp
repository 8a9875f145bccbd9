// The screensaver inhibition against a screensaver service on a private session bus.
#include "screensaver.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QMutex>
#include <QSignalSpy>
#include <QTest>
#include <QThread>

namespace {

// org.freedesktop.ScreenSaver as desktops serve it, on its own connection and thread so that it
// answers while the test's thread waits. It keeps every cookie it handed out; a cookie that is
// never returned stays held, as it would on a desktop until the client leaves the bus.
class FakeScreenSaver : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.ScreenSaver")
public:
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
        Q_UNUSED(application)
        Q_UNUSED(reason)
        QMutexLocker lock(&m_mutex);
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
    mutable QMutex m_mutex;
    QList<uint> m_granted;
    QList<uint> m_returned;
    uint m_nextCookie = 40;
};

} // namespace

class TestScreenSaver : public QObject {
    Q_OBJECT

private slots:
    void initTestCase()
    {
        m_thread.start();
        m_fake.moveToThread(&m_thread);
        QVERIFY(m_bus.isConnected());
        QVERIFY(m_bus.registerObject(QStringLiteral("/org/freedesktop/ScreenSaver"), &m_fake,
                                     QDBusConnection::ExportAllSlots));
        QVERIFY(m_bus.registerService(QStringLiteral("org.freedesktop.ScreenSaver")));
    }

    void cleanupTestCase()
    {
        m_bus.unregisterObject(QStringLiteral("/org/freedesktop/ScreenSaver"));
        m_thread.quit();
        m_thread.wait();
    }

    // Steps: 1 inhibits, 0 releases, '.' lets the replies arrive. Whatever the order, the
    // screen ends up held exactly while asked, and no cookie outlives the object.
    void holdsExactlyWhileInhibitedAndLeaksNothing_data()
    {
        QTest::addColumn<QString>("steps");
        QTest::addColumn<bool>("destroyAtOnce"); // before any reply could arrive
        QTest::newRow("inhibit") << "1." << false;
        QTest::newRow("inhibit, release") << "1.0." << false;
        QTest::newRow("release before the cookie arrives") << "10." << false;
        QTest::newRow("flip-flop before replies") << "10101" << false;
        QTest::newRow("again after a release") << "1.0.1.1" << false;
        QTest::newRow("quit while held") << "1." << true;
        QTest::newRow("quit before the cookie arrives") << "1" << true;
    }

    void holdsExactlyWhileInhibitedAndLeaksNothing()
    {
        QFETCH(QString, steps);
        QFETCH(bool, destroyAtOnce);
        const qsizetype grantedBefore = m_fake.granted().size();
        std::unique_ptr<ScreenSaver> saver = ScreenSaver::create();
        QSignalSpy changed(saver.get(), &ScreenSaver::inhibitedChanged);
        int changes = 0;
        for (const QChar step : steps) {
            if (step == QLatin1Char('.')) {
                QTRY_COMPARE(m_fake.held(), saver->inhibited() ? 1 : 0);
                continue;
            }
            const bool on = step == QLatin1Char('1');
            changes += saver->inhibited() != on;
            saver->setInhibited(on);
            QCOMPARE(saver->inhibited(), on);
        }
        QCOMPARE(changed.count(), changes); // once per change, never for a repeat

        if (!destroyAtOnce)
            QTRY_COMPARE(m_fake.held(), saver->inhibited() ? 1 : 0);
        saver.reset();
        // Everything handed out to this object has been returned by the time it is gone.
        QCOMPARE(m_fake.held(), 0);
        QVERIFY(m_fake.granted().size() > grantedBefore);
    }

private:
    QThread m_thread;
    FakeScreenSaver m_fake;
    QDBusConnection m_bus =
        QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("screensaver"));
};

QTEST_GUILESS_MAIN(TestScreenSaver)
#include "tst_screensaver.moc"
