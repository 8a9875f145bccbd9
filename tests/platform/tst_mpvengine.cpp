// The session on the real engine: libmpv decoding generated clips, without a window.
#include "memorypreferences.h"
#include "mpvengine.h"
#include "playbacksession.h"
#include "testsupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

#include <clocale>
#include <cmath>

namespace {

// The engine's error log, collected so a test fails on any error it did not expect.
QStringList engineErrors;
QtMessageHandler previousHandler = nullptr;

void collectEngineErrors(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    if (context.category && qstrcmp(context.category, "lunelo.mpv") == 0) {
        engineErrors << text;
        return;
    }
    previousHandler(type, context, text);
}

struct Fixture {
    MpvEngine engine{MpvEngine::Options{.drawsVideo = false, .audioOutput = "null"}};
    MemoryPreferences preferences;
    PlaybackSession session{PlaybackSession::Services{engine, preferences}};

    bool openAndWaitReady(const QString &clip)
    {
        session.open(QUrl::fromLocalFile(testMedia(clip)));
        return QTest::qWaitFor([&] { return session.isReady(); }, 10000);
    }
};

} // namespace

class TestMpvEngine : public QObject {
    Q_OBJECT

private slots:
    void initTestCase()
    {
        std::setlocale(LC_NUMERIC, "C");
        previousHandler = qInstallMessageHandler(collectEngineErrors);
    }

    void init() { engineErrors.clear(); }

    void cleanup()
    {
        if (!QTest::currentTestFailed())
            QVERIFY2(engineErrors.isEmpty(), qPrintable(engineErrors.join('\n')));
    }

    void playableClipReachesReadyAndPlays_data()
    {
        QTest::addColumn<QString>("clip");
        QTest::addColumn<double>("duration");
        QTest::addColumn<QSizeF>("size");
        QTest::newRow("H.264 and AAC in MP4") << "clip.mp4" << 4.0 << QSizeF(320, 240);
        QTest::newRow("VP9 in WebM") << "clip.webm" << 2.0 << QSizeF(320, 240);
        QTest::newRow("turned by 90°") << "rotated.mp4" << 2.0 << QSizeF(1080, 1920);
    }

    void playableClipReachesReadyAndPlays()
    {
        QFETCH(QString, clip);
        QFETCH(double, duration);
        QFETCH(QSizeF, size);
        Fixture f;
        QVERIFY(f.openAndWaitReady(clip));
        QVERIFY(qAbs(f.session.duration() - duration) < 0.1);
        QVERIFY(f.session.isPlaying());
        QTRY_COMPARE_WITH_TIMEOUT(f.session.videoSize(), size, 5000);
        QTRY_VERIFY_WITH_TIMEOUT(f.session.currentTime() > 0.3, 5000);
        QVERIFY(f.session.errorMessage().isEmpty());
        QVERIFY(engineErrors.isEmpty());
    }

    void brokenInputEndsWithAMessageAndTheNextFileOpens_data()
    {
        QTest::addColumn<QString>("clip");
        QTest::addColumn<QString>("message");
        QTest::newRow("truncated MP4") << "truncated.mp4"
                                       << "O formato deste arquivo não é reconhecido.";
        QTest::newRow("text named .mp4") << "text.mp4"
                                         << "O formato deste arquivo não é reconhecido.";
        QTest::newRow("missing file")
            << "no-such-file.mp4"
            << "O vídeo não foi encontrado. Ele pode ter sido movido ou apagado.";
    }

    void brokenInputEndsWithAMessageAndTheNextFileOpens()
    {
        QFETCH(QString, clip);
        QFETCH(QString, message);
        Fixture f;
        f.session.open(QUrl::fromLocalFile(testMedia(clip)));
        QTRY_VERIFY_WITH_TIMEOUT(!f.session.errorMessage().isEmpty(), 10000);
        if (!message.isEmpty())
            QCOMPARE(f.session.errorMessage(), message);
        QVERIFY(!f.session.isReady());
        QVERIFY(!f.session.isPlaying());
        QCOMPARE(f.session.title(), QFileInfo(clip).completeBaseName());
        engineErrors.clear(); // the engine's own account of the failure

        QVERIFY(f.openAndWaitReady(QStringLiteral("clip.mp4")));
        QVERIFY(f.session.errorMessage().isEmpty());
    }

