// The texts of the time labels, the rate and the volume.
#include "formatting.h"

#include <QTest>

#include <limits>

class TestFormatting : public QObject {
    Q_OBJECT

private slots:
    void time_data()
    {
        QTest::addColumn<double>("seconds");
        QTest::addColumn<QString>("text");
        const double inf = std::numeric_limits<double>::infinity();
        QTest::newRow("zero") << 0.0 << "0:00";
        QTest::newRow("negative zero") << -0.0 << "0:00";
        QTest::newRow("truncated, not rounded") << 59.99 << "0:59";
        QTest::newRow("a minute") << 60.0 << "1:00";
        QTest::newRow("minutes keep no leading zero") << 545.0 << "9:05";
        QTest::newRow("just under an hour") << 3599.5 << "59:59";
        QTest::newRow("an hour") << 3600.0 << "1:00:00";
        QTest::newRow("hours") << 3661.0 << "1:01:01";
        QTest::newRow("many hours") << 360000.0 << "100:00:00";
        QTest::newRow("negative") << -1.0 << "0:00";
        QTest::newRow("not a number") << std::numeric_limits<double>::quiet_NaN() << "0:00";
        QTest::newRow("infinity") << inf << "0:00";
    }

    void time()
    {
        QFETCH(double, seconds);
        QFETCH(QString, text);
        QCOMPARE(formatTime(seconds), text);
    }

    void volumeAndRate_data()
    {
        QTest::addColumn<float>("value");
        QTest::addColumn<qint64>("percent");
        QTest::addColumn<QString>("rate");
        QTest::newRow("0.006 rounds up") << 0.006f << qint64(1) << "0.01×";
        QTest::newRow("0.004 rounds down") << 0.004f << qint64(0) << "0.00×";
        // 0.005f is a hair below 0.005, but times 100 in 32 bits it is exactly 0.5.
        QTest::newRow("0.005 in 32-bit arithmetic") << 0.005f << qint64(1) << "0.00×";
        QTest::newRow("one half") << 0.5f << qint64(50) << "0.50×";
        QTest::newRow("full") << 1.0f << qint64(100) << "1.00×";
        QTest::newRow("a rung above one") << 1.25f << qint64(125) << "1.25×";
    }

    void volumeAndRate()
    {
        QFETCH(float, value);
        QFETCH(qint64, percent);
        QFETCH(QString, rate);
        QCOMPARE(volumePercent(value), percent);
        QCOMPARE(formatRate(value), rate);
    }
};

QTEST_GUILESS_MAIN(TestFormatting)
#include "tst_formatting.moc"
