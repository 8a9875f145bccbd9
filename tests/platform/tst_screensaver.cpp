// The screensaver inhibition against a screensaver service on a private session bus.
#include "fakescreensaver.h"
#include "screensaver.h"

#include <QSignalSpy>
#include <QTest>

class TestScreenSaver : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QVERIFY(m_fake.serve()); }

    // Steps: 1 inhibits, 0 releases, '.' lets the replies arrive; then the object goes, as at
    // quit. Whatever the order, the screen is held exactly while asked, and no cookie outlives
    // the object.
    void holdsExactlyWhileInhibitedAndLeaksNothing_data()
    {
        QTest::addColumn<QString>("steps");
        QTest::newRow("quit while held") << "1.";
        QTest::newRow("quit before the cookie arrives") << "1";
        QTest::newRow("inhibit, release") << "1.0.";
        QTest::newRow("release before the cookie arrives") << "10.";
        QTest::newRow("flip-flop before replies") << "10101.";
        QTest::newRow("again after a release") << "1.0.1.1.";
    }

    void holdsExactlyWhileInhibitedAndLeaksNothing()
    {
        QFETCH(QString, steps);
        const int grantedBefore = m_fake.granted();
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
        }
        QCOMPARE(changed.count(), changes); // once per change, never for a repeat
        saver.reset();
        QCOMPARE(m_fake.held(), 0);
        QVERIFY(m_fake.granted() > grantedBefore);
    }

private:
    FakeScreenSaver m_fake;
};

QTEST_GUILESS_MAIN(TestScreenSaver)
#include "tst_screensaver.moc"
