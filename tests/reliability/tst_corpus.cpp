// Hostile files and folders through the real engine, in-process. Every case ends in a state the
// user sees (the file plays, with its length and picture size, to its end; or the banner shows
// its message), and the next file still opens.
#include "folderaccess.h"
#include "memorypreferences.h"
#include "mpvengine.h"
#include "permissions.h"
#include "playbacksession.h"
#include "scriptedpanels.h"
#include "stalledshare.h"
#include "testsupport.h"

#include <QDir>
#include <QProcess>
#include <QTest>
#include <QtEndian>

#include <clocale>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

const QString kUnrecognized = QStringLiteral("O formato deste arquivo não é reconhecido.");
const QString kNotFound =
    QStringLiteral("O vídeo não foi encontrado. Ele pode ter sido movido ou apagado.");
const QString kNoFolderAccess =
    QStringLiteral("Sem acesso à pasta, não dá para abrir o próximo vídeo.");
const QString kSpecialFile = QStringLiteral(
    "Este é um arquivo especial do sistema (pipe, soquete ou dispositivo), não um vídeo.");

// The 32-bit big-endian field at `offset` in the last box `box` of an MP4 file set to `value`.
QByteArray patchBox(QByteArray data, const char *box, int offset, quint32 value)
{
    qToBigEndian(value, data.data() + data.lastIndexOf(box) + offset);
    return data;
}

struct Fixture {
    MpvEngine engine{MpvEngine::Options{.drawsVideo = false, .audioOutput = "null"}};
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

// Runs `script` with sh in `folder`; true when it succeeded.
bool shell(const QString &script, const QString &folder)
{
    QProcess sh;
    sh.setProcessChannelMode(QProcess::ForwardedChannels);
    sh.setWorkingDirectory(folder);
    sh.start(QStringLiteral("sh"), {QStringLiteral("-ec"), script});
    return sh.waitForFinished() && sh.exitCode() == 0;
}

int countIn(const char *folder)
{
    return int(QDir(QString::fromLatin1(folder)).entryList(QDir::AllEntries | QDir::System).size());
}

} // namespace

class TestCorpus : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    bool m_permissionsApply = false;

