// The window's frames: the rectangle text, the two modes, what is saved and when.
#include "framestring.h"
#include "memorypreferences.h"
#include "previewwindowdelegate.h"
#include "windowframes.h"

#include <QGuiApplication>
#include <QScreen>
#include <QTest>
#include <QWindow>

namespace {

const QRectF kVisible(0, 24, 1440, 876); // a 1440 × 900 screen under a 24-point panel

struct Fixture {
    MemoryPreferences preferences;
    PreviewWindowDelegate delegate{preferences};
    QWindow window;
    bool reducedMotion = true;

    Fixture()
    {
        delegate.setReducedMotion([this] { return reducedMotion; });
        delegate.attach(&window);
    }

    std::optional<QString> savedText() const
    {
        return preferences.stringValue(QStringLiteral("playerWindowFrame"));
    }
};

} // namespace

class TestWindowFrames : public QObject {
    Q_OBJECT

private slots:
    void rectangleText_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QRectF>("rect");
        QTest::newRow("whole numbers") << "{{100, 200}, {980, 640}}" << QRectF(100, 200, 980, 640);
        QTest::newRow("fractions and negatives")
            << "{{-12.5, 3.25}, {481, 320.5}}" << QRectF(-12.5, 3.25, 481, 320.5);
        QTest::newRow("missing numbers read 0") << "{{10, 20}}" << QRectF(10, 20, 0, 0);
        QTest::newRow("garbage") << "janela grande" << QRectF(0, 0, 0, 0);
    }

    void rectangleText()
    {
        QFETCH(QString, text);
        QFETCH(QRectF, rect);
        QCOMPARE(rectFromString(text), rect);
        if (rect.width() > 0)
            QCOMPARE(rectString(rect), text);
        // From the bottom of a 1000-point screen and back.
        QCOMPARE(flipped(flipped(rect, 1000), 1000), rect);
        QCOMPARE(flipped(QRectF(0, 0, 100, 100), 1000), QRectF(0, 900, 100, 100));
    }

    void modeFrames_data()
    {
        QTest::addColumn<bool>("hasSaved");
        QTest::addColumn<QRectF>("saved");
        QTest::addColumn<QRectF>("frame");
        QTest::newRow("no saved frame") << false << QRectF() << QRectF(230, 142, 980, 640);
        QTest::newRow("saved, on screen")
            << true << QRectF(50, 60, 700, 500) << QRectF(50, 60, 700, 500);
        QTest::newRow("saved 400 × 300 is too small")
            << true << QRectF(50, 60, 400, 300) << QRectF(230, 142, 980, 640);
        QTest::newRow("saved 480 × 320 is enough")
            << true << QRectF(50, 60, 480, 320) << QRectF(50, 60, 480, 320);
        QTest::newRow("saved off screen, centred")
            << true << QRectF(3000, 100, 800, 600) << QRectF(320, 162, 800, 600);
        QTest::newRow("saved 20000 × 20000 is the largest")
            << true << QRectF(0, 0, 20000, 20000) << QRectF(0, 0, 20000, 20000);
        QTest::newRow("saved beyond the largest, from a damaged file")
            << true << QRectF(0, 0, 1e300, 600) << QRectF(230, 142, 980, 640);
        QTest::newRow("saved far away, centred")
            << true << QRectF(-1e300, 1e300, 800, 600) << QRectF(320, 162, 800, 600);
    }

    void modeFrames()
    {
        QFETCH(bool, hasSaved);
        QFETCH(QRectF, saved);
        QFETCH(QRectF, frame);
        const auto player =
            WindowFrames::player(hasSaved ? std::optional(saved) : std::nullopt, kVisible);
        QCOMPARE(player.frame, frame);
        QCOMPARE(player.minimum, QSizeF(480, 320));
        QCOMPARE(player.maximum, QSizeF(20000, 20000));
    }

    void introductionAndShortScreens()
    {
        const auto intro = WindowFrames::introduction(kVisible);
        QCOMPARE(intro.frame, QRectF(490, 172, 460, 580));
        QCOMPARE(intro.minimum, QSizeF(420, 480));
        QCOMPARE(intro.maximum, QSizeF(520, 640));
        // A short screen: both modes leave 48 points free.
        const QRectF low(0, 0, 1280, 600);
        QCOMPARE(WindowFrames::introduction(low).frame.height(), 552.0);
        QCOMPARE(WindowFrames::introduction(low).maximum.height(), 576.0);
        QCOMPARE(WindowFrames::player(std::nullopt, low).frame.height(), 552.0);
        QCOMPARE(WindowFrames::shrunk(QRectF(0, 0, 1000, 600)), QRectF(15, 9, 970, 582));
    }

    // Frames are the player's only: the introduction and full screen save nothing.
    void savingFollowsTheMode()
    {
        Fixture f;
        f.delegate.apply(&f.window, true);
        QCOMPARE(f.window.width(), 460);
        f.window.setGeometry(100, 100, 500, 500);
        f.delegate.savePlayerFrame(&f.window);
        QVERIFY(!f.savedText());

        f.delegate.apply(&f.window, false);
        QCOMPARE(f.window.width(), 980);
        QCOMPARE(f.window.minimumSize(), QSize(480, 320));
        f.window.setGeometry(100, 150, 700, 500);
        f.delegate.savePlayerFrame(&f.window);
        const double screenHeight = QGuiApplication::primaryScreen()->geometry().height();
        QCOMPARE(f.savedText(), rectString(flipped(QRectF(100, 150, 700, 500), screenHeight)));

        // Applying the same mode again leaves the size alone.
        f.window.setGeometry(120, 150, 900, 500);
        f.delegate.apply(&f.window, false);
        QCOMPARE(f.window.width(), 900);

        f.window.setWindowStates(Qt::WindowFullScreen);
        f.window.setGeometry(0, 0, 1200, 900);
        f.delegate.savePlayerFrame(&f.window);
        QCOMPARE(f.savedText(), rectString(flipped(QRectF(100, 150, 700, 500), screenHeight)));
    }

    // The frame is saved as the close begins; the shrinking fade does not replace it, and a
    // relaunch restores it. Without motion the window closes at once.
    void closeSavesTheFrameBeforeTheFade_data()
    {
        QTest::addColumn<bool>("reducedMotion");
        QTest::newRow("fading") << false;
        QTest::newRow("reduced motion, or no opacity") << true;
    }

    void closeSavesTheFrameBeforeTheFade()
    {
        QFETCH(bool, reducedMotion);
        Fixture f;
        f.reducedMotion = reducedMotion;
        f.delegate.apply(&f.window, false);
        f.window.show();
        QTRY_VERIFY(f.window.opacity() == 1.0);
        const QRect before(140, 120, 800, 560);
        f.window.setGeometry(before);
        f.window.close();
        QVERIFY(f.delegate.isClosing());
        QCOMPARE(f.window.isVisible(), !reducedMotion); // fading first
        QTRY_VERIFY(!f.window.isVisible());

        Fixture relaunched;
        relaunched.preferences.values = f.preferences.values;
        relaunched.delegate.apply(&relaunched.window, false);
        QCOMPARE(relaunched.window.geometry(), before);
    }
};

QTEST_MAIN(TestWindowFrames)
#include "tst_windowframes.moc"
