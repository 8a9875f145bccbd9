// The session on the real engine: libmpv decoding generated clips, without a window.
#include "memorypreferences.h"
#include "mpvengine.h"
#include "playbacksession.h"
#include "testsupport.h"

#include <QDir>
#include <QHostAddress>
#include <QTcpServer>
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
    if (context.category && qstrcmp(context.category, "lunelo.mpv") == 0)
        engineErrors << text;
    else
        previousHandler(type, context, text);
}

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

    // A clip plays with its length and (turned) size. Anything else ends in its message, never
    // ready, and opens nothing it names, neither on the network nor on disk; the next file plays.
    void opensOrRefuses_data()
    {
        QTest::addColumn<QString>("clip");    // a generated clip, or what to write as video.mp4
        QTest::addColumn<QString>("outcome"); // duration and size, or the message
        const auto row = [](const char *name, const char *clip, const char *outcome) {
            QTest::newRow(name) << QString::fromUtf8(clip) << QString::fromUtf8(outcome);
        };
        const char *list = "Este arquivo é uma lista de reprodução, não um vídeo.";
        row("H.264 and AAC in MP4", "clip.mp4", "4 320x240");
        row("VP9 in WebM", "clip.webm", "2 320x240");
        row("turned by 90°", "rotated.mp4", "2 1080x1920");
        row("text", "text.mp4", "O formato deste arquivo não é reconhecido.");
        row("folder", "/", "Esta é uma pasta, não um arquivo de vídeo.");
        row("M3U to the network", "#EXTM3U\n{http}/a.mp4\n", list);
        row("PLS", "[playlist]\nFile1={http}/b.mp4\nNumberOfEntries=1\n", list);
        row("DASH",
            "<?xml version=\"1.0\"?>\n<MPD xmlns=\"urn:mpeg:dash:schema:mpd:2011\"><Period>"
            "<AdaptationSet><Representation id=\"1\"><BaseURL>{http}/d.mp4</BaseURL>"
            "</Representation></AdaptationSet></Period></MPD>\n",
            list);
        row("edit list to a local clip", "# mpv EDL v0\n{clip},0,1\n", list);
    }

    void opensOrRefuses()
    {
        QFETCH(QString, clip);
        QFETCH(QString, outcome);
        QTcpServer listener;
        QVERIFY(listener.listen(QHostAddress::LocalHost));
        QTemporaryDir dir;
        QString path = dir.filePath(QStringLiteral("video.mp4"));
        if (clip == QLatin1String("/")) {
            QVERIFY(QDir(path).mkpath(QStringLiteral(".")));
        } else if (clip.contains(QLatin1Char('\n'))) {
            clip.replace(QLatin1String("{http}"),
                         QStringLiteral("http://127.0.0.1:%1").arg(listener.serverPort()));
            clip.replace(QLatin1String("{clip}"), testMedia(QStringLiteral("clip.mp4")));
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly) && file.write(clip.toUtf8()) > 0);
        } else {
            path = testMedia(clip);
        }
        MpvEngine engine(MpvEngine::Options{.drawsVideo = false, .audioOutput = "null"});
        MemoryPreferences preferences;
        PlaybackSession session(PlaybackSession::Services{engine, preferences});
        session.open(QUrl::fromLocalFile(path));
        QTRY_VERIFY_WITH_TIMEOUT(session.isReady() || !session.errorMessage().isEmpty(), 10000);
        if (session.isReady()) {
            QTRY_VERIFY_WITH_TIMEOUT(session.currentTime() > 0.3 && session.isPlaying(), 5000);
            QTRY_COMPARE_WITH_TIMEOUT(QStringLiteral("%1 %2x%3")
                                          .arg(std::round(session.duration()))
                                          .arg(session.videoSize().width())
                                          .arg(session.videoSize().height()),
                                      outcome, 5000);
            return;
        }
        QCOMPARE(session.errorMessage(), outcome);
        engineErrors.clear(); // the engine's own account of the failure
        QVERIFY(!session.isPlaying());
        QVERIFY(!listener.hasPendingConnections() && !listener.waitForNewConnection(300));
        session.open(QUrl::fromLocalFile(testMedia(QStringLiteral("clip.mp4"))));
        QTRY_VERIFY_WITH_TIMEOUT(session.isReady() && session.errorMessage().isEmpty(), 10000);
    }

    // The 440 Hz tone of the counter clip, recorded as it leaves the player: slowed down or sped
    // up, it keeps its pitch; past 4x it is muted, as mpv does, and the file still plays to its
    // end (mpv 0.35 aborts there when the pitch is kept at such rates). The volume is a linear
    // gain: at 0.5 the tone is half as strong (-6 dB).
    void ratesKeepThePitch_data()
    {
        QTest::addColumn<float>("rate");
        QTest::addColumn<float>("volume");
        QTest::newRow("0.1x") << 0.1f << 1.0f;
        QTest::newRow("1x at half volume") << 1.0f << 0.5f;
        QTest::newRow("4x") << 4.0f << 1.0f;
        QTest::newRow("8x") << 8.0f << 1.0f;
    }

    void ratesKeepThePitch()
    {
        QFETCH(float, rate);
        QFETCH(float, volume);
        constexpr int kRate = 48000;
        QTemporaryDir dir;
        const QString file = dir.filePath(QStringLiteral("sound.raw"));
        MpvEngine engine(MpvEngine::Options{.drawsVideo = false, .audioOutput = "pcm"},
                         {{"ao-pcm-file", QFile::encodeName(file)},
                          {"ao-pcm-waveheader", "no"},
                          {"audio-format", "s16"},
                          {"audio-channels", "mono"},
                          {"audio-samplerate", QByteArray::number(kRate)}});
        MemoryPreferences preferences;
        PlaybackSession session(PlaybackSession::Services{engine, preferences});
        session.setVolume(volume);
        session.open(QUrl::fromLocalFile(testMedia(QStringLiteral("counter.mp4"))));
        session.setRate(rate);

        // The recorder takes 1.4 s of sound before the player starts, made while the rate is
        // still 1: measure the third second.
        QTRY_VERIFY_WITH_TIMEOUT(QFileInfo(file).size() >= 2 * kRate * 3, 20000);
        QFile recorded(file);
        QVERIFY(recorded.open(QIODevice::ReadOnly));
        const QByteArray bytes = recorded.read(2 * kRate * 3);
        const auto *samples = reinterpret_cast<const qint16 *>(bytes.constData());
        int rises = 0;
        double power = 0;
        for (int i = kRate * 2; i < kRate * 3; ++i) {
            rises += samples[i - 1] < 0 && samples[i] >= 0;
            power += double(samples[i]) * samples[i];
        }
        // ffmpeg's sine source has an amplitude of 1/8.
        const double level = std::sqrt(power / kRate) / 32768 * 8 * std::sqrt(2);
        const QString measured = QStringLiteral("%1 Hz at level %2").arg(rises).arg(level);
        QVERIFY2(rate <= 4 ? qAbs(rises - 440) <= 5 && qAbs(level / volume - 1) < 0.1
                           : level < 0.01,
                 qPrintable(measured));

        session.skip(session.duration() - 0.25 * rate - session.currentTime());
        QTRY_VERIFY_WITH_TIMEOUT(!session.isPlaying(), 10000);
        QCOMPARE(session.currentTime(), session.duration());
    }
};

QTEST_GUILESS_MAIN(TestMpvEngine)
#include "tst_mpvengine.moc"
