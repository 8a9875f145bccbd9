// Where the picture lies, and how the surface hands that to the engine.
#include "fakeengine.h"
#include "pictureframe.h"
#include "picturesurface.h"

#include <QTest>

class TestPictureSurface : public QObject {
    Q_OBJECT

private slots:
    void frame_data()
    {
        QTest::addColumn<QSizeF>("bounds");
        QTest::addColumn<QSizeF>("video");
        QTest::addColumn<double>("scale");
        QTest::addColumn<QSizeF>("offset");
        QTest::addColumn<QRectF>("frame");
        const QSizeF view(800, 600), wide(1920, 1080);
        QTest::newRow("fitted, letterboxed")
            << view << wide << 1.0 << QSizeF(0, 0) << QRectF(0, 75, 800, 450);
        QTest::newRow("2x, moved")
            << view << wide << 2.0 << QSizeF(100, -50) << QRectF(-300, -200, 1600, 900);
        QTest::newRow("portrait, pillarboxed")
            << view << QSizeF(1080, 1920) << 1.0 << QSizeF(0, 0) << QRectF(231.25, 0, 337.5, 600);
        QTest::newRow("equal ratios take the width")
            << QSizeF(960, 540) << wide << 1.0 << QSizeF(0, 0) << QRectF(0, 0, 960, 540);
        QTest::newRow("no video size")
            << view << QSizeF(0, 0) << 3.0 << QSizeF(40, 40) << QRectF(0, 0, 800, 600);
        QTest::newRow("degenerate video")
            << view << QSizeF(1, 1080) << 1.0 << QSizeF(0, 0) << QRectF(0, 0, 800, 600);
        QTest::newRow("degenerate view")
            << QSizeF(1, 600) << wide << 1.0 << QSizeF(0, 0) << QRectF(0, 0, 1, 600);
        QTest::newRow("fitted side too thin")
            << QSizeF(800, 600) << QSizeF(4000, 2) << 1.0 << QSizeF(0, 0) << QRectF(0, 0, 800, 600);
    }

    void frame()
    {
        QFETCH(QSizeF, bounds);
        QFETCH(QSizeF, video);
        QFETCH(double, scale);
        QFETCH(QSizeF, offset);
        QFETCH(QRectF, frame);
        QCOMPARE(pictureFrame(bounds, video, scale, offset), frame);
    }

    // The engine fits the picture and zooms about its centre: the same frame must come out.
    void engineZoomReproducesTheFrame_data()
    {
        QTest::addColumn<QSizeF>("bounds");
        QTest::addColumn<QSizeF>("video");
        QTest::addColumn<double>("scale");
        QTest::addColumn<QSizeF>("offset");
        QTest::newRow("fitted") << QSizeF(800, 600) << QSizeF(1920, 1080) << 1.0 << QSizeF(0, 0);
        QTest::newRow("2x moved") << QSizeF(800, 600) << QSizeF(1920, 1080) << 2.0
                                  << QSizeF(100, -50);
        QTest::newRow("16x portrait")
            << QSizeF(1024, 700) << QSizeF(1080, 1920) << 16.0 << QSizeF(-2000, 3000);
    }

    void engineZoomReproducesTheFrame()
    {
        QFETCH(QSizeF, bounds);
        QFETCH(QSizeF, video);
        QFETCH(double, scale);
        QFETCH(QSizeF, offset);
        const VideoZoom zoom = videoZoom(bounds, video, scale, offset);
        const QSizeF fitted = fittedSize(bounds, video);
        const double w = fitted.width() * zoom.scale, h = fitted.height() * zoom.scale;
        const QRectF engine((bounds.width() - w) / 2 + zoom.panX * w,
                            (bounds.height() - h) / 2 + zoom.panY * h, w, h);
        QCOMPARE(engine, pictureFrame(bounds, video, scale, offset));
    }

    void surfaceAppliesEveryChangeToItsPlayerAtOnce()
    {
        FakePlayer player(QUrl::fromLocalFile(QStringLiteral("/v/a.mp4")));
        PictureSurface surface;
        surface.setSize(QSizeF(800, 600));
        surface.setPlayer(&player);
        surface.setVideoSize(QSizeF(1920, 1080));
        QCOMPARE(surface.pictureRect(), QRectF(0, 75, 800, 450));
        QCOMPARE(player.zoomScale(), 1.0);

        surface.setZoom(ZoomState{2.0, QSizeF(100, -50)});
        QCOMPARE(surface.pictureRect(), QRectF(-300, -200, 1600, 900));
        QCOMPARE(player.zoomScale(), 2.0);
        QCOMPARE(player.zoomPan(), QPointF(100.0 / 1600, -50.0 / 900));

        // A resize re-lays the picture with the same zoom.
        surface.setSize(QSizeF(400, 300));
        QCOMPARE(surface.pictureRect(), QRectF(-100, -125, 800, 450));
        QCOMPARE(player.zoomPan(), QPointF(100.0 / 800, -50.0 / 450));
    }
};

QTEST_MAIN(TestPictureSurface)
#include "tst_picturesurface.moc"
