// Seeking and frame stepping on the real engine, judged by the picture on screen: the counter
// clip (60 s at 25 fps, a key frame every 10 s) draws its frame number, so a grab of the window
// tells which frame is shown.
#include "framecounter.h"
#include "memorypreferences.h"
#include "mpvengine.h"
#include "picturestretch.h"
#include "picturesurface.h"
#include "playbacksession.h"
#include "testsupport.h"

#include <QPointer>
#include <QQuickView>
#include <QSignalSpy>
#include <QTest>

#include <algorithm>
#include <clocale>
#include <cmath>

namespace {

constexpr int kLastFrame = 1499;

// The frame an exact seek to `seconds` shows: the first that starts at or after it, where a frame
// that starts less than 5 ms before counts as starting at it; at the end, the last.
int frameAt(double seconds)
{
    return std::min(int(std::ceil((seconds - 0.005) * 25)), kLastFrame);
}

// A session whose picture libmpv draws through a picture surface filling a real window, one
// surface per player as the player view makes them. `reversalBytes`: the engine's room for the
// pictures kept by steps back; any held run of them turns the core around at once.
struct Screen {
    explicit Screen(qint64 reversalBytes, const MpvEngine::MpvOptions &mpvOptions = {})
        : engine(MpvEngine::Options{.drawsVideo = true,
                                    .audioOutput = "null",
                                    .reversalBytes = reversalBytes,
                                    .turnBackAfter = std::chrono::milliseconds(0)},
                 mpvOptions)
    {
        view.setColor(Qt::black);
        view.resize(640, 480);
        QObject::connect(&session, &PlaybackSession::playerChanged, &view, [this] {
            delete surface;
            if (!session.player())
                return;
            surface = new PictureSurface(view.contentItem());
            surface->setSize(view.size());
            surface->setPlayer(session.player());
            surface->setVideoSize(session.videoSize());
        });
        QObject::connect(&session, &PlaybackSession::videoSizeChanged, &view,
                         [this] { surface ? surface->setVideoSize(session.videoSize()) : void(); });
        view.show(); // the engine starts a file once its surface has drawn
    }
    bool open(const char *clip)
    {
        session.open(QUrl::fromLocalFile(testMedia(QLatin1String(clip))));
        return QTest::qWaitFor([&] { return session.isReady() && !session.videoSize().isEmpty(); },
                               10000);
    }
    int shownFrame()
    {
        const QImage image = view.grabWindow();
        const QRectF shown = surface->mapRectToScene(surface->pictureRect());
        const double scale = double(image.width()) / view.width();
        return readFrameCounter(image, QRectF(shown.topLeft() * scale, shown.size() * scale));
    }

    MpvEngine engine;
    MemoryPreferences preferences;
    PlaybackSession session{PlaybackSession::Services{engine, preferences}};
    QQuickView view; // goes first, with the surface drawing the player
    QPointer<PictureSurface> surface;
};

// How many pixels of two grabs of the same picture differ by more than the filtering explains
// (block edges may fall a pixel apart, and levels differ by one or two).
int differingPixels(const QImage &a, const QImage &b)
{
    int differ = 0;
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x) {
            const QRgb p = a.pixel(x, y);
            const QRgb q = b.pixel(x, y);
            differ += std::max({qAbs(qRed(p) - qRed(q)), qAbs(qGreen(p) - qGreen(q)),
                                qAbs(qBlue(p) - qBlue(q))}) > 24;
        }
    }
    return differ;
}

} // namespace

class TestSeekOnScreen : public QObject {
    Q_OBJECT

private slots:
    void initTestCase()
    {
        // As in the application: libmpv draws through OpenGL and reads numbers the C way.
        QQuickWindow::setGraphicsApi(QSGRendererInterface::OpenGL);
        std::setlocale(LC_NUMERIC, "C");
    }

