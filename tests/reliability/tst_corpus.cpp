// Files, hostile or not, through the real engine (libmpv decoding generated clips), in-process.
// Every case ends in a state the user sees (the file plays, with its length and picture size, to
// its end; or the banner shows its message), and the next file still opens.
#include "folderaccess.h"
#include "memorypreferences.h"
#include "mpvengine.h"
#include "permissions.h"
#include "playbacksession.h"
#include "scriptedpanels.h"
#include "testsupport.h"

#include <QDir>
#include <QHostAddress>
#include <QTcpServer>
#include <QTest>
#include <QtEndian>

#include <clocale>
#include <cmath>

#include <sys/stat.h>

namespace {

const QString kUnrecognized = QStringLiteral("O formato deste arquivo não é reconhecido.");
const QString kNotFound =
    QStringLiteral("O vídeo não foi encontrado. Ele pode ter sido movido ou apagado.");
const QString kNoFolderAccess =
    QStringLiteral("Sem acesso à pasta, não dá para abrir o próximo vídeo.");
const QString kPlaylist = QStringLiteral("Este arquivo é uma lista de reprodução, não um vídeo.");

// The 32-bit big-endian field at `offset` in the last box `box` of an MP4 file set to `value`.
QByteArray patchBox(QByteArray data, const char *box, int offset, quint32 value)
{
    qToBigEndian(value, data.data() + data.lastIndexOf(box) + offset);
    return data;
}

struct Fixture {
    explicit Fixture(QByteArray audio = "null", MpvEngine::MpvOptions options = {})
        : engine(MpvEngine::Options{.drawsVideo = false, .audioOutput = audio}, options)
    {
    }
    MpvEngine engine;
    MemoryPreferences preferences;
    std::unique_ptr<FolderAccess> folderAccess = createFolderAccess();
    ScriptedPanels panels;
    PlaybackSession session{
        PlaybackSession::Services{engine, preferences, folderAccess.get(), &panels}};

    // Empty `message`: plays `size` for `duration` s, on to its end; else fails with it.
    void verifyOutcome(const QString &message, double duration = 0, QSizeF size = {})
    {
        QTRY_VERIFY_WITH_TIMEOUT(session.isReady() || !session.errorMessage().isEmpty(), 15000);
        if (!message.isEmpty()) { // a decoder may refuse the picture once it was ready
            QTRY_COMPARE_WITH_TIMEOUT(session.errorMessage(), message, 10000);
            QVERIFY(!session.isReady() && !session.isPlaying());
            return;
        }
        QVERIFY2(session.errorMessage().isEmpty(), qPrintable(session.errorMessage()));
        QVERIFY2(qAbs(session.duration() - duration) <= 0.1 * std::max(1.0, duration / 1e9),
                 qPrintable(QString::number(session.duration())));
        QTRY_COMPARE_WITH_TIMEOUT(session.videoSize(), size, 10000);
        session.setRate(4.0f);
        QTRY_VERIFY_WITH_TIMEOUT(!session.isPlaying(), 30000);
        QVERIFY(session.isReady() && session.errorMessage().isEmpty());
    }

    void verifyNextFileOpens()
    {
        session.open(QUrl::fromLocalFile(testMedia(QStringLiteral("clip.mp4"))));
        QTRY_VERIFY_WITH_TIMEOUT(session.isPlaying() && session.errorMessage().isEmpty(), 10000);
    }
};

int countIn(const char *folder)
{
    return int(QDir(QString::fromLatin1(folder)).entryList(QDir::AllEntries | QDir::System).size());
}

} // namespace

class TestCorpus : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    QTcpServer m_listener; // where the playlists point: nothing may ever connect
    bool m_permissionsApply = false;

