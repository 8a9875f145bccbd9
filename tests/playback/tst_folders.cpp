// Folders: the neighbour a step finds in real folders (in file-manager order: numbers by value,
// names and extensions in any case), and the session's steps over them.
#include "fakeengine.h"
#include "foldernavigator.h"
#include "helddiskjobs.h"
#include "memorypreferences.h"
#include "playbacksession.h"
#include "testsupport.h"

#include <QTemporaryDir>
#include <QTest>

// Real folders: Filmes (a.mp4, B.MOV, clip2.mkv, clip10.mkv and no videos besides), Um (one
// video), Outros (x, y and alias → y), Pastas (a video and a folder named like one) and link →
// Filmes; a session over them whose disk answers when the test says so.
struct Folders {
    QTemporaryDir root;
    FakeEngine engine;
    MemoryPreferences preferences;
    HeldDiskJobs disk;
    PlaybackSession session{
        PlaybackSession::Services{engine, preferences, nullptr, nullptr, &disk}};

    Folders()
    {
        makeFiles(path("Filmes"),
                  {"a.mp4", "B.MOV", "c.txt", ".hidden.mp4", "clip10.mkv", "clip2.mkv"});
        makeFiles(path("Um"), {"one.mp4", "notes.txt"});
        makeFiles(path("Outros"), {"x.mp4", "y.mp4"});
        makeFiles(path("Pastas"), {"a.mp4"});
        QDir(root.path()).mkpath(QStringLiteral("Pastas/b.mp4"));
        QFile::link(path("Outros/y.mp4"), path("Outros/alias.mp4"));
        QFile::link(path("Filmes"), path("link"));
    }
    QString path(const QString &relative) const { return root.filePath(relative); }
    QUrl url(const QString &relative) const { return QUrl::fromLocalFile(path(relative)); }
};

class TestFolders : public QObject {
    Q_OBJECT

private slots:
    void aStepFindsTheNeighbour_data()
    {
        QTest::addColumn<QString>("from");
        QTest::addColumn<int>("direction");
        QTest::addColumn<QString>("expected"); // empty: none
        const auto row = [](const char *name, const char *from, int direction, const char *to) {
            QTest::newRow(name) << QString(from) << direction << QString(to);
        };
        row("next", "Filmes/a.mp4", 1, "B.MOV");
        row("past the end", "Filmes/clip10.mkv", 1, "a.mp4");
        row("before the start", "Filmes/a.mp4", -1, "clip10.mkv");
        row("six ahead", "Filmes/a.mp4", 6, "clip2.mkv");
        row("five back", "Filmes/a.mp4", -5, "clip10.mkv");
        row("opened through a link", "link/B.MOV", 1, "clip2.mkv");
        row("a link names its video", "Outros/y.mp4", 1, "x.mp4");
        row("the only video", "Um/one.mp4", 1, "");
        row("moved away", "Filmes/gone.mp4", 1, "");
        // The engine refuses it with its message; it is no question of access.
        row("a folder named like a video", "Pastas/a.mp4", 1, "b.mp4");
    }

    void aStepFindsTheNeighbour()
    {
        QFETCH(QString, from);
        QFETCH(int, direction);
        QFETCH(QString, expected);
        Folders f;
        const FolderNavigator::Sibling found =
            FolderNavigator::find(f.url(from), direction, PlaybackSession::videoExtensions());
        QCOMPARE(found.target.fileName(), expected);
        QCOMPARE(found.target.adjusted(QUrl::RemoveFilename),
                 expected.isEmpty() ? QUrl() : f.url(from).adjusted(QUrl::RemoveFilename));
        QCOMPARE(found.isReadable, !expected.isEmpty());
    }

    // Intents while the disk has not answered, one per word: "open <file>", "step <n>",
    // "close", and "disk" (it answers all it was asked). Steps add up to one, from the same
    // file; an open or a close drops what was asked before it.
    void theNewestIntentWinsWhileTheDiskIsBusy_data()
    {
        // The file open at the end; empty: none.
        const auto row = textColumns("intents", "expected");
        row("three steps", "step 1 step 1 step 1 disk", "clip10.mkv");
        row("there and back", "step 1 step -1 disk", "a.mp4");
        row("a step while opening", "open Filmes/clip2.mkv step -1 disk", "B.MOV");
        row("another file opened", "step 1 open Outros/x.mp4 disk", "x.mp4");
        row("closed", "step 1 close disk", "");
    }

    void theNewestIntentWinsWhileTheDiskIsBusy()
    {
        QFETCH(QString, intents);
        QFETCH(QString, expected);
        Folders f;
        f.session.open(f.url(QStringLiteral("Filmes/a.mp4")));
        f.disk.runAll();
        const QStringList words = intents.split(u' ');
        for (qsizetype i = 0; i < words.size(); ++i) {
            if (words[i] == QLatin1String("open"))
                f.session.open(f.url(words[++i]));
            else if (words[i] == QLatin1String("step"))
                f.session.openSibling(words[++i].toInt());
            else if (words[i] == QLatin1String("close"))
                f.session.closeFile();
            else
                f.disk.runAll();
        }
        QCOMPARE(f.session.url().fileName(), expected);
        QCOMPARE(f.engine.last()->url().fileName(),
                 expected.isEmpty() ? QStringLiteral("a.mp4") : expected);
    }
};

QTEST_GUILESS_MAIN(TestFolders)
#include "tst_folders.moc"
