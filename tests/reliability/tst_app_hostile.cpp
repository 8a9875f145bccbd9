// Hostile disks and desktop requests against the running application: the window keeps
// answering the desktop (over MPRIS) whatever the disk under the next video does.
#include "appdriver.h"
#include "mprisclient.h"
#include "stalledshare.h"
#include "testsupport.h"

#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

class TestAppHostile : public QObject {
    Q_OBJECT

private slots:
    // Next onto a pipe or a link to /dev/zero named like a video (a pipe once froze the window
    // for good, waiting for a writer), or in a folder on a share that stopped answering: the
    // window answers meanwhile, the file fails with its message, or the two steps asked for
    // take the user, once the share answers, where they lead.
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
        StalledShare share;
        const bool onShare = message.isEmpty();
        if (onShare && !share.mount())
            QSKIP("no FUSE here (bindfs, /dev/fuse)");
        QTemporaryDir dir;
        const auto at = [&](const char *name) {
            return onShare ? share.path(name) : dir.filePath(QLatin1String(name));
        };
        const auto source = [&](const char *name) {
            return onShare ? share.source(name) : at(name);
        };
        QVERIFY(QFile::copy(testMedia(QStringLiteral("long.mp4")), source("a.mp4")));
        QVERIFY(QFile::copy(testMedia(QStringLiteral("clip.mp4")), source("c.mp4")));
        if (neighbour == QLatin1String("pipe"))
            QCOMPARE(::mkfifo(QFile::encodeName(source("b.mp4")).constData(), 0644), 0);
        else
            QVERIFY(onShare ? QFile::copy(source("c.mp4"), source("b.mp4"))
                            : QFile::link(neighbour, source("b.mp4")));

        AppDriver app;
        QVERIFY(app.start({at("a.mp4")}));
        QVERIFY(app.waitForTrace(QStringLiteral("playing")) >= 0);
        MprisClient mpris;
        QVERIFY(mpris.waitForPlayer());
        if (onShare)
            share.stop();
        const int mark = app.traceCount();
        QVERIFY(mpris.command(QStringLiteral("Next")));
        // Answered after Next was handled: a window waiting on the disk would leave it unanswered.
        QVERIFY(!mpris.get(QStringLiteral("PlaybackStatus")).toString().isEmpty());
        if (!onShare) {
            QVERIFY(app.waitForTrace(QStringLiteral("url ") + at("b.mp4"), 10000, mark) >= 0);
            QVERIFY(app.waitForTrace(message, 10000, mark) >= 0);
        }
        QVERIFY(mpris.command(QStringLiteral("Next")));
        share.resume();
        const int opened = app.waitForTrace(QStringLiteral("url ") + at("c.mp4"), 10000, mark);
        QVERIFY(opened >= 0);
        QVERIFY(app.waitForTrace(QStringLiteral("ready"), 10000, opened) >= 0);
        QVERIFY(!app.trace().mid(mark).contains(QStringLiteral("url ") +
                                                at(onShare ? "b.mp4" : "a.mp4")));
    }

    // A desktop asks for a rate or volume that is no number, or a rate beyond the highest, of a
    // file whose length is beyond what MPRIS can carry: nonsense changes nothing, the highest
    // rate is as high as it goes, the length is the largest there is; the video plays on.
    void desktopRequestsOutOfRange()
    {
        QTemporaryDir dir;
        const QString file = dir.filePath(QStringLiteral("forever.webm"));
        QVERIFY(writeRaw(QFile::encodeName(file),
                         patchMatroskaDuration(readMedia(QStringLiteral("clip.webm")), 1e300)));
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
};

QTEST_MAIN(TestAppHostile)
#include "tst_app_hostile.moc"
