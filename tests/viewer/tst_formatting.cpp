// The texts of the time labels, the rate and the volume.
#include "formatting.h"

#include <QTest>

#include <limits>

class TestFormatting : public QObject {
    Q_OBJECT

private slots:
    void labels_data()
    {
        QTest::addColumn<QString>("shown");
        QTest::addColumn<QString>("text");
        const auto row = [](const char *name, const QString &shown, const char *text) {
            QTest::newRow(name) << shown << QString(text);
        };
        row("seconds truncated, never rounded up", formatTime(59.99), "0:59");
        row("minutes without a leading zero", formatTime(545.0), "9:05");
        row("an hour", formatTime(3600.0), "1:00:00");
        row("negative", formatTime(-1.0), "0:00");
        row("not a number", formatTime(std::numeric_limits<double>::quiet_NaN()), "0:00");
        row("rate in hundredths", formatRate(1.25f), "1.25×");
        // 0.005f is a hair below 0.005, but times 100 in 32 bits it is exactly 0.5.
        row("volume in 32-bit arithmetic", QString::number(volumePercent(0.005f)), "1");
    }

    void labels()
    {
        QFETCH(QString, shown);
        QFETCH(QString, text);
        QCOMPARE(shown, text);
    }
};

QTEST_GUILESS_MAIN(TestFormatting)
#include "tst_formatting.moc"