    // Each row is a script of the user's requests, from playing at the start of the clip:
    // a number skips to that time; + and - step a frame, several at once are a held key (a press
    // every 30 ms). While paused, every request must end on the frame the arithmetic names, with
    // the playhead at its target, every seek completed and no notice of playing; "play" must
    // then run forward from that frame.
    void requestsShowTheirFrame_data()
    {
        QTest::addColumn<QString>("script");
        QTest::addColumn<qint64>("room"); // for the pictures kept by steps back
        const qint64 room = MpvEngine::Options{}.reversalBytes;
        const auto row = [room](const char *name, const char *script, qint64 r = 0) {
            QTest::newRow(name) << QString::fromLatin1(script) << (r ? r : room);
        };
        row("exact seeks", "pause 12 12.345 33.4 0.5 7.99 47.123 47.126 19.96");
        row("a step each way, paused", "pause 20 + -");
        row("a step each way, playing", "20 + -");
        row("steps into and past the last frame", "pause 59.92 + 59.92 +++");
        // Frame 510 is 10 frames past the key frame at 500: twelve steps back cross it.
        row("back one at a time, then forward", "pause 20.4 - - - - - - - - - - - - +");
        row("back held, then play", "pause 20.4 ------------ play");
        row("both ways held, then skip", "pause 20.4 ---++--+ 19.32");
        row("back from the end", "pause 60 - - +");
        row("no room for the stretch", "pause 20.4 ---- play", 1);
        row("next file while stepping back", "pause 20.4 ------ open");
        row("past the end, playing", "57 62");
        row("past the end, paused", "pause 57 62");
    }

    void requestsShowTheirFrame()
    {
        QFETCH(QString, script);
        QFETCH(qint64, room);
        Screen h(room);
        PlaybackSession &s = h.session;
        QVERIFY(h.open("counter.mp4"));
        QSignalSpy playing(&s, &PlaybackSession::isPlayingChanged);
        bool paused = false;
        double target = 0;
        for (const QString &request : script.split(QLatin1Char(' '))) {
            const int changes = int(playing.count());
            if (request == QLatin1String("pause")) {
                s.togglePlay();
                paused = true;
                continue;
            } else if (request == QLatin1String("open")) {
                QVERIFY(h.open("clip.mp4"));
                QTRY_VERIFY_WITH_TIMEOUT(s.currentTime() > 0.5, 10000);
                return;
            } else if (request == QLatin1String("play")) {
                s.togglePlay();
                // Forward from the frame shown, and on: never back, never from elsewhere.
                QTRY_VERIFY_WITH_TIMEOUT(h.shownFrame() > frameAt(target) + 10, 10000);
                const int later = h.shownFrame();
                QVERIFY2(later < frameAt(target) + 100, qPrintable(QString::number(later)));
                QTRY_VERIFY_WITH_TIMEOUT(h.shownFrame() > later, 10000);
                QVERIFY(s.isPlaying());
                return;
            } else if (request[0] == QLatin1Char('+') || request[0] == QLatin1Char('-')) {
                if (!paused)
                    target = s.currentTime();
                for (const QChar press : request) {
                    const int frames = press == QLatin1Char('+') ? 1 : -1;
                    s.stepFrame(frames);
                    target = std::clamp(target + frames / 25.0, 0.0, 60.0);
                    QTest::qWait(request.size() > 1 ? 30 : 0); // a held key's repeat
                }
            } else {
                target = std::clamp(request.toDouble(), 0.0, 60.0);
                s.skip(target - s.currentTime());
                if (!paused && target < 60) { // it plays on
                    QTRY_VERIFY_WITH_TIMEOUT(s.currentTime() > target + 0.3, 10000);
                    continue;
                }
            }
            // The frame shows and stays, and the steps' mpv frame-steps never read as playing.
            QTRY_COMPARE_WITH_TIMEOUT(h.shownFrame(), frameAt(target), 10000);
            QTRY_VERIFY_WITH_TIMEOUT(!s.isPlaying(), 10000);
            settle();
            QCOMPARE(h.shownFrame(), frameAt(target));
            // The playhead reads as the target; in the last frame, once the core reached the end
            // there, as the end.
            for (const double t : {s.currentTime(), s.player()->currentTime()})
                QVERIFY2(qAbs(t - target) < 1e-3 || (frameAt(target) == kLastFrame && t == 60),
                         qPrintable(QStringLiteral("%1: %2 s").arg(request).arg(t)));
            QCOMPARE(s.player()->rate(), 0.0f);
            if (paused)
                QCOMPARE(playing.count(), changes);
            paused = true;
        }
    }

