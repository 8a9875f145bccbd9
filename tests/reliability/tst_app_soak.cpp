// The long run: the real application steps through 500 videos of a folder, one after the other,
// as a desktop's media keys do (MPRIS Next). Every file gets an mpv core of its own and loses it
// again; nothing of them may stay behind: the resident memory grows by less than a fixed bound
// and no file descriptor is left open.
#include "appdriver.h"
#include "mprisclient.h"
#include "testsupport.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <unistd.h>

namespace {

constexpr int kFiles = 500;
// Files opened before the first measurement: the caches of Qt Quick, Mesa and the codecs fill.
constexpr int kWarmUp = 50;
// Resident memory may grow by this much over the remaining 450 files (it grows by about 5 MiB),
// far less than what keeping 100 KiB of every file would add.
constexpr qint64 kRssBoundKiB = 24 * 1024;
// The address space may grow by this much: a thread stack left mapped for every file (8 MiB
// each) would take gigabytes.
constexpr qint64 kVirtualBoundKiB = 256 * 1024;

// A number from /proc/<pid>/status ("VmRSS:", "Threads:"), in the units the kernel uses.
qint64 statusValue(qint64 pid, const QByteArray &field)
{
    QFile file(QStringLiteral("/proc/%1/status").arg(pid));
    if (!file.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : file.readAll().split('\n')) {
        if (line.startsWith(field))
            return line.mid(field.size()).trimmed().split(' ').value(0).toLongLong();
    }
    return -1;
}

int openFiles(qint64 pid)
{
    return int(QDir(QStringLiteral("/proc/%1/fd").arg(pid)).entryList(QDir::System).size());
}

} // namespace

class TestAppSoak : public QObject {
    Q_OBJECT

private slots:
    void fiveHundredFilesLeaveNothingBehind()
    {
        QTemporaryDir folder;
        QStringList files;
        const QByteArray clip = QFile::encodeName(testMedia(QStringLiteral("clip.mp4")));
        for (int i = 0; i < kFiles; ++i) {
            files << folder.filePath(QStringLiteral("v%1.mp4").arg(i, 3, 10, QLatin1Char('0')));
            // Links to one clip: 500 names, one copy on disk.
            QVERIFY(::link(clip.constData(), QFile::encodeName(files.last()).constData()) == 0);
        }

        AppDriver app;
        QVERIFY(app.start({files[0]}));
        const qint64 pid = app.processId();
        QVERIFY(app.waitForTrace(QStringLiteral("first-frame")) >= 0);
        MprisClient mpris;
        QVERIFY(mpris.waitForPlayer());

        qint64 rssBefore = 0;
        qint64 virtualBefore = 0;
        int filesBefore = 0;
        int threadsBefore = 0;
        for (int i = 1; i <= kFiles; ++i) {
            const int mark = app.traceCount();
            QVERIFY(mpris.command(QStringLiteral("Next")));
            // The next file opened and drew its first picture (the last wraps to the first).
            const QString url = QStringLiteral("url ") + files[i % kFiles];
            const int opened = app.waitForTrace(url, 10000, mark);
            QVERIFY2(opened >= 0, qPrintable(url));
            QVERIFY2(app.waitForTrace(QStringLiteral("first-frame"), 10000, opened) >= 0,
                     qPrintable(url));
            if (i == kWarmUp) {
                // Room for the cores of the files before to wind down (the threads and files are
                // waited for at the end); the measurement does not depend on the time.
                QTest::qWait(1000);
                rssBefore = statusValue(pid, "VmRSS:");
                virtualBefore = statusValue(pid, "VmSize:");
                filesBefore = openFiles(pid);
                threadsBefore = int(statusValue(pid, "Threads:"));
            }
        }
        // Replaced cores wind down on threads of their own; wait for them, not for a time.
        QVERIFY(QTest::qWaitFor([&] { return openFiles(pid) <= filesBefore; }, 10000));
        QVERIFY(
            QTest::qWaitFor([&] { return statusValue(pid, "Threads:") <= threadsBefore; }, 10000));
        const qint64 rssAfter = statusValue(pid, "VmRSS:");
        const qint64 virtualAfter = statusValue(pid, "VmSize:");
        const QString figures =
            QStringLiteral("resident memory %1 MiB after %2 files, %3 MiB after %4 (%5 KiB more); "
                           "address space %6 KiB more; %7 open files, %8 threads")
                .arg(rssBefore / 1024.0, 0, 'f', 1)
                .arg(kWarmUp)
                .arg(rssAfter / 1024.0, 0, 'f', 1)
                .arg(kFiles)
                .arg(rssAfter - rssBefore)
                .arg(virtualAfter - virtualBefore)
                .arg(openFiles(pid))
                .arg(statusValue(pid, "Threads:"));
        qInfo().noquote() << figures;
        QVERIFY2(rssAfter - rssBefore < kRssBoundKiB, qPrintable(figures));
        QVERIFY2(virtualAfter - virtualBefore < kVirtualBoundKiB, qPrintable(figures));
        QVERIFY(app.isRunning());
    }
};

QTEST_MAIN(TestAppSoak)
#include "tst_app_soak.moc"
