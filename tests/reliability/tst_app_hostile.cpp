// Hostile folders and preferences in the real application under X: stepping with the Down key
// through a folder of damaged and odd files, a folder deleted while one of its files plays, and
// damaged preferences files. Each case ends in a state the trace or the window shows.
#include "appdriver.h"
#include "mprisclient.h"
#include "slowfolder.h"
#include "testsupport.h"

#include <QDir>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const QString kUnrecognized = QStringLiteral("error O formato deste arquivo não é reconhecido.");
const QString kReady = QStringLiteral("ready");

// A path as the trace writes it: backslashes and line breaks escaped.
QString traced(QString path)
{
    return path.replace(QLatin1Char('\\'), QStringLiteral("\\\\"))
        .replace(QLatin1Char('\n'), QStringLiteral("\\n"))
        .replace(QLatin1Char('\r'), QStringLiteral("\\r"));
}

// How the file opened at or after trace line `from` ended: "ready", or "error <message>"; empty
// when neither came.
QString outcome(AppDriver &app, int from)
{
    QString found;
    (void)QTest::qWaitFor(
        [&] {
            const QStringList lines = app.trace();
            for (int i = from; i < lines.size() && found.isEmpty(); ++i) {
                if (lines[i] == kReady || lines[i].startsWith(QLatin1String("error ")))
                    found = lines[i];
            }
            return !found.isEmpty();
        },
        10000);
    return found;
}

} // namespace

class TestAppHostile : public QObject {
    Q_OBJECT

private slots:
    // Down steps through every video of the folder in order, each ending playing or with the
    // banner's message, and wraps around to the first, which plays again.
    void downStepsThroughAFolderOfDamagedFiles()
    {
        QTemporaryDir dir;
        const QByteArray clip = readMedia(QStringLiteral("clip.mp4"));
        const QList<std::tuple<QString, QByteArray, QString>> files{
            {QStringLiteral("01 clip.mp4"), clip, kReady},
            {QStringLiteral("02 cut.mp4"), readMedia(QStringLiteral("truncated.mp4")),
             kUnrecognized},
            {QStringLiteral("03 empty.mp4"), QByteArray(""), kUnrecognized},
            {QStringLiteral("04 text.mkv"), readMedia(QStringLiteral("text.mp4")), kUnrecognized},
            {QStringLiteral("05 sound only.mp4"), readMedia(QStringLiteral("audio.mp4")), kReady},
            {QStringLiteral("06 picture.mp4"), readMedia(QStringLiteral("picture.png")), kReady},
            {QStringLiteral("07 two\nlines.mp4"), clip, kReady},
            {QStringLiteral("08 subtitles.mkv"), readMedia(QStringLiteral("subtitles.mkv")),
             QStringLiteral(
                 "error Este arquivo não tem imagem nem som que o Lunelo consiga reproduzir.")},
            {QStringLiteral("09 wide.mkv"), readMedia(QStringLiteral("wide.mkv")), kReady},
        };
        for (const auto &[name, content, end] : files)
            QVERIFY(writeRaw(QFile::encodeName(dir.filePath(name)), content));
        // A name that is not UTF-8: Qt cannot name it, so it is not among the videos.
        QVERIFY(
            writeRaw(QFile::encodeName(dir.filePath(QStringLiteral("08b"))) + "\xff.mp4", clip));

        AppDriver app;
        QVERIFY(app.start({dir.filePath(std::get<0>(files[0]))}));
        QCOMPARE(outcome(app, 0), kReady);
        app.activate();
        int opened = 0;
        for (int i = 1; i <= files.size(); ++i) {
            const auto &[name, content, end] = files[i % files.size()];
            const int mark = app.traceCount();
            AppDriver::xdotool({QStringLiteral("key"), QStringLiteral("Down")});
            opened =
                app.waitForTrace(QStringLiteral("url ") + traced(dir.filePath(name)), 10000, mark);
            QVERIFY2(opened >= 0, qPrintable(name));
            QCOMPARE(outcome(app, opened), end);
        }
        QVERIFY(app.waitForTrace(QStringLiteral("playing"), 10000, opened) >= 0);
    }

