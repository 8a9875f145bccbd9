// The chrome of the real application: shown when a video opens, gone 1.1 s later, back when
// the pointer reaches the bottom of the window.
#include "appdriver.h"
#include "testsupport.h"

#include <QTest>

namespace {

bool isGrey(QRgb c)
{
    return qAbs(qRed(c) - 128) < 16 && qAbs(qGreen(c) - 128) < 16 && qAbs(qBlue(c) - 128) < 16;
}

} // namespace

class TestAppChrome : public QObject {
    Q_OBJECT

private slots:
    void chromeShowsOnOpeningHidesAndComesBackAtTheBottom()
    {
        // The pointer away from the window, so nothing holds the chrome.
        AppDriver::xdotool({QStringLiteral("mousemove"), QStringLiteral("0"), QStringLiteral("0")});
        AppDriver app;
        QVERIFY(app.start({testMedia(QStringLiteral("asym.mp4"))}));
        const int opened = app.waitForTrace(QStringLiteral("url "));
        QVERIFY(opened >= 0);
        QVERIFY(app.waitForTrace(QStringLiteral("first-frame")) >= 0);
        QVERIFY(app.waitForTrace(QStringLiteral("chrome hidden"), 10000, opened) >= 0);
        app.resizeWindow(800, 600);
        QTest::qWait(500);
        QImage shot = app.grabWindow();
        saveShot(shot, QStringLiteral("app-chrome-hidden"));
        // Grey picture where the bar was (the picture spans rows 75 to 525; the bar sits
        // between 16 and 60 points from the bottom, over black).
        QVERIFY(qGray(shot.pixel(400, 560)) < 16);
        QVERIFY(isGrey(shot.pixel(400, 300)));

        const QPoint origin = app.windowGeometry().topLeft();
        const int mark = app.traceCount();
        AppDriver::xdotool({QStringLiteral("mousemove"), QString::number(origin.x() + 400),
                            QString::number(origin.y() + 560)});
        QVERIFY(app.waitForTrace(QStringLiteral("chrome shown"), 10000, mark) >= 0);
        QTest::qWait(500);
        shot = app.grabWindow();
        saveShot(shot, QStringLiteral("app-chrome-shown"));
        // The bar's translucent fill over black, its white scrubber, and the title above.
        const QRgb fill = shot.pixel(30, 560);
        QVERIFY2(qGray(fill) > 12 && qGray(fill) < 60, qPrintable(QColor(fill).name()));
        int white = 0;
        for (int x = 100; x < 700; ++x)
            white += qGray(shot.pixel(x, 562)) > 200 ? 1 : 0;
        QVERIFY2(white > 20, qPrintable(QString::number(white)));
        // Holding still in the band keeps it up.
        QTest::qWait(2000);
        QVERIFY(!app.trace().mid(mark).contains(QStringLiteral("chrome hidden")));
    }
};

QTEST_MAIN(TestAppChrome)
#include "tst_app_chrome.moc"