private slots:
    void initTestCase()
    {
        std::setlocale(LC_NUMERIC, "C");
        // Before the first engine thread exists, so that every engine thread inherits it.
        m_permissionsApply = denyPermissionOverride();
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
        const auto row = [&](const char *name, const QString &file, const QByteArray &content,
                             const QString &message, double duration = 0, QSizeF size = {}) {
            const QString path = m_dir.filePath(file);
            QVERIFY(content.isNull() || writeRaw(QFile::encodeName(path), content));
            QTest::newRow(name) << path << message << duration << size;
        };
        row("index last, cut in its header", "c1.mp4", clip.left(100), kUnrecognized);
        row("index last, cut in half", "c2.mp4", clip.left(clip.size() / 2), kUnrecognized);
        row("index last, last bytes cut", "c3.mp4", clip.chopped(100), {}, 4, pal);
        row("index first, cut in it", "c4.mp4", fast.left(index / 2), kUnrecognized);
        row("index first, cut before any frame", "c5.mp4", fast.left(index), {}, 4, {0, 0});
        row("index first, cut in half", "c6.mp4", fast.left(fast.size() / 2), {}, 4, pal);
        row("Matroska cut in its header", "c7.webm", webm.left(20), kUnrecognized);
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
        if (!QTest::currentTestFailed())
            f.verifyNextFileOpens();
    }

    // What changes under a playing file, then a step to the next video of its folder: a step
    // that cannot list the folder or read the neighbour asks for the folder (cancelled here);
    // a neighbour that is a pipe (no writer ever comes), a socket or a device opens at once
    // with its message; one still being written plays what it holds.
    void steppingOutOfAHostileFolder_data()
    {
        QTest::addColumn<QString>("before"); // shell commands in the folder, before a.mp4 plays
        QTest::addColumn<QString>("during"); // and while it plays
        QTest::addColumn<QString>("message");
        QTest::addColumn<bool>("opens"); // the neighbour; else the file plays on
        const QString clip = QStringLiteral("cp \"$LUNELO_TEST_MEDIA/clip.mp4\" b.mp4");
        const QString growing = QStringLiteral(
            "w=$LUNELO_TEST_MEDIA/clip.webm; n=$(($(stat -c %s \"$w\") / 3)); head -c $n \"$w\" "
            ">b.mp4; (sleep 3; tail -c +$((n + 1)) \"$w\" >>b.mp4) &");
        QTest::newRow("file deleted") << clip << "rm a.mp4" << QString() << false;
        QTest::newRow("folder deleted") << clip << "rm -r \"$PWD\"" << kNoFolderAccess << false;
        QTest::newRow("neighbour links to itself") << "ln -s b.mp4 b.mp4"
                                                   << "" << kNoFolderAccess << false;
        QTest::newRow("folder cannot be listed")
            << clip << "chmod 300 ." << kNoFolderAccess << false;
        QTest::newRow("neighbour cannot be read")
            << clip << "chmod 0 b.mp4" << kNoFolderAccess << false;
        QTest::newRow("neighbour is a pipe") << "mkfifo b.mp4"
                                             << "" << kSpecialFile << true;
        QTest::newRow("neighbour is a socket") << ""
                                               << "" << kSpecialFile << true;
        QTest::newRow("neighbour links to /dev/zero") << "ln -s /dev/zero b.mp4"
                                                      << "" << kSpecialFile << true;
        QTest::newRow("neighbour still being written") << growing << "" << QString() << true;
    }

    void steppingOutOfAHostileFolder()
    {
        QFETCH(QString, before);
        QFETCH(QString, during);
        QFETCH(QString, message);
        QFETCH(bool, opens);
        if (during.startsWith(QLatin1String("chmod")) && !m_permissionsApply)
            QSKIP("file modes do not apply to this process");
        QTemporaryDir dir;
        const QString a = dir.filePath(QStringLiteral("a.mp4"));
        const QString b = dir.filePath(QStringLiteral("b.mp4"));
        QVERIFY(QFile::copy(testMedia(QStringLiteral("long.mp4")), a));
        QVERIFY(shell(before, dir.path()));
        const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_un address{AF_UNIX, {}};
        std::strncpy(address.sun_path, QFile::encodeName(b).constData(),
                     sizeof address.sun_path - 1);
        if (before.isEmpty())
            QCOMPARE(::bind(socket, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);

        Fixture f;
        f.session.open(QUrl::fromLocalFile(a));
        QTRY_VERIFY_WITH_TIMEOUT(f.session.isPlaying(), 10000);
        QVERIFY(shell(during, dir.path()));
        const double then = f.session.currentTime();
        QTRY_VERIFY_WITH_TIMEOUT(f.session.currentTime() > then + 1.0, 5000);
        f.session.openSibling(1);
        QCOMPARE(f.session.url(), QUrl::fromLocalFile(opens ? b : a));
        QTRY_COMPARE_WITH_TIMEOUT(f.session.errorMessage(), message, 10000);
        QCOMPARE(f.panels.shown.size(), message.isEmpty() || opens ? 0 : 1);
        for (const auto &panel : f.panels.shown)
            QCOMPARE(panel.directory, QUrl::fromLocalFile(dir.path()));
        QTRY_VERIFY_WITH_TIMEOUT(
            opens ? f.session.isReady() == message.isEmpty() : f.session.isPlaying(), 10000);
        QFile::setPermissions(dir.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        ::close(socket);
        f.verifyNextFileOpens();
    }

    // A file on a share that stopped answering: its core waits in threads of its own, and the
    // next file opens and plays meanwhile.
    void aFileOnAStalledShareHoldsUpNothing()
    {
        StalledShare share;
        if (!share.mount())
            QSKIP("no FUSE here (bindfs, /dev/fuse)");
        QVERIFY(QFile::copy(testMedia(QStringLiteral("clip.mp4")), share.source("a.mp4")));
        share.stop();
        Fixture f;
        f.session.open(QUrl::fromLocalFile(share.path("a.mp4")));
        f.verifyNextFileOpens();
    }

    // A sound output that cannot start leaves the picture playing, silent, to its end.
    void soundOutputThatCannotStartLeavesThePicture()
    {
        MpvEngine engine(MpvEngine::Options{.drawsVideo = false, .audioOutput = "alsa"},
                         {{"audio-device", "alsa/lunelo-no-such-device"}});
        MemoryPreferences preferences;
        PlaybackSession session(PlaybackSession::Services{engine, preferences});
        session.open(QUrl::fromLocalFile(testMedia(QStringLiteral("clip.mp4"))));
        QTRY_COMPARE_WITH_TIMEOUT(session.videoSize(), QSizeF(320, 240), 10000);
        session.setRate(4.0f);
        QTRY_VERIFY_WITH_TIMEOUT(session.currentTime() == session.duration(), 10000);
        QVERIFY(session.errorMessage().isEmpty());
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