    // The open file keeps playing; Down cannot list the folder and asks for it in the folder
    // panel; closed, the panel leaves its message, the video plays on, and the next file opens.
    void folderDeletedWhileAFileOfItPlays()
    {
        auto dir = std::make_unique<QTemporaryDir>();
        const QString a = dir->filePath(QStringLiteral("a.mp4"));
        QVERIFY(QFile::copy(testMedia(QStringLiteral("long.mp4")), a));
        QVERIFY(QFile::copy(testMedia(QStringLiteral("clip.mp4")),
                            dir->filePath(QStringLiteral("b.mp4"))));
        AppDriver app;
        QVERIFY(app.start({a}));
        QVERIFY(app.waitForTrace(QStringLiteral("playing")) >= 0);
        app.activate();
        dir.reset();
        QVERIFY(!QFileInfo::exists(a));

        const int mark = app.traceCount();
        AppDriver::xdotool({QStringLiteral("key"), QStringLiteral("Down")});
        QString panel;
        QVERIFY(QTest::qWaitFor(
            [&] {
                panel = AppDriver::xdotool({QStringLiteral("search"), QStringLiteral("--name"),
                                            QStringLiteral("Acesso à pasta")},
                                           2000);
                return !panel.isEmpty();
            },
            10000));
        // Escape cancels the panel, as the user would.
        AppDriver::xdotool({QStringLiteral("windowactivate"), QStringLiteral("--sync"),
                            panel.section('\n', 0, 0)});
        AppDriver::xdotool({QStringLiteral("key"), QStringLiteral("Escape")});
        QVERIFY(app.waitForTrace(
                    QStringLiteral("error Sem acesso à pasta, não dá para abrir o próximo vídeo."),
                    10000, mark) >= 0);
        QVERIFY(!app.trace().mid(mark).join('\n').contains(QLatin1String("paused")));
        QVERIFY(!app.trace().mid(mark).join('\n').contains(QLatin1String("url ")));

        const int handed = app.traceCount();
        AppDriver second;
        QVERIFY(second.start({testMedia(QStringLiteral("clip.webm"))}));
        QCOMPARE(second.waitForExit(), 0);
        QVERIFY(app.waitForTrace(QStringLiteral("url ") + testMedia(QStringLiteral("clip.webm")),
                                 10000, handed) >= 0);
        QCOMPARE(outcome(app, handed), kReady);
    }

    // Down onto a pipe or a link to /dev/zero named like a video (a pipe froze the window for
    // good, waiting for a writer), or in a folder on a share that stopped answering: the window
    // answers the desktop at once while the disk is stuck, the file fails with its message, or
    // the steps asked for meanwhile take the user, once the share answers, where they lead.
    void aStuckDiskNeverFreezesTheWindow_data()
    {
        QTest::addColumn<QString>("neighbour");
        QTest::addColumn<QString>("message");
        const QString special = QStringLiteral("error Este é um arquivo especial do sistema (pipe, "
                                               "soquete ou dispositivo), não um vídeo.");
        QTest::newRow("a pipe") << "pipe" << special;
        QTest::newRow("a link to /dev/zero") << "/dev/zero" << special;
        QTest::newRow("a share that stopped answering") << "share" << QString();
    }

    void aStuckDiskNeverFreezesTheWindow()
    {
        QFETCH(QString, neighbour);
        QFETCH(QString, message);
        const bool onShare = neighbour == QLatin1String("share");
        SlowFolder share;
        QTemporaryDir dir;
        if (onShare && !share.mount(QStringLiteral("readdir")))
            QSKIP("no FUSE here: slowfs not built, or no mount allowed");
        const auto source = [&](const char *name) {
            return onShare ? share.source(QLatin1String(name)) : dir.filePath(QLatin1String(name));
        };
        const auto path = [&](const char *name) {
            return onShare ? share.path(QLatin1String(name)) : dir.filePath(QLatin1String(name));
        };
        QVERIFY(QFile::copy(testMedia(QStringLiteral("long.mp4")), source("a.mp4")));
        QVERIFY(QFile::copy(testMedia(QStringLiteral("clip.mp4")), source("c.mp4")));
        if (neighbour == QLatin1String("pipe"))
            QCOMPARE(::mkfifo(QFile::encodeName(source("b.mp4")).constData(), 0644), 0);
        else if (onShare)
            QVERIFY(QFile::copy(testMedia(QStringLiteral("clip.mp4")), source("b.mp4")));
        else
            QVERIFY(QFile::link(neighbour, source("b.mp4")));

        AppDriver app;
        QVERIFY(app.start({path("a.mp4")}));
        QVERIFY(app.waitForTrace(QStringLiteral("playing")) >= 0);
        MprisClient mpris;
        QVERIFY(mpris.waitForPlayer());
        if (onShare)
            share.closeGate();
        const int mark = app.traceCount();
        QVERIFY(mpris.command(QStringLiteral("Next")));
        if (onShare) // the step's listing is stuck in the share
            QTRY_VERIFY_WITH_TIMEOUT(share.held(QStringLiteral("readdir")) > 0, 10000);

        // The window answers meanwhile, while the disk is still stuck: a window waiting on it
        // would leave the call unanswered until D-Bus gives up. (How fast it answers is the
        // stall benchmark's to measure.)
        QVERIFY(!mpris.get(QStringLiteral("PlaybackStatus")).toString().isEmpty());
        if (onShare) {
            QVERIFY(share.held(QStringLiteral("readdir")) > 0); // still stuck all along
            QVERIFY(mpris.command(QStringLiteral("Next")));     // and one more step meanwhile
            share.openGate();
        } else {
            QVERIFY(app.waitForTrace(QStringLiteral("url ") + path("b.mp4"), 10000, mark) >= 0);
            QVERIFY(app.waitForTrace(message, 10000, mark) >= 0);
            QVERIFY(mpris.command(QStringLiteral("Next")));
        }
        const int opened = app.waitForTrace(QStringLiteral("url ") + path("c.mp4"), 10000, mark);
        QVERIFY(opened >= 0);
        QCOMPARE(outcome(app, opened), kReady);
        QVERIFY(!app.trace().mid(mark).contains(QStringLiteral("url ") +
                                                path(onShare ? "b.mp4" : "a.mp4")));
    }

