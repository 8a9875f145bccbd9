// The texts of the time labels, the rate, the volume and the zoom.
#include "formatting.h"
#include "zoomstate.h"

#include <QTest>

#include <limits>

class TestFormatting : public QObject {
    Q_OBJECT

private slots:
    void labels_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<double>("value");
        QTest::addColumn<QString>("text");
        const auto row = [](const char *name, const char *kind, double value, const char *text) {
            QTest::newRow(name) << QString(kind) << value << QString(text);
        };
        row("zero", "time", 0.0, "0:00");
        row("negative zero", "time", -0.0, "0:00");
        row("truncated, not rounded", "time", 59.99, "0:59");
        row("minutes without a leading zero", "time", 545.0, "9:05");
        row("just under an hour", "time", 3599.5, "59:59");
        row("an hour", "time", 3600.0, "1:00:00");
        row("many hours", "time", 360000.0, "100:00:00");
        row("negative", "time", -1.0, "0:00");
        row("not a number", "time", std::numeric_limits<double>::quiet_NaN(), "0:00");
        row("infinity", "time", std::numeric_limits<double>::infinity(), "0:00");
        row("rate in hundredths", "rate", 1.25, "1.25×");
        row("rate rounds", "rate", 0.006, "0.01×");
        row("volume rounds up", "volume", 0.006, "1");
        row("volume rounds down", "volume", 0.004, "0");
        // 0.005f is a hair below 0.005, but times 100 in 32 bits it is exactly 0.5.
        row("volume in 32-bit arithmetic", "volume", 0.005, "1");
        row("full volume", "volume", 1.0, "100");
        row("zoom, halves away from zero", "zoom", 1.125, "113%");
        row("zoom at most", "zoom", 16.0, "1600%");
    }

    void labels()
    {
        QFETCH(QString, kind);
        QFETCH(double, value);
        QFETCH(QString, text);
        const QString shown = kind == "time"   ? formatTime(value)
                              : kind == "rate" ? formatRate(float(value))
                              : kind == "zoom" ? ZoomState{value, {}}.percentLabel()
                                               : QString::number(volumePercent(float(value)));
        QCOMPARE(shown, text);
    }
};

QTEST_GUILESS_MAIN(TestFormatting)
#include "tst_formatting.moc"