private slots:
    void initTestCase()
    {
        std::setlocale(LC_NUMERIC, "C");
        // Before the first engine thread exists, so that every engine thread inherits it.
        m_permissionsApply = denyPermissionOverride();
        QVERIFY(m_listener.listen(QHostAddress::LocalHost));
    }

    void hostileFileEndsInADefinedState_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("message"); // empty: plays
        QTest::addColumn<double>("duration");
        QTest::addColumn<QSizeF>("size");
        const QByteArray clip = readMedia(QStringLiteral("clip.mp4")); // index at its end
        const QByteArray fast = readMedia(QStringLiteral("faststart.mp4"));
        const QByteArray webm = readMedia(QStringLiteral("clip.webm"));
        const QByteArray raw = readMedia(QStringLiteral("raw.y4m"));
        QVERIFY(!clip.isEmpty() && !fast.isEmpty() && !webm.isEmpty() && !raw.isEmpty());
        const qsizetype index = fast.indexOf("mdat") - 4; // where the index of `fast` ends
        QByteArray flipped = clip; // 64 bytes of the media data (its mdat box) inverted
        const qsizetype data = clip.indexOf("mdat");
        const qsizetype dataSize = qFromBigEndian<quint32>(clip.constData() + data - 4);
        for (qsizetype at = data + 64; at < data + dataSize - 8; at += dataSize / 64)
            flipped[at] = char(~flipped[at]);
        const QSizeF pal(320, 240);
        const QByteArray http = "http://127.0.0.1:" + QByteArray::number(m_listener.serverPort());
        const auto row = [&](const char *name, const QString &file, const QByteArray &content,
                             const QString &message, double duration = 0, QSizeF size = {}) {
            const QString path = m_dir.filePath(file);
            QVERIFY(content.isNull() || writeRaw(QFile::encodeName(path), content));
            QTest::newRow(name) << path << message << duration << size;
        };
        row("turned by 90°", "rotated.mp4", readMedia(QStringLiteral("rotated.mp4")), {}, 2,
            {1080, 1920});
        row("M3U to the network", "m3u.mp4", "#EXTM3U\n" + http + "/a.mp4\n", kPlaylist);
        row("DASH", "mpd.mp4",
            "<?xml version=\"1.0\"?>\n<MPD xmlns=\"urn:mpeg:dash:schema:mpd:2011\"><Period>"
            "<AdaptationSet><Representation id=\"1\"><BaseURL>" +
                http + "/d.mp4</BaseURL></Representation></AdaptationSet></Period></MPD>\n",
            kPlaylist);
        row("edit list to a local clip", "edl.mp4",
            "# mpv EDL v0\n" + QFile::encodeName(testMedia(QStringLiteral("clip.mp4"))) + ",0,1\n",
            kPlaylist);
        QVERIFY(QDir(m_dir.path()).mkpath(QStringLiteral("folder.mp4")));
        row("folder", "folder.mp4", {},
            QStringLiteral("Esta é uma pasta, não um arquivo de vídeo."));
        row("index last, cut in half", "c2.mp4", clip.left(clip.size() / 2), kUnrecognized);
        row("index last, last bytes cut", "c3.mp4", clip.chopped(100), {}, 4, pal);
        row("index first, cut in it", "c4.mp4", fast.left(index / 2), kUnrecognized);
        row("index first, cut before any frame", "c5.mp4", fast.left(index), {}, 4, {0, 0});
        row("index first, cut in half", "c6.mp4", fast.left(fast.size() / 2), {}, 4, pal);
        row("Matroska cut in half", "c8.webm", webm.left(webm.size() / 2), {}, 2, pal);
        row("media data with flipped bytes", "flip.mp4", flipped, {}, 4, pal);
        row("zero bytes", "empty.mp4", QByteArray(""), kUnrecognized);
        row("text named .mp4", "text.mp4", readMedia(QStringLiteral("text.mp4")), kUnrecognized);
        row("PNG named .mp4 (no length)", "png.mp4", readMedia(QStringLiteral("picture.png")), {},
            0, pal);
        row("subtitles only", "subtitles.mkv", readMedia(QStringLiteral("subtitles.mkv")),
            QStringLiteral("Este arquivo não tem imagem nem som que o Lunelo consiga reproduzir."));
        row("sound only", "audio.webm", readMedia(QStringLiteral("audio.webm")), {}, 2, {0, 0});
        row("1000 times wider than tall", "wide.mkv", readMedia(QStringLiteral("wide.mkv")), {}, 1,
            {12240, 48});
        row("sample entry 65535 × 65535", "avc1.mp4", patchBox(clip, "avc1", 28, 0xFFFFFFFF),
            QStringLiteral("Não foi possível abrir este vídeo."));
        row("raw video 0 × 0", "zero.mkv", QByteArray(raw).replace("W64 H48", "W0 H0"),
            kUnrecognized);
        row("136 years long", "years.mp4", patchBox(patchBox(clip, "mvhd", 16, 1), "mvhd", 20, ~0u),
            {}, 4294967295.0, pal);
        row("1e300 s long", "huge.webm", patchMatroskaDuration(webm, 1e300), {}, 1e297, pal);
        row("NaN s long", "nan.webm", patchMatroskaDuration(webm, std::nan("")), {}, 0, pal);
        row("newline in the name", "two\nlines.mp4", clip, {}, 4, pal);
        row("255 bytes of two-byte characters", QString(125, QChar(0xe9)) + ".mp4", clip, {}, 4,
            pal);
        // Qt names the file "b\ufffd\ufffd.mp4", which is not there.
        QVERIFY(writeRaw(QFile::encodeName(m_dir.filePath("b")) + "\xff\xfe.mp4", clip));
        row("a name that is not UTF-8", QString::fromLocal8Bit("b\xff\xfe.mp4"), {}, kNotFound);
        // A pipe would hold mpv waiting for a writer, a device would be read without end.
        const QString special = QStringLiteral(
            "Este é um arquivo especial do sistema (pipe, soquete ou dispositivo), não um vídeo.");
        QCOMPARE(::mkfifo(QFile::encodeName(m_dir.filePath("pipe.mp4")).constData(), 0644), 0);
        row("a pipe", "pipe.mp4", {}, special);
        QVERIFY(QFile::link(QStringLiteral("/dev/zero"), m_dir.filePath("device.mp4")));
        row("a link to /dev/zero", "device.mp4", {}, special);
        QVERIFY(
            QFile::link(QStringLiteral("self.mp4"), m_dir.filePath(QStringLiteral("self.mp4"))));
        row("link to itself", "self.mp4", {}, kNotFound);
        // As under a sandbox, it asks for its folder; the panel is cancelled here.
        row("unreadable", "closed.mp4", clip, kNoFolderAccess);
        QVERIFY(QFile::setPermissions(m_dir.filePath(QStringLiteral("closed.mp4")), {}));
    }

    void hostileFileEndsInADefinedState()
    {
        QFETCH(QString, path);
        QFETCH(QString, message);
        QFETCH(double, duration);
        QFETCH(QSizeF, size);
        if (path.endsWith(QLatin1String("closed.mp4")) && !m_permissionsApply)
            QSKIP("file modes do not apply to this process");
        Fixture f;
        f.session.open(QUrl::fromLocalFile(path));
        f.verifyOutcome(message, duration, size);
        QVERIFY(!m_listener.hasPendingConnections() && !m_listener.waitForNewConnection(100));
        if (!QTest::currentTestFailed())
            f.verifyNextFileOpens();
    }

    // A sound output that cannot start leaves the picture playing, silent, to its end.
    void soundOutputThatCannotStartLeavesThePicture()
    {
        Fixture f("alsa", {{"audio-device", "alsa/lunelo-no-such-device"}});
        f.session.open(QUrl::fromLocalFile(testMedia(QStringLiteral("clip.mp4"))));
        f.verifyOutcome({}, 4, {320, 240});
    }

    // The counter clip's 440 Hz tone, recorded as it leaves the player: slowed down or sped up,
    // it keeps its pitch; past 4x it is muted, as mpv does, and the file still plays to its end
    // (mpv 0.35 aborts there when the pitch is kept). The volume is a linear gain.
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
        const QString file = m_dir.filePath(QStringLiteral("sound.raw"));
        QFile::remove(file);
        Fixture f("pcm", {{"ao-pcm-file", QFile::encodeName(file)},
                          {"ao-pcm-waveheader", "no"},
                          {"audio-format", "s16"},
                          {"audio-channels", "mono"},
                          {"audio-samplerate", QByteArray::number(kRate)}});
        f.session.setVolume(volume);
        f.session.open(QUrl::fromLocalFile(testMedia(QStringLiteral("counter.mp4"))));
        f.session.setRate(rate);
        // The recorder takes 1.4 s of sound at rate 1 before the player starts: the third second.
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
        QVERIFY2(rate <= 4 ? qAbs(rises - 440) <= 5 && qAbs(level / volume - 1) < 0.1
                           : level < 0.01,
                 qPrintable(QStringLiteral("%1 Hz at level %2").arg(rises).arg(level)));
        f.session.skip(f.session.duration() - 0.25 * rate - f.session.currentTime());
        QTRY_VERIFY_WITH_TIMEOUT(!f.session.isPlaying(), 10000);
        QCOMPARE(f.session.currentTime(), f.session.duration());
    }

    // Every file gets an engine core of its own: once forty have come and gone, the threads
    // and open files are back where they were after the first.
    void filesComeAndGoLeavingNothingBehind()
    {
        Fixture f;
        int threads = 0;
        int files = 0;
        for (int i = 0; i < 40; ++i) {
            f.verifyNextFileOpens();
            if (i == 0)
                std::tie(threads, files) =
                    std::pair(countIn("/proc/self/task"), countIn("/proc/self/fd"));
        }
        QTRY_VERIFY_WITH_TIMEOUT(countIn("/proc/self/task") <= threads, 10000);
        QTRY_VERIFY_WITH_TIMEOUT(countIn("/proc/self/fd") <= files, 10000);
    }
};

QTEST_GUILESS_MAIN(TestCorpus)
#include "tst_corpus.moc"
