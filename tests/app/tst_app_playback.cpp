// The real application, under X and under Wayland: it plays what it is given, draws it upright
// and fitted in the frame it kept from before, and keeps to one instance.
#include "appdriver.h"
#include "testsupport.h"

#include <QTest>

namespace {

bool isBlack(QRgb c)
{
    return qRed(c) < 24 && qGreen(c) < 24 && qBlue(c) < 24;
}

bool isRed(QRgb c)
{
    return qRed(c) > 200 && qGreen(c) < 60 && qBlue(c) < 60;
}

bool isBlue(QRgb c)
{
    return qBlue(c) > 200 && qRed(c) < 60 && qGreen(c) < 60;
}

// First and last index along a line of the image where the picture is not black.
std::pair<int, int> pictureSpan(const QImage &image, bool vertical, int at)
{
    const int length = vertical ? image.height() : image.width();
    int first = -1, last = -1;
    for (int i = 0; i < length; ++i) {
        const QRgb c = vertical ? image.pixel(at, i) : image.pixel(i, at);
        if (!isBlack(c)) {
            if (first < 0)
                first = i;
            last = i;
        }
    }
    return {first, last};
}

} // namespace

class TestAppPlayback : public QObject {
    Q_OBJECT

private slots:
    // The window comes back at the size it was saved with (wherever it was: Wayland places it
    // itself). At 800×600 it shows a 1920×1080 picture in rows 75 to 524 and a quarter-turned one
    // in columns 231 to 568; the red corner of the test picture shows where "up" went.
    void pictureIsUprightAndFitted_data()
    {
        QTest::addColumn<QString>("clip");
        QTest::addColumn<bool>("turned");
        QTest::newRow("landscape") << "asym.mp4" << false;
        QTest::newRow("turned by 90°") << "rotated.mp4" << true;
    }

    void pictureIsUprightAndFitted()
    {
        QFETCH(QString, clip);
        QFETCH(bool, turned);
        AppDriver app;
        app.setPreference(QStringLiteral("playerWindowFrame"),
                          QStringLiteral("{{-5000, 300}, {800, 600}}"));
        QVERIFY(app.start({testMedia(clip)}));
        QVERIFY(app.waitForTrace(QStringLiteral("first-frame")) >= 0);
        QVERIFY(app.waitForWindowSize(QSize(800, 600)));
        // The picture alone, once the chrome has faded from the black where the title was.
        QImage shot;
        QVERIFY(QTest::qWaitFor([&] {
            shot = app.grabWindow();
            for (int y = 0; y < 60; y += 2) {
                for (int x = 0; x < 200; x += 2) {
                    if (!isBlack(shot.pixel(x, y)))
                        return false;
                }
            }
            return true;
        }));
        saveShot(shot, QStringLiteral("fitted-") + QTest::currentDataTag());
        QCOMPARE(shot.size(), QSize(800, 600));
        if (!turned) {
            const auto [top, bottom] = pictureSpan(shot, true, 400);
            QVERIFY2(qAbs(top - 75) <= 1 && qAbs(bottom - 524) <= 1,
                     qPrintable(QStringLiteral("rows %1 to %2").arg(top).arg(bottom)));
            QVERIFY(isRed(shot.pixel(40, 95)));    // top left
            QVERIFY(isBlue(shot.pixel(760, 505))); // bottom right
            QVERIFY(!isRed(shot.pixel(760, 95)));
        } else {
            const auto [left, right] = pictureSpan(shot, false, 300);
            QVERIFY2(qAbs(left - 231) <= 1 && qAbs(right - 568) <= 1,
                     qPrintable(QStringLiteral("columns %1 to %2").arg(left).arg(right)));
            // The clip's display matrix turns it a quarter counter-clockwise (ffprobe reads
            // rotation=90, and ffmpeg's own autorotation agrees): the top-left corner goes to
            // the bottom left.
            QVERIFY(isRed(shot.pixel(250, 580)));
            QVERIFY(isBlue(shot.pixel(550, 20)));
        }
    }

    void secondLaunchHandsItsFileToTheRunningInstance()
    {
        AppDriver first;
        QVERIFY(first.start({testMedia(QStringLiteral("clip.mp4"))}));
        QVERIFY(first.waitForTrace(QStringLiteral("ready")) >= 0);
        const int mark = first.traceCount();

        AppDriver second;
        QVERIFY(second.start(
            {testMedia(QStringLiteral("clip.webm")), testMedia(QStringLiteral("asym.mp4"))}));
        QCOMPARE(second.waitForExit(), 0);
        QVERIFY(second.trace().isEmpty()); // it opened nothing itself

        QVERIFY(first.waitForTrace(QStringLiteral("url ") + testMedia(QStringLiteral("clip.webm")),
                                   10000, mark) >= 0);
        QVERIFY(first.waitForTrace(QStringLiteral("ready"), 10000, mark) >= 0);
        // Only the first file of a request opens.
        QVERIFY(!first.trace().mid(mark).join('\n').contains(QStringLiteral("asym")));

        // A launch without files only brings the running window forward.
        AppDriver third;
        QVERIFY(third.start());
        QCOMPARE(third.waitForExit(), 0);
        QVERIFY(first.isRunning());
    }
};

QTEST_MAIN(TestAppPlayback)
#include "tst_app_playback.moc"