    // A desktop client asks for what no player can do: a rate or volume that is no number, a
    // rate beyond the highest; and a file claims a length beyond what MPRIS can carry. Nonsense
    // changes nothing, the highest rate is as high as it goes, the length is the largest there
    // is; the video plays on.
    void desktopRequestsOutOfRange()
    {
        QTemporaryDir dir;
        // 1e300 milliseconds in the header: 1e297 seconds.
        const QByteArray webm =
            patchMatroskaDuration(readMedia(QStringLiteral("clip.webm")), 1e300);
        QVERIFY(!webm.isEmpty());
        const QString file = dir.filePath(QStringLiteral("forever.webm"));
        QVERIFY(writeRaw(QFile::encodeName(file), webm));

        AppDriver app;
        QVERIFY(app.start({file}));
        QVERIFY(app.waitForTrace(QStringLiteral("playing")) >= 0);
        MprisClient mpris;
        QVERIFY(mpris.waitForPlayer());
        QCOMPARE(mpris.metadata("mpris:length").toLongLong(), qint64(9.2e18));

        mpris.set(QStringLiteral("Rate"), qQNaN());
        mpris.set(QStringLiteral("Volume"), qQNaN());
        QCOMPARE(mpris.get(QStringLiteral("Rate")).toDouble(), 1.0);
        QCOMPARE(mpris.get(QStringLiteral("Volume")).toDouble(), 1.0);
        mpris.set(QStringLiteral("Rate"), qInf());
        QVERIFY(app.waitForTrace(QStringLiteral("rate 16")) >= 0);
        QVERIFY(!app.trace().join('\n').contains(QLatin1String("nan")));
        QCOMPARE(mpris.get(QStringLiteral("PlaybackStatus")).toString(), QStringLiteral("Playing"));
    }

    // A damaged preferences file: what cannot be read takes its default (the introduction when
    // its completion cannot be read, the default player frame), and the next write leaves a
    // well-formed file.
    void damagedPreferencesStartWithDefaults_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<bool>("introduction");
        QTest::newRow("garbage") << QByteArrayLiteral("\x00\x13\x37 not a settings file \xff\n")
                                 << true;
        QTest::newRow("a frame of 1e300 points")
            << QByteArray("[General]\nonboardingCompleted=true\n"
                          "playerWindowFrame=\"{{0, 0}, {1e300, 1e300}}\"\n")
            << false;
        QTest::newRow("cut off in the frame")
            << QByteArray("[General]\nonboardingCompleted=true\nplayerWindowFrame=\"{{100, 80}, {7")
            << false;
    }

    void damagedPreferencesStartWithDefaults()
    {
        QFETCH(QByteArray, content);
        QFETCH(bool, introduction);
        AppDriver app;
        {
            QFile config(app.configFile());
            QVERIFY(config.open(QIODevice::WriteOnly));
            config.write(content);
        }
        QVERIFY(app.start({testMedia(QStringLiteral("clip.mp4"))}));
        QVERIFY(app.window());
        const QRect frame = app.windowGeometry();
        if (introduction) {
            QCOMPARE(frame.size(), QSize(460, 580));
            app.click(QPoint(230, frame.height() - 37)); // "Pular e só usar o player"
            QVERIFY(app.waitForTrace(QStringLiteral("ready")) >= 0);
        } else {
            QCOMPARE(frame.size(), QSize(980, 640));
            QVERIFY(app.waitForTrace(QStringLiteral("ready")) >= 0);
            app.resizeWindow(800, 600); // saved once it stops moving
        }
        QVERIFY(QTest::qWaitFor(
            [&] {
                QSettings written(app.configFile(), QSettings::IniFormat);
                return written
                    .value(introduction ? QStringLiteral("onboardingCompleted")
                                        : QStringLiteral("playerWindowFrame"))
                    .toString()
                    .startsWith(introduction ? QStringLiteral("true") : QStringLiteral("{{"));
            },
            10000));
        QSettings written(app.configFile(), QSettings::IniFormat);
        (void)written.allKeys();
        QCOMPARE(written.status(), QSettings::NoError);
    }
};

QTEST_MAIN(TestAppHostile)
#include "tst_app_hostile.moc"
