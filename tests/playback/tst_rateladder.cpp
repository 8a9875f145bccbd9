// The rate ladder, compared exactly: the arithmetic is 32-bit and rounded to hundredths, so every
// rung must come out as the very float written here.
#include "rateladder.h"

#include <QTest>

class TestRateLadder : public QObject {
    Q_OBJECT

private slots:
    void nudgesClimbTheLadder_data()
    {
        QTest::addColumn<float>("start");
        QTest::addColumn<bool>("up");
        QTest::addColumn<QList<float>>("rates");
        QTest::newRow("up from 0")
            << 0.0f << true << QList<float>{0.1f, 0.25f, 0.5f,  0.75f, 0.8f,  0.85f, 0.9f,
                                            1.0f, 1.1f,  1.15f, 1.2f,  1.25f, 1.5f,  1.75f};
        QTest::newRow("down from 3")
            << 3.0f << false
            << QList<float>{2.75f, 2.5f, 2.25f, 2.0f, 1.75f, 1.5f, 1.25f, 1.2f, 1.15f, 1.1f,
                            1.0f,  0.9f, 0.85f, 0.8f, 0.75f, 0.5f, 0.25f, 0.1f, 0.1f};
        QTest::newRow("no upper limit") << 9.75f << true << QList<float>{10.0f, 10.25f};
        QTest::newRow("1.3 up") << 1.3f << true << QList<float>{1.55f};
        QTest::newRow("1.4 down stops at 1.25") << 1.4f << false << QList<float>{1.25f, 1.2f};
        QTest::newRow("1.12 up") << 1.12f << true << QList<float>{1.17f};
        QTest::newRow("1.12 down") << 1.12f << false << QList<float>{1.07f};
        QTest::newRow("0.6 down") << 0.6f << false << QList<float>{0.5f};
        QTest::newRow("0.93 up") << 0.93f << true << QList<float>{1.0f};
        QTest::newRow("thousandths round first") << 1.104f << true << QList<float>{1.15f};
        QTest::newRow("halves round away from zero") << 1.125f << true << QList<float>{1.18f};
    }

    void nudgesClimbTheLadder()
    {
        QFETCH(float, start);
        QFETCH(bool, up);
        QFETCH(QList<float>, rates);
        QList<float> seen{start};
        for (qsizetype i = 0; i < rates.size(); ++i)
            seen << (up ? RateLadder::nextFaster(seen.last())
                        : RateLadder::nextSlower(seen.last()));
        QCOMPARE(seen.mid(1), rates);
    }
};

QTEST_APPLESS_MAIN(TestRateLadder)
#include "tst_rateladder.moc"