    // A step back shows a picture decoded beside the core: it must lie exactly where the core
    // draws the same frame, magnified and moved, in the same colours.
    void stepsBackShowTheCoresPicture()
    {
        Screen h(MpvEngine::Options{}.reversalBytes);
        PlaybackSession &s = h.session;
        QVERIFY(h.open("counter.mp4"));
        s.togglePlay();
        const ZoomState zoom{3.0, QSizeF(150, -70)};
        // The frame, magnified: once the engine has applied the zoom, when two grabs agree.
        const auto grab = [&](int frame) {
            h.surface->setZoom(ZoomState{});
            [&] { QTRY_COMPARE_WITH_TIMEOUT(h.shownFrame(), frame, 10000); }();
            const QImage fitted = h.view.grabWindow();
            h.surface->setZoom(zoom);
            QImage image = fitted;
            for (int i = 0; i < 100 && (image == fitted || image != h.view.grabWindow()); ++i) {
                QTest::qWait(20);
                image = h.view.grabWindow();
            }
            return image;
        };
        s.skip(20.36 - s.currentTime());
        const QImage core = grab(509);
        s.skip(20.4 - s.currentTime());
        grab(510);
        // Two steps back go to the core, the second with the stretch before it decoded meanwhile
        // (a moment, for this small picture); a step forward then shows a kept picture.
        s.stepFrame(-1);
        s.stepFrame(-1);
        grab(508);
        QTest::qWait(500);
        s.stepFrame(1);
        const QImage ours = grab(509);
        QCOMPARE(ours.size(), core.size());
        const int differ = differingPixels(core, ours);
        QVERIFY2(differ < core.width() * core.height() / 100, qPrintable(QString::number(differ)));
    }

    // Until the core draws, the window shows the file's first picture, decoded beside it: at the
    // size the core will report, and as the core draws it. A core without video (vid=no) never
    // draws, so what shows is ours.
    void openingPictureIsTheCores_data()
    {
        QTest::addColumn<QString>("clip");
        QTest::addColumn<bool>("hasOpening");
        QTest::newRow("square pixels") << "counter.mp4" << true;
        QTest::newRow("wide pixels") << "wide.mkv" << true;
        QTest::newRow("VP9") << "clip.webm" << true;
        QTest::newRow("turned for display") << "rotated.mp4" << false;
        QTest::newRow("sound only") << "audio.mp4" << false;
        QTest::newRow("text named as video") << "text.mp4" << false;
    }

    void openingPictureIsTheCores()
    {
        QFETCH(QString, clip);
        QFETCH(bool, hasOpening);
        const std::optional<OpeningPicture> opening =
            PictureStretch::decodeOpening(testMedia(clip));
        QCOMPARE(opening.has_value(), hasOpening);
        if (!opening)
            return;
        Screen h(MpvEngine::Options{}.reversalBytes);
        QVERIFY(h.open(clip.toLatin1().constData()));
        QCOMPARE(opening->displaySize, h.session.videoSize());
        if (clip != QLatin1String("counter.mp4"))
            return;
        h.session.togglePlay();
        h.session.skip(-h.session.currentTime());
        QTRY_COMPARE_WITH_TIMEOUT(h.shownFrame(), 0, 10000);
        const QImage core = h.view.grabWindow();
        Screen held(MpvEngine::Options{}.reversalBytes, {{"vid", "no"}});
        QVERIFY(held.open("counter.mp4"));
        QCOMPARE(held.session.videoSize(), QSizeF(320, 240));
        QTRY_COMPARE_WITH_TIMEOUT(held.shownFrame(), 0, 10000);
        const int differ = differingPixels(core, held.view.grabWindow());
        QVERIFY2(differ < core.width() * core.height() / 100, qPrintable(QString::number(differ)));
    }
};

QTEST_MAIN(TestSeekOnScreen)
#include "tst_seekonscreen.moc"