    // Files named like videos that list other media: each fails with a message of its own and
    // the engine opens nothing it names, neither on the network nor on disk.
    void hostileFileIsRefusedAndNothingItNamesIsOpened_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("message");
        const QString playlist =
            QStringLiteral("Este arquivo é uma lista de reprodução, não um vídeo.");
        QTest::newRow("M3U to the network") << QByteArray("#EXTM3U\n{http}/a.mp4\n") << playlist;
        QTest::newRow("M3U to a local clip") << QByteArray("#EXTM3U\n{clip}\n") << playlist;
        QTest::newRow("PLS") << QByteArray("[playlist]\nFile1={http}/b.mp4\nNumberOfEntries=1\n")
                             << playlist;
        QTest::newRow("HLS media playlist")
            << QByteArray("#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:4\n#EXTINF:4.0,\n"
                          "{http}/seg0.ts\n#EXT-X-ENDLIST\n")
            << playlist;
        QTest::newRow("HLS master playlist")
            << QByteArray("#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=100000\n{http}/v.m3u8\n")
            << playlist;
        QTest::newRow("DASH manifest")
            << QByteArray(
                   "<?xml version=\"1.0\"?>\n<MPD xmlns=\"urn:mpeg:dash:schema:mpd:2011\" "
                   "type=\"static\" mediaPresentationDuration=\"PT4S\"><Period><AdaptationSet "
                   "mimeType=\"video/mp4\"><Representation id=\"1\" bandwidth=\"1000\">"
                   "<BaseURL>{http}/dash.mp4</BaseURL></Representation></AdaptationSet>"
                   "</Period></MPD>\n")
            << playlist;
        QTest::newRow("mpv edit list") << QByteArray("# mpv EDL v0\n{clip},0,1\n") << playlist;
        QTest::newRow("folder named .mp4")
            << QByteArray() << "Esta é uma pasta, não um arquivo de vídeo.";
    }

    void hostileFileIsRefusedAndNothingItNamesIsOpened()
    {
        QFETCH(QByteArray, content);
        QFETCH(QString, message);
        QTcpServer listener;
        QVERIFY(listener.listen(QHostAddress::LocalHost));
        int connections = 0;
        connect(&listener, &QTcpServer::newConnection, this, [&] {
            while (QTcpSocket *socket = listener.nextPendingConnection()) {
                ++connections;
                socket->close();
            }
        });

        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("video.mp4"));
        if (content.isEmpty()) {
            QVERIFY(QDir(dir.path()).mkpath(QStringLiteral("video.mp4")));
            QVERIFY(QFile::copy(testMedia(QStringLiteral("clip.mp4")),
                                dir.filePath(QStringLiteral("video.mp4/clip.mp4"))));
        } else {
            content.replace("{http}",
                            "http://127.0.0.1:" + QByteArray::number(listener.serverPort()));
            content.replace("{clip}", QFile::encodeName(testMedia(QStringLiteral("clip.mp4"))));
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(content);
        }

        Fixture f;
        bool wasReady = false;
        connect(&f.session, &PlaybackSession::isReadyChanged, this, [&] { wasReady = true; });
        f.session.open(QUrl::fromLocalFile(path));
        QTRY_VERIFY_WITH_TIMEOUT(!f.session.errorMessage().isEmpty(), 10000);
        QCOMPARE(f.session.errorMessage(), message);
        QCOMPARE(f.session.player()->status(), MediaPlayer::Status::Failed);
        QTest::qWait(300); // room for a connection that should never come
        QCOMPARE(connections, 0);
        QVERIFY(!wasReady);
        engineErrors.clear(); // the engine's own account of the refusal
    }

    void endWithoutRepeatStaysOnTheLastFrame()
    {
        Fixture f;
        QVERIFY(f.openAndWaitReady(QStringLiteral("clip.mp4")));
        f.session.skip(3.6);
        QTRY_VERIFY_WITH_TIMEOUT(!f.session.isPlaying(), 5000);
        QTest::qWait(300);
        QVERIFY(!f.session.isPlaying());
        QVERIFY2(f.session.currentTime() > f.session.duration() - 0.1,
                 qPrintable(QString::number(f.session.currentTime())));
        QCOMPARE(f.session.player()->rate(), 0.0f);
    }

    void endWithRepeatRestartsFromZeroAtTheChosenRate()
    {
        Fixture f;
        QVERIFY(f.openAndWaitReady(QStringLiteral("clip.mp4")));
        f.session.setRepeating(true);
        f.session.setRate(1.5f);
        f.session.skip(3.6);
        QTRY_VERIFY_WITH_TIMEOUT(f.session.currentTime() > 3.7, 5000);
        // The playhead goes back to zero as the seek is sent; playback resumes once it is done.
        QTRY_VERIFY_WITH_TIMEOUT(f.session.currentTime() < 1.0 && f.session.isPlaying(), 5000);
        QCOMPARE(f.session.player()->rate(), 1.5f);
    }

    void everySeekCompletesExactlyOnce()
    {
        Fixture f;
        QVERIFY(f.openAndWaitReady(QStringLiteral("clip.mp4")));
        MediaPlayer *player = f.session.player();
        player->pause();
        QList<int> completions(4, 0);
        // Four seeks in a row: the engine may coalesce them, but each completes once.
        for (int i = 0; i < 4; ++i) {
            player->seek(0.5 * (i + 1),
                         i % 2 ? MediaPlayer::SeekMode::Exact : MediaPlayer::SeekMode::Approximate,
                         [&completions, i] { ++completions[i]; });
            QCOMPARE(completions[i], 0); // never from inside the call
        }
        QTRY_COMPARE_WITH_TIMEOUT(completions, QList<int>({1, 1, 1, 1}), 5000);
        QTest::qWait(200);
        QCOMPARE(completions, QList<int>({1, 1, 1, 1}));
        QVERIFY(qAbs(player->currentTime() - 2.0) < 0.05);
    }

    // mpv's frame-step plays the one frame: the session never hears of it as playing, not even
    // from a held key's steps, each sent while the one before runs.
    void heldFrameStepsStayPaused()
    {
        Fixture f;
        QVERIFY(f.openAndWaitReady(QStringLiteral("counter.mp4")));
        QTRY_VERIFY_WITH_TIMEOUT(f.session.currentTime() > 0.5, 5000);
        f.session.togglePlay();
        QTest::qWait(300);
        const double from = f.session.currentTime();
        int playing = 0;
        connect(&f.session, &PlaybackSession::isPlayingChanged, this, [&] { ++playing; });
        for (int i = 0; i < 10; ++i) {
            f.session.stepFrame(1);
            QTest::qWait(30); // the key's repeat
        }
        QTest::qWait(500);
        QCOMPARE(playing, 0);
        QVERIFY(qAbs(f.session.currentTime() - (from + 0.4)) < 0.005);
        QCOMPARE(f.session.player()->rate(), 0.0f);
    }

    void ticksComeAboutThirtyTimesASecond()
    {
        Fixture f;
        QVERIFY(f.openAndWaitReady(QStringLiteral("clip.mp4")));
        int ticks = 0;
        connect(f.session.player(), &MediaPlayer::tick, this, [&ticks] { ++ticks; });
        QTest::qWait(1000);
        // 25 frames a second here: one tick per frame, never more than 30.
        QVERIFY2(ticks >= 15 && ticks <= 31, qPrintable(QString::number(ticks)));
    }

    // The 440 Hz tone of the counter clip, recorded as it leaves the player: slowed down or sped
    // up, it keeps its pitch; past 4x it is muted, as mpv does, and the file still plays to its
    // end (mpv 0.35 aborts there when the pitch is kept at such rates).
    // The volume is a linear gain: at 0.5 the tone is half as strong (-6 dB).
    void ratesKeepThePitch_data()
    {
        QTest::addColumn<float>("rate");
        QTest::addColumn<float>("volume");
        QTest::addColumn<bool>("audible");
        QTest::newRow("0.1x") << 0.1f << 1.0f << true;
        QTest::newRow("0.5x") << 0.5f << 1.0f << true;
        QTest::newRow("1x at half volume") << 1.0f << 0.5f << true;
        QTest::newRow("2x") << 2.0f << 1.0f << true;
        QTest::newRow("4x") << 4.0f << 1.0f << true;
        QTest::newRow("8x") << 8.0f << 1.0f << false;
    }

    void ratesKeepThePitch()
    {
        QFETCH(float, rate);
        QFETCH(float, volume);
        QFETCH(bool, audible);
        constexpr int kSampleRate = 48000;
        QTemporaryDir dir;
        const QString file = dir.filePath(QStringLiteral("sound.raw"));
        MpvEngine engine(MpvEngine::Options{.drawsVideo = false, .audioOutput = "pcm"},
                         {{"ao-pcm-file", QFile::encodeName(file)},
                          {"ao-pcm-waveheader", "no"},
                          {"audio-format", "s16"},
                          {"audio-channels", "mono"},
                          {"audio-samplerate", QByteArray::number(kSampleRate)}});
        MemoryPreferences preferences;
        PlaybackSession session(PlaybackSession::Services{engine, preferences});
        session.setVolume(volume);
        session.open(QUrl::fromLocalFile(testMedia(QStringLiteral("counter.mp4"))));
        session.setRate(rate);

        // The recorder takes 1.4 s of sound before the player starts, made while the rate is
        // still 1: measure the third second.
        constexpr qint64 kBytes = 2 * kSampleRate * 3;
        QTRY_VERIFY_WITH_TIMEOUT(QFileInfo(file).size() >= kBytes, 20000);
        QVERIFY(session.isPlaying());
        QFile recorded(file);
        QVERIFY(recorded.open(QIODevice::ReadOnly));
        const QByteArray bytes = recorded.read(kBytes);
        const auto *samples = reinterpret_cast<const qint16 *>(bytes.constData());
        int rises = 0;
        double power = 0;
        for (int i = kSampleRate * 2; i < kSampleRate * 3; ++i) {
            rises += samples[i - 1] < 0 && samples[i] >= 0;
            power += double(samples[i]) * samples[i];
        }
        const double level = std::sqrt(power / kSampleRate) / 32768;
        const QString measured = QStringLiteral("%1 Hz at level %2").arg(rises).arg(level);
        qInfo().noquote() << rate << "x:" << measured;
        // ffmpeg's sine source has an amplitude of 1/8.
        if (audible)
            QVERIFY2(qAbs(rises - 440) <= 5 && qAbs(level / (volume / 8 / std::sqrt(2)) - 1) < 0.1,
                     qPrintable(measured));
        else
            QVERIFY2(level < 0.001, qPrintable(measured));

        session.skip(session.duration() - 0.25 * rate - session.currentTime());
        QTRY_VERIFY_WITH_TIMEOUT(!session.isPlaying(), 10000);
        QCOMPARE(session.currentTime(), session.duration());
    }
};

QTEST_GUILESS_MAIN(TestMpvEngine)
#include "tst_mpvengine.moc"
