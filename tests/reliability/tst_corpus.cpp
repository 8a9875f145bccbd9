// Hostile files and folders through the real engine, in-process: damaged, mislabelled and odd
// files, names and folders. Every case ends in a defined state that the test checks: the file
// plays with its duration (and plays on to its end), or the error banner shows the engine's
// message; and the next file still opens.
#include "folderaccess.h"
#include "memorypreferences.h"
#include "mpvengine.h"
#include "permissions.h"
#include "playbacksession.h"
#include "scriptedpanels.h"
#include "slowfolder.h"
#include "testsupport.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <QtEndian>

#include <clocale>
#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

namespace {

const QString kUnrecognized = QStringLiteral("O formato deste arquivo não é reconhecido.");
const QString kNotFound =
    QStringLiteral("O vídeo não foi encontrado. Ele pode ter sido movido ou apagado.");
const QString kNothingToPlay =
    QStringLiteral("Este arquivo não tem imagem nem som que o Lunelo consiga reproduzir.");
const QString kNoFolderAccess =
    QStringLiteral("Sem acesso à pasta, não dá para abrir o próximo vídeo.");
const QString kNoPermission = QStringLiteral("Sem permissão para ler este vídeo.");
const QString kCannotOpen = QStringLiteral("Não foi possível abrir este vídeo.");
const QString kSpecialFile = QStringLiteral(
    "Este é um arquivo especial do sistema (pipe, soquete ou dispositivo), não um vídeo.");

// A socket bound at `path`, as a program listening there makes it; -1 when it cannot be made.
int bindSocket(const QString &path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const QByteArray name = QFile::encodeName(path);
    if (size_t(name.size()) >= sizeof address.sun_path)
        return -1;
    std::memcpy(address.sun_path, name.constData(), size_t(name.size()));
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd >= 0 && ::bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

bool write(const QString &path, const QByteArray &content)
{
    return writeRaw(QFile::encodeName(path), content);
}

bool copyClip(const QString &clip, const QString &to)
{
    return write(to, readMedia(clip));
}

// A chain of folders under `root` whose path is longer than the system allows (PATH_MAX), made
// one relative step at a time; the path of a file at its bottom.
QString overlongPath(const QString &root)
{
    const QString part(200, QLatin1Char('d'));
    int fd = ::open(QFile::encodeName(root).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    QString path = root;
    for (int i = 0; i < 24 && fd >= 0; ++i) {
        const QByteArray name = QFile::encodeName(part);
        ::mkdirat(fd, name.constData(), 0755);
        const int next = ::openat(fd, name.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        ::close(fd);
        fd = next;
        path += QLatin1Char('/') + part;
    }
    if (fd >= 0) {
        const QByteArray clip = readMedia(QStringLiteral("clip.mp4"));
        const int file = ::openat(fd, "clip.mp4", O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
        if (file >= 0) {
            (void)!::write(file, clip.constData(), size_t(clip.size()));
            ::close(file);
        }
        ::close(fd);
    }
    return path + QStringLiteral("/clip.mp4");
}

// The same file with the 32-bit big-endian fields at `offsets` (from the start of the last box of
// type `box`) set to `values`: the header fields of an MP4 file.
QByteArray patchBox(QByteArray data, const char *box, std::initializer_list<int> offsets,
                    std::initializer_list<quint32> values)
{
    const qsizetype at = data.lastIndexOf(box);
    if (at < 0)
        return {};
    auto value = values.begin();
    for (int offset : offsets)
        qToBigEndian(*value++, data.data() + at + offset);
    return data;
}

// `count` bytes inverted at places drawn from `seed` within [from, to).
QByteArray flipBytes(QByteArray data, quint32 seed, int count, qsizetype from, qsizetype to)
{
    QRandomGenerator random(seed);
    for (int i = 0; i < count; ++i) {
        const qsizetype at = from + qsizetype(random.bounded(quint32(to - from)));
        data[at] = char(~data[at]);
    }
    return data;
}

// Where the media data of an MP4 file lies: the payload of its mdat box.
std::pair<qsizetype, qsizetype> mediaData(const QByteArray &mp4)
{
    const qsizetype at = mp4.indexOf("mdat");
    const quint32 size = qFromBigEndian<quint32>(mp4.constData() + at - 4);
    return {at + 4, at - 4 + qsizetype(size)};
}

// How a case ends: it plays (with this duration in seconds, 0 for none known, and picture size),
// or the error banner shows `message`.
struct Outcome {
    QString message;
    double duration = 0;
    QSizeF size;
    double tolerance = 0.1;
    [[nodiscard]] bool plays() const { return message.isEmpty(); }
};

Outcome plays(double duration, QSizeF size, double tolerance = 0.1)
{
    return {{}, duration, size, tolerance};
}

Outcome fails(const QString &message)
{
    return {message, 0, {}};
}

struct Case {
    QString name;
    QString path;
    Outcome outcome;
};

// A file opened by its path, and where a step to the next video of its folder leads.
struct PathCase {
    QString open;
    Outcome outcome;
    QString next; // empty: no step
    Outcome nextOutcome;
};

struct Fixture {
    MpvEngine engine{MpvEngine::Options{.drawsVideo = false, .audioOutput = "null"}};
    MemoryPreferences preferences;
    std::unique_ptr<FolderAccess> folderAccess = createFolderAccess();
    ScriptedPanels panels;
    PlaybackSession session{
        PlaybackSession::Services{engine, preferences, folderAccess.get(), &panels}};

    // Waits for the file to load or fail; true when it did either.
    bool settled()
    {
        return QTest::qWaitFor(
            [&] { return session.isReady() || !session.errorMessage().isEmpty(); }, 15000);
    }
};

} // namespace

class TestCorpus : public QObject {
    Q_OBJECT

    enum Hostility {
        FileDeleted,
        FolderDeleted,
        NeighbourLoops,
        FolderUnlistable,
        NeighbourUnreadable,
        NeighbourIsAPipe,
        NeighbourIsASocket,
        NeighbourIsADeviceLink,
        NeighbourGrows,
    };

    QTemporaryDir m_dir;
    QList<Case> m_files;
    QHash<QString, PathCase> m_paths;
    bool m_permissionsApply = false;

    QString path(const QString &name) const { return m_dir.filePath(name); }

    void add(const QString &name, const QString &file, const QByteArray &content, Outcome outcome)
    {
        QVERIFY2(!content.isNull() || file.isEmpty(), qPrintable(name));
        if (!write(path(file), content))
            QFAIL(qPrintable(QStringLiteral("cannot write ") + file));
        m_files << Case{name, path(file), std::move(outcome)};
    }

    // The file plays through to its end, or fails with the expected message.
    void verifyOutcome(Fixture &f, const Outcome &expected)
    {
        QVERIFY(f.settled());
        if (!expected.plays()) {
            // It may fail after it was ready: a decoder that refuses the picture once it sees it.
            QTRY_COMPARE_WITH_TIMEOUT(f.session.errorMessage(), expected.message, 10000);
            QVERIFY(!f.session.isReady());
            QVERIFY(!f.session.isPlaying());
            QCOMPARE(f.session.player()->status(), MediaPlayer::Status::Failed);
            return;
        }
        QVERIFY2(f.session.errorMessage().isEmpty(), qPrintable(f.session.errorMessage()));
        QVERIFY2(qAbs(f.session.duration() - expected.duration) <=
                     expected.tolerance * std::max(1.0, expected.duration / 1e9),
                 qPrintable(QString::number(f.session.duration())));
        QTRY_COMPARE_WITH_TIMEOUT(f.session.videoSize(), expected.size, 10000);
        // On to the end, four times as fast: the player stops there, on the last frame.
        f.session.setRate(4.0f);
        QTRY_VERIFY_WITH_TIMEOUT(!f.session.isPlaying(), 30000);
        QVERIFY(f.session.isReady());
        QVERIFY(f.session.errorMessage().isEmpty());
        if (expected.duration > 0)
            QCOMPARE(f.session.currentTime(), f.session.duration());
    }

    void verifyNextFileOpens(Fixture &f)
    {
        f.session.open(QUrl::fromLocalFile(testMedia(QStringLiteral("clip.mp4"))));
        QTRY_VERIFY_WITH_TIMEOUT(f.session.isReady() && f.session.isPlaying(), 10000);
        QVERIFY(f.session.errorMessage().isEmpty());
        QTRY_COMPARE_WITH_TIMEOUT(f.session.videoSize(), QSizeF(320, 240), 10000);
    }

    void addPathCases()
    {
        const QSizeF clipSize(320, 240);
        const Outcome clipPlays = plays(4.0, clipSize);
        const QDir names(path(QStringLiteral("names")));
        QVERIFY(names.mkpath(QStringLiteral(".")));
        const auto name = [&](const QString &n) { return names.filePath(n); };
        const QStringList clips{QStringLiteral("a.mp4"),
                                QStringLiteral("two\nlines.mp4"),
                                QStringLiteral("cafe\u0301.mp4"),
                                QStringLiteral("caf\u00e9.mkv"),
                                QString(251, QLatin1Char('x')) + QStringLiteral(".mp4"),
                                QString(125, QChar(0xe9)) + QStringLiteral(".mp4")};
        for (const QString &clip : clips)
            QVERIFY(copyClip(QStringLiteral("clip.mp4"), name(clip)));
        // Not valid UTF-8: Qt leaves such names out of a listing and cannot name them.
        QVERIFY(writeRaw(QFile::encodeName(name(QStringLiteral("b"))) + "\xff\xfe.mp4",
                         readMedia(QStringLiteral("clip.mp4"))));

        // In file-manager order: a, (b\xff\xfe: missing), café.mkv composed, café.mp4 with a
        // combining accent (the two names compare equal up to their extensions), é…, two
        // lines, x….
        m_paths.insert(QStringLiteral("the next name is not UTF-8: left out"),
                       {name(clips[0]), clipPlays, name(clips[3]), clipPlays});
        m_paths.insert(QStringLiteral("combining accent, the same name composed beside it"),
                       {name(clips[2]), clipPlays, name(clips[5]), clipPlays});
        m_paths.insert(QStringLiteral("255 bytes of two-byte characters"),
                       {name(clips[5]), clipPlays, name(clips[1]), clipPlays});
        m_paths.insert(QStringLiteral("newline in the name"),
                       {name(clips[1]), clipPlays, name(clips[4]), clipPlays});
        m_paths.insert(QStringLiteral("255 bytes of name"),
                       {name(clips[4]), clipPlays, name(clips[0]), clipPlays});
        m_paths.insert(
            QStringLiteral("a name that is not UTF-8, given by path"),
            {QString::fromLocal8Bit(QFile::encodeName(name(QStringLiteral("b"))) + "\xff\xfe.mp4"),
             fails(kNotFound),
             {},
             {}});
        m_paths.insert(QStringLiteral("path longer than the system allows"),
                       {overlongPath(path({})), fails(kNotFound), {}, {}});

        // Links: a loop on the path, a link to itself named like a video, and a link to the
        // folder it is in, followed three times.
        const QDir links(path(QStringLiteral("links")));
        QVERIFY(links.mkpath(QStringLiteral(".")));
        QVERIFY(QFile::link(QStringLiteral("loop2"), links.filePath(QStringLiteral("loop1"))));
        QVERIFY(QFile::link(QStringLiteral("loop1"), links.filePath(QStringLiteral("loop2"))));
        QVERIFY(
            QFile::link(QStringLiteral("self.mp4"), links.filePath(QStringLiteral("self.mp4"))));
        QVERIFY(QFile::link(QStringLiteral("."), links.filePath(QStringLiteral("here"))));
        QVERIFY(copyClip(QStringLiteral("clip.mp4"), links.filePath(QStringLiteral("a.mp4"))));
        QVERIFY(copyClip(QStringLiteral("clip.webm"), links.filePath(QStringLiteral("b.webm"))));
        m_paths.insert(QStringLiteral("link loop on the path"),
                       {links.filePath(QStringLiteral("loop1/a.mp4")), fails(kNotFound), {}, {}});
        m_paths.insert(QStringLiteral("link to itself"),
                       {links.filePath(QStringLiteral("self.mp4")), fails(kNotFound), {}, {}});
        m_paths.insert(QStringLiteral("link to its own folder on the path"),
                       {links.filePath(QStringLiteral("here/here/here/a.mp4")), clipPlays,
                        links.filePath(QStringLiteral("here/here/here/b.webm")),
                        plays(2.0, clipSize)});
    }

private slots:
    void initTestCase()
    {
        std::setlocale(LC_NUMERIC, "C");
        // Before the first engine thread exists, so every engine thread inherits it.
        m_permissionsApply = denyPermissionOverride();

        const QSizeF clipSize(320, 240);
        const QByteArray clip = readMedia(QStringLiteral("clip.mp4"));
        const QByteArray fast = readMedia(QStringLiteral("faststart.mp4"));
        const QByteArray webm = readMedia(QStringLiteral("clip.webm"));
        const QByteArray raw = readMedia(QStringLiteral("raw.y4m"));
        QVERIFY(!clip.isEmpty() && !fast.isEmpty() && !webm.isEmpty() && !raw.isEmpty());
        QVERIFY(QFile::exists(testMedia(QStringLiteral("subtitles.mkv"))));

        // Cut short. The clip keeps its index at its end: a cut loses it, except a cut in the last
        // hundred bytes, which belong to a box the player does not need. With the index first, a
        // cut after it leaves a file that plays what is left (with nothing to show when no
        // frame is left); Matroska plays what is left wherever it is cut after its headers.
        for (qsizetype at : {qsizetype(1), qsizetype(8), qsizetype(100), clip.size() / 10,
                             clip.size() / 2, clip.size() * 9 / 10, clip.size() - 1000}) {
            add(QStringLiteral("index last, cut at %1").arg(at),
                QStringLiteral("cut-last-%1.mp4").arg(at), clip.left(at), fails(kUnrecognized));
        }
        for (qsizetype cut : {1, 100}) {
            add(QStringLiteral("index last, last %1 bytes cut").arg(cut),
                QStringLiteral("cut-last-end-%1.mp4").arg(cut), clip.chopped(cut),
                plays(4.0, clipSize));
        }
        const qsizetype moovEnd = fast.indexOf("mdat") - 4;
        for (qsizetype at : {qsizetype(16), moovEnd / 2}) {
            add(QStringLiteral("index first, cut in the index at %1").arg(at),
                QStringLiteral("cut-first-%1.mp4").arg(at), fast.left(at), fails(kUnrecognized));
        }
        for (qsizetype at : {moovEnd, moovEnd + 8}) {
            add(QStringLiteral("index first, cut before the first frame at %1").arg(at),
                QStringLiteral("cut-first-%1.mp4").arg(at), fast.left(at), plays(4.0, {0, 0}));
        }
        for (qsizetype at : {fast.size() / 4, fast.size() / 2, fast.size() - 1}) {
            add(QStringLiteral("index first, cut at %1").arg(at),
                QStringLiteral("cut-first-%1.mp4").arg(at), fast.left(at), plays(4.0, clipSize));
        }
        for (qsizetype at : {qsizetype(20), webm.size() / 3, webm.size() - 1}) {
            add(QStringLiteral("Matroska cut at %1").arg(at), QStringLiteral("cut-%1.webm").arg(at),
                webm.left(at), at < 100 ? fails(kUnrecognized) : plays(2.0, clipSize));
        }

        // Flipped bytes in the media data: the decoder conceals the damage and plays on.
        const auto [dataFrom, dataTo] = mediaData(clip);
        for (quint32 seed : {1u, 2u, 3u, 4u, 5u}) {
            add(QStringLiteral("media data, 64 bytes flipped, seed %1").arg(seed),
                QStringLiteral("flip-data-%1.mp4").arg(seed),
                flipBytes(clip, seed, 64, dataFrom, dataTo), plays(4.0, clipSize));
        }

        add(QStringLiteral("zero bytes"), QStringLiteral("empty.mp4"), QByteArray(""),
            fails(kUnrecognized));
        add(QStringLiteral("text named .mp4"), QStringLiteral("text.mp4"),
            readMedia(QStringLiteral("text.mp4")), fails(kUnrecognized));
        add(QStringLiteral("noise named .mkv"), QStringLiteral("noise.mkv"),
            flipBytes(QByteArray(64 * 1024, '\0'), 7, 64 * 1024, 0, 64 * 1024),
            fails(kUnrecognized));
        // mpv shows a still picture as a video of no length.
        add(QStringLiteral("PNG named .mp4"), QStringLiteral("png.mp4"),
            readMedia(QStringLiteral("picture.png")), plays(0, clipSize));
        add(QStringLiteral("JPEG named .mkv"), QStringLiteral("jpeg.mkv"),
            readMedia(QStringLiteral("picture.jpg")), plays(0, clipSize));
        add(QStringLiteral("subtitles only"), QStringLiteral("subtitles.mkv"),
            readMedia(QStringLiteral("subtitles.mkv")), fails(kNothingToPlay));
        add(QStringLiteral("sound only, AAC in MP4"), QStringLiteral("audio.mp4"),
            readMedia(QStringLiteral("audio.mp4")), plays(2.0, {0, 0}));
        add(QStringLiteral("sound only, Opus in WebM"), QStringLiteral("audio.webm"),
            readMedia(QStringLiteral("audio.webm")), plays(2.0, {0, 0}));

        // Absurd numbers in headers.
        add(QStringLiteral("a thousand times wider than tall"), QStringLiteral("wide.mkv"),
            readMedia(QStringLiteral("wide.mkv")), plays(1.0, {12240, 48}));
        add(QStringLiteral("track header 65535 × 65535"), QStringLiteral("tkhd.mp4"),
            patchBox(clip, "tkhd", {80, 84}, {0xFFFF0000, 0xFFFF0000}), plays(4.0, clipSize));
        // The decoder refuses the picture before the sound has started: mpv gives up.
        add(QStringLiteral("sample entry 65535 × 65535"), QStringLiteral("avc1.mp4"),
            patchBox(clip, "avc1", {28}, {0xFFFFFFFF}), fails(kCannotOpen));
        add(QStringLiteral("raw video 65535 × 65535"), QStringLiteral("huge.mkv"),
            QByteArray(raw).replace("W64 H48", "W65535 H65535"), fails(kUnrecognized));
        add(QStringLiteral("raw video 1 × 99999"), QStringLiteral("tall.mkv"),
            QByteArray(raw).replace("W64 H48", "W1 H99999"), plays(0, {0, 0}));
        add(QStringLiteral("raw video 0 × 0"), QStringLiteral("zero.mkv"),
            QByteArray(raw).replace("W64 H48", "W0 H0"), fails(kUnrecognized));
        add(QStringLiteral("movie header: 136 years"), QStringLiteral("years.mp4"),
            patchBox(clip, "mvhd", {16, 20}, {1, 0xFFFFFFFF}), plays(4294967295.0, clipSize));
        add(QStringLiteral("movie header: no length"), QStringLiteral("nolength.mp4"),
            patchBox(clip, "mvhd", {20}, {0}), plays(4.0, clipSize));
        add(QStringLiteral("Matroska length 1e300 s"), QStringLiteral("huge.webm"),
            patchMatroskaDuration(webm, 1e300), plays(1e297, clipSize));
        add(QStringLiteral("Matroska length NaN"), QStringLiteral("nan.webm"),
            patchMatroskaDuration(webm, std::nan("")), plays(0, clipSize));
        // No usable length: mpv estimates one from the data.
        add(QStringLiteral("Matroska length -1e9 s"), QStringLiteral("negative.webm"),
            patchMatroskaDuration(webm, -1e9), plays(1.0, clipSize, 1.0));

        addPathCases();
    }

    void cleanupTestCase()
    {
        // Qt cannot remove a path longer than PATH_MAX; rm walks the folders one by one.
        QProcess::execute(QStringLiteral("rm"), {QStringLiteral("-rf"), m_dir.path()});
    }

    void damagedFileEndsInADefinedState_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("message");
        QTest::addColumn<double>("duration");
        QTest::addColumn<QSizeF>("size");
        QTest::addColumn<double>("tolerance");
        for (const Case &c : std::as_const(m_files)) {
            QTest::newRow(qPrintable(c.name)) << c.path << c.outcome.message << c.outcome.duration
                                              << c.outcome.size << c.outcome.tolerance;
        }
    }

    void damagedFileEndsInADefinedState()
    {
        QFETCH(QString, file);
        QFETCH(QString, message);
        QFETCH(double, duration);
        QFETCH(QSizeF, size);
        QFETCH(double, tolerance);
        Fixture f;
        f.session.open(QUrl::fromLocalFile(file));
        verifyOutcome(f, {message, duration, size, tolerance});
        if (QTest::currentTestFailed())
            return;
        verifyNextFileOpens(f);
    }

    // A file that vanishes while it plays keeps playing (the engine holds it open); a step to the
    // next video then does nothing when only the file went, and asks for the folder when the
    // folder cannot be listed or the neighbour cannot be read; the panel is cancelled here. A
    // pipe (no writer ever comes), a socket or a device named like a video opens at once with
    // its message, and a file still being written plays what it holds.
    void steppingOutOfAHostileFolder_data()
    {
        QTest::addColumn<int>("hostility");
        QTest::addColumn<bool>("permissions");
        QTest::addColumn<QString>("message");
        QTest::addColumn<bool>("opens"); // the neighbour; else the file plays on
        QTest::newRow("file deleted while it plays")
            << int(FileDeleted) << false << QString() << false;
        QTest::newRow("folder deleted while a file of it plays")
            << int(FolderDeleted) << false << kNoFolderAccess << false;
        QTest::newRow("neighbour is a link to itself")
            << int(NeighbourLoops) << false << kNoFolderAccess << false;
        QTest::newRow("folder cannot be listed")
            << int(FolderUnlistable) << true << kNoFolderAccess << false;
        QTest::newRow("neighbour cannot be read")
            << int(NeighbourUnreadable) << true << kNoFolderAccess << false;
        QTest::newRow("neighbour is a pipe")
            << int(NeighbourIsAPipe) << false << kSpecialFile << true;
        QTest::newRow("neighbour is a socket")
            << int(NeighbourIsASocket) << false << kSpecialFile << true;
        QTest::newRow("neighbour is a link to /dev/zero")
            << int(NeighbourIsADeviceLink) << false << kSpecialFile << true;
        QTest::newRow("neighbour is still being written")
            << int(NeighbourGrows) << false << QString() << true;
    }

    void steppingOutOfAHostileFolder()
    {
        QFETCH(int, hostility);
        QFETCH(bool, permissions);
        QFETCH(QString, message);
        QFETCH(bool, opens);
        if (permissions && !m_permissionsApply)
            QSKIP("file modes do not apply to this process");
        QTemporaryDir dir;
        const QString a = dir.filePath(QStringLiteral("a.mp4"));
        const QString b = dir.filePath(QStringLiteral("b.mp4"));
        QVERIFY(copyClip(QStringLiteral("long.mp4"), a));
        int socket = -1;
        std::thread writer;
        const QByteArray webm = readMedia(QStringLiteral("clip.webm"));
        switch (hostility) {
        case NeighbourLoops:
            QVERIFY(QFile::link(QStringLiteral("b.mp4"), b));
            break;
        case NeighbourIsAPipe:
            QCOMPARE(::mkfifo(QFile::encodeName(b).constData(), 0644), 0);
            break;
        case NeighbourIsASocket:
            QVERIFY((socket = bindSocket(b)) >= 0);
            break;
        case NeighbourIsADeviceLink:
            QVERIFY(QFile::link(QStringLiteral("/dev/zero"), b));
            break;
        case NeighbourGrows:
            // Its headers and a first part now, the rest a piece at a time while it plays.
            QVERIFY(write(b, webm.left(webm.size() / 3)));
            writer = std::thread([b, rest = webm.mid(webm.size() / 3)] {
                QFile file(b);
                if (!file.open(QIODevice::Append))
                    return;
                for (qsizetype at = 0; at < rest.size(); at += rest.size() / 8 + 1) {
                    QThread::msleep(100);
                    file.write(rest.mid(at, rest.size() / 8 + 1));
                    file.flush();
                }
            });
            break;
        default:
            QVERIFY(copyClip(QStringLiteral("clip.mp4"), b));
        }

        Fixture f;
        f.session.open(QUrl::fromLocalFile(a));
        QTRY_VERIFY_WITH_TIMEOUT(f.session.isPlaying(), 10000);
        switch (hostility) {
        case FileDeleted:
            QVERIFY(QFile::remove(a));
            break;
        case FolderDeleted:
            QVERIFY(dir.remove());
            break;
        case FolderUnlistable:
            QVERIFY(QFile::setPermissions(dir.path(), QFile::ExeOwner | QFile::WriteOwner));
            break;
        case NeighbourUnreadable:
            QVERIFY(QFile::setPermissions(b, {}));
            break;
        }
        const double then = f.session.currentTime();
        QTRY_VERIFY_WITH_TIMEOUT(f.session.currentTime() > then + 1.0, 5000);

        f.session.openSibling(1);
        QCOMPARE(f.session.url(), QUrl::fromLocalFile(opens ? b : a));
        if (opens)
            QVERIFY(f.settled());
        QTRY_COMPARE_WITH_TIMEOUT(f.session.errorMessage(), message, 5000);
        QCOMPARE(f.panels.shown.size(), message.isEmpty() || opens ? 0 : 1);
        if (!message.isEmpty() && !opens) {
            QCOMPARE(f.panels.shown[0].title, QStringLiteral("Acesso à pasta"));
            QCOMPARE(f.panels.shown[0].directory, QUrl::fromLocalFile(dir.path()));
        }
        QVERIFY(opens ? f.session.isReady() == message.isEmpty() : f.session.isPlaying());
        QFile::setPermissions(dir.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        verifyNextFileOpens(f);
        if (writer.joinable())
            writer.join();
        if (socket >= 0)
            ::close(socket);
    }

    // A file on a share that stopped answering: the engine's core waits for it, in its own
    // threads; the next file opens and plays meanwhile.
    void aFileStuckOnTheDiskHoldsUpNothing()
    {
        SlowFolder share;
        if (!share.mount(QStringLiteral("open")))
            QSKIP("no FUSE here: slowfs not built, or no mount allowed");
        QVERIFY(copyClip(QStringLiteral("clip.mp4"), share.source(QStringLiteral("a.mp4"))));
        share.closeGate();
        Fixture f;
        f.session.open(QUrl::fromLocalFile(share.path(QStringLiteral("a.mp4"))));
        QTRY_VERIFY_WITH_TIMEOUT(share.held(QStringLiteral("open")) > 0, 10000);
        verifyNextFileOpens(f);
        QVERIFY(share.held(QStringLiteral("open")) > 0); // still stuck
    }

    // A file the process may not read asks for its folder, as under a sandbox: refused, the
    // panel's message stays; granted, the file is tried again and the engine's message shows.
    void unreadableFileAsksForItsFolder_data()
    {
        QTest::addColumn<bool>("folderClosed"); // else the file itself is
        QTest::addColumn<bool>("granted");
        QTest::addColumn<QString>("message");
        QTest::newRow("file, refused") << false << false << kNoFolderAccess;
        QTest::newRow("file, granted") << false << true << kNoPermission;
        QTest::newRow("folder, refused") << true << false << kNoFolderAccess;
        QTest::newRow("folder, granted") << true << true << kNoPermission;
    }

    void unreadableFileAsksForItsFolder()
    {
        QFETCH(bool, folderClosed);
        QFETCH(bool, granted);
        QFETCH(QString, message);
        if (!m_permissionsApply)
            QSKIP("file modes do not apply to this process");
        QTemporaryDir dir;
        const QString file = dir.filePath(QStringLiteral("closed.mp4"));
        QVERIFY(copyClip(QStringLiteral("clip.mp4"), file));
        QVERIFY(QFile::setPermissions(folderClosed ? dir.path() : file, {}));

        Fixture f;
        if (granted)
            f.panels.answers << QUrl::fromLocalFile(dir.path());
        f.session.open(QUrl::fromLocalFile(file));
        QTRY_COMPARE_WITH_TIMEOUT(f.session.errorMessage(), message, 10000);
        QCOMPARE(f.panels.shown.size(), 1);
        QCOMPARE(f.panels.shown[0].directory, QUrl::fromLocalFile(dir.path()));
        QVERIFY(!f.session.isReady());
        QCOMPARE(f.session.player()->status(), MediaPlayer::Status::Failed);
        QFile::setPermissions(dir.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        verifyNextFileOpens(f);
    }

    // 100,000 entries, all named like videos: a step lists, sorts and finds its way through them
    // all, and wraps around at the end.
    void folderOfAHundredThousandEntries()
    {
        QTemporaryDir dir;
        const auto entry = [&](int i) {
            return dir.filePath(QStringLiteral("v%1.mp4").arg(i, 6, 10, QLatin1Char('0')));
        };
        const QSet<int> clips{0, 50000, 50001, 99999};
        for (int i = 0; i < 100000; ++i) {
            if (clips.contains(i))
                QVERIFY(copyClip(QStringLiteral("clip.mp4"), entry(i)));
            else
                QVERIFY(write(entry(i), QByteArray("")));
        }
        Fixture f;
        const std::pair<int, int> steps[] = {{50000, 50001}, {99999, 0}, {0, 99999}};
        const int directions[] = {1, 1, -1};
        for (int k = 0; k < 3; ++k) {
            const auto [from, to] = steps[k];
            f.session.open(QUrl::fromLocalFile(entry(from)));
            QTRY_VERIFY_WITH_TIMEOUT(f.session.isPlaying(), 10000);
            f.session.openSibling(directions[k]);
            QCOMPARE(f.session.url(), QUrl::fromLocalFile(entry(to)));
            QTRY_VERIFY_WITH_TIMEOUT(f.session.isPlaying(), 10000);
        }
        f.session.open(QUrl::fromLocalFile(entry(50000)));
        QTRY_VERIFY_WITH_TIMEOUT(f.session.isPlaying(), 10000);
        f.session.openSibling(-1);
        QCOMPARE(f.session.url(), QUrl::fromLocalFile(entry(49999)));
        QTRY_COMPARE_WITH_TIMEOUT(f.session.errorMessage(), kUnrecognized, 10000);
        verifyNextFileOpens(f);
    }

    // A sound output that cannot start leaves the picture playing, silent, to its end.
    void soundOutputThatCannotStartLeavesThePicture()
    {
        MpvEngine engine(MpvEngine::Options{.drawsVideo = false, .audioOutput = "alsa"},
                         {{"audio-device", "alsa/lunelo-no-such-device"}});
        MemoryPreferences preferences;
        PlaybackSession session(PlaybackSession::Services{engine, preferences});
        session.open(QUrl::fromLocalFile(testMedia(QStringLiteral("clip.mp4"))));
        QTRY_VERIFY_WITH_TIMEOUT(session.isReady() && session.isPlaying(), 10000);
        QTRY_COMPARE_WITH_TIMEOUT(session.videoSize(), QSizeF(320, 240), 10000);
        session.setRate(4.0f);
        QTRY_VERIFY_WITH_TIMEOUT(!session.isPlaying(), 10000);
        QCOMPARE(session.currentTime(), session.duration());
        QVERIFY(session.errorMessage().isEmpty());
    }

    void namesAndPathsEndInADefinedState_data()
    {
        QTest::addColumn<QString>("key");
        for (auto it = m_paths.cbegin(); it != m_paths.cend(); ++it)
            QTest::newRow(qPrintable(it.key())) << it.key();
    }

    void namesAndPathsEndInADefinedState()
    {
        QFETCH(QString, key);
        const PathCase c = m_paths.value(key);
        Fixture f;
        f.session.open(QUrl::fromLocalFile(c.open));
        verifyOutcome(f, c.outcome);
        if (QTest::currentTestFailed() || c.next.isEmpty())
            return;
        f.session.openSibling(1);
        QTRY_COMPARE_WITH_TIMEOUT(f.session.url(), QUrl::fromLocalFile(c.next), 5000);
        verifyOutcome(f, c.nextOutcome);
        if (QTest::currentTestFailed())
            return;
        verifyNextFileOpens(f);
    }
};

QTEST_GUILESS_MAIN(TestCorpus)
#include "tst_corpus.moc"
