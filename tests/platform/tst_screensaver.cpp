// The screensaver inhibition against a screensaver service on a private session bus.
#include "fakescreensaver.h"
#include "screensaver.h"

#include <QSignalSpy>
#include <QTest>

class TestScreenSaver : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QVERIFY(m_fake.serve()); }

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
    FakeScreenSaver m_fake;
};

QTEST_GUILESS_MAIN(TestScreenSaver)
#include "tst_screensaver.moc"
