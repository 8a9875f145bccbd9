// The window's frames: the rectangle text (as a damaged preferences file may hold it) and the
// player's frame made from it. What is saved and when, and a frame that fits coming back as
// saved, are the application tests' to see (tst_app).
#include "framestring.h"
#include "windowframes.h"

#include <QTest>

namespace {

const QRectF kVisible(0, 24, 1440, 876); // a 1440 × 900 screen under a 24-point panel

} // namespace

class TestWindowFrames : public QObject {
    Q_OBJECT

private slots:
    // Any text reads as finite numbers (missing ones 0); well-formed text reads back as written.
    void rectangleText_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QRectF>("rect");
        QTest::newRow("fractions, negatives")
            << "{{-12.5, 3.25}, {481, 320.5}}" << QRectF(-12.5, 3.25, 481, 320.5);
        QTest::newRow("cut off") << "{{10, 20}, {3" << QRectF(10, 20, 3, 0);
        QTest::newRow("garbage") << "janela grande" << QRectF();
        QTest::newRow("beyond a double, NaN")
            << "{{1e400, nan}, {-1e999, 7e-2}}" << QRectF(0, 0, 0.07, 0);
    }

    void rectangleText()
    {
        QFETCH(QString, text);
        QFETCH(QRectF, rect);
        QCOMPARE(rectFromString(text), rect);
        QCOMPARE(rectFromString(rectString(rect)), rect);
        if (rect.isValid())
            QCOMPARE(rectString(rect), text);
        QCOMPARE(flipped(rect, 1000), QRectF(rect.x(), 1000 - rect.bottom(), rect.width(),
                                             rect.height())); // from the screen's bottom
    }

    // The player's frame from a saved one: kept when it fits, else the default or centred; always
    // within the window's limits and on the screen.
    void playerFrame_data()
    {
        QTest::addColumn<QRectF>("saved"); // null: none
        QTest::addColumn<QRectF>("frame");
        const QRectF standard(230, 142, 980, 640);
        QTest::newRow("none") << QRectF() << standard;
        QTest::newRow("too small") << QRectF(50, 60, 479, 300) << standard;
        QTest::newRow("too large") << QRectF(0, 0, 1e300, 600) << standard;
        QTest::newRow("off screen") << QRectF(3000, 100, 800, 600) << QRectF(320, 162, 800, 600);
    }

    void playerFrame()
    {
        QFETCH(QRectF, saved);
        QFETCH(QRectF, frame);
        const auto player =
            WindowFrames::player(saved.isNull() ? std::nullopt : std::optional(saved), kVisible);
        QCOMPARE(player.frame, frame);
        QVERIFY(player.frame.intersects(kVisible));
        QCOMPARE(player.minimum, WindowFrames::kPlayerMinimum);
    }
};

QTEST_GUILESS_MAIN(TestWindowFrames)
#include "tst_windowframes.moc"
