// Folders: their videos in file-manager order, the identity of locations, the neighbour a step
// finds in real folders, and the session's steps and grants over them.
#include "fakeengine.h"
#include "foldernavigator.h"
#include "folderplaylist.h"
#include "helddiskjobs.h"
#include "memorypreferences.h"
#include "playbacksession.h"
#include "scriptedpanels.h"
#include "simulatedsandbox.h"
#include "testsupport.h"

#include <QTemporaryDir>
#include <QTest>

// Real folders: Filmes (a.mp4, B.MOV, clip2.mkv, clip10.mkv and no videos besides), Um (one
// video), Outros (x, y and alias → y), Pastas (a video and a folder named like one) and link →
// Filmes; a session over them whose panels answer from a script and whose disk answers when
// the test says so. The preferences outlive the session, as they outlive a launch.
struct Folders {
    QTemporaryDir root;
    FakeEngine engine;
    MemoryPreferences preferences;
    SimulatedSandbox sandbox;
    ScriptedPanels panels;
    HeldDiskJobs disk;
    std::unique_ptr<PlaybackSession> session;

    explicit Folders(bool sandboxed)
    {
        makeFiles(path("Filmes"),
                  {"a.mp4", "B.MOV", "c.txt", ".hidden.mp4", "clip10.mkv", "clip2.mkv"});
        makeFiles(path("Um"), {"one.mp4", "notes.txt"});
        makeFiles(path("Outros"), {"x.mp4", "y.mp4"});
        makeFiles(path("Pastas"), {"a.mp4"});
        QDir(root.path()).mkpath(QStringLiteral("Pastas/b.mp4"));
        QFile::link(path("Outros/y.mp4"), path("Outros/alias.mp4"));
        QFile::link(path("Filmes"), path("link"));
        sandbox.sandboxed = sandboxed;
        relaunch();
    }
    void relaunch() // as the window's close does, the file is closed first
    {
        if (session)
            session->closeFile();
        session = std::make_unique<PlaybackSession>(
            PlaybackSession::Services{engine, preferences, &sandbox, &panels, &disk});
    }
    QString path(const QString &relative) const { return root.filePath(relative); }
    QUrl url(const QString &relative) const { return QUrl::fromLocalFile(path(relative)); }
    // Opens `file`, steps by `direction` and answers the folder panel, if it asks, with `grant`.
    void step(const QString &file, int direction, const QString &grant = QStringLiteral("Filmes"))
    {
        session->open(url(file));
        disk.runAll();
        panels.answers << (grant.isEmpty() ? std::nullopt : std::optional(url(grant)));
        session->openSibling(direction);
        for (int i = 0; i < 3; ++i) {
            disk.runAll();
            settle();
        }
    }
};

class TestFolders : public QObject {
    Q_OBJECT

private slots:
    void cleanup() { QLocale::setDefault(QLocale::system()); }

    // The C locale still orders numbers by value.
    void videosComeInFileManagerOrder_data()
    {
        QTest::addColumn<QString>("locale");
        QTest::addColumn<QStringList>("listing");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("C") << "C" << QStringList{"clip10.mkv", "Clip1.MKV", "clip2.mkv", "c.txt"}
                           << QStringList{"Clip1.MKV", "clip2.mkv", "clip10.mkv"};
        QTest::newRow("en_US") << "en_US" << QStringList{"b.mp4", "A.mp4", "x.mp4.txt"}
                               << QStringList{"A.mp4", "b.mp4"};
        QTest::newRow("sv_SE") << "sv_SE" << QStringList{"äpple.mp4", "zebra.3gp"}
                               << QStringList{"zebra.3gp", "äpple.mp4"};
        QTest::newRow("de_DE") << "de_DE" << QStringList{"zebra.m2ts", "äpple.webm"}
                               << QStringList{"äpple.webm", "zebra.m2ts"};
    }

    // A single step finds in one pass the neighbour that sorting the folder gives.
    void videosComeInFileManagerOrder()
    {
        QFETCH(QString, locale);
        QFETCH(QStringList, listing);
        QFETCH(QStringList, expected);
        QLocale::setDefault(QLocale(locale));
        QTemporaryDir dir;
        QVERIFY(makeFiles(dir.path(), listing));
        const QUrl folder = QUrl::fromLocalFile(dir.path());
        QStringList names;
        for (const QUrl &url : FolderPlaylist::videos(
                 FolderPlaylist::locations(*FolderPlaylist::list(folder), folder),
                 PlaybackSession::videoExtensions()))
            names << url.fileName();
        QCOMPARE(names, expected);
        for (qsizetype i = 0; i < expected.size(); ++i)
            QCOMPARE(FolderNavigator::find(QUrl::fromLocalFile(dir.filePath(expected[i])), 1,
                                           PlaybackSession::videoExtensions())
                         .target.fileName(),
                     expected[(i + 1) % expected.size()]);
    }

    void identityResolvesDotsLinksAndMissingParts_data()
    {
        QTest::addColumn<QString>("location"); // under the temporary folder
        QTest::addColumn<QString>("expected"); // under it with its links resolved, lower case
        QTest::newRow("through a link, other case") << "link/A.mp4"
                                                    << "filmes/a.mp4";
        QTest::newRow("dots") << "Filmes/./../Filmes/a.mp4"
                              << "filmes/a.mp4";
        QTest::newRow("missing behind a link") << "link/novo/B.mp4"
                                               << "filmes/novo/b.mp4";
    }

    void identityResolvesDotsLinksAndMissingParts()
    {
        QFETCH(QString, location);
        QFETCH(QString, expected);
        Folders f(false);
        QCOMPARE(FolderPlaylist::identity(f.url(location)),
                 QFileInfo(f.root.path()).canonicalFilePath().toLower() + u'/' + expected);
    }

    void aStepFindsTheNeighbour_data()
    {
        QTest::addColumn<QString>("from");
        QTest::addColumn<int>("direction");
        QTest::addColumn<QString>("expected"); // empty: none
        QTest::newRow("next") << "Filmes/a.mp4" << 1 << "B.MOV";
        QTest::newRow("past the end") << "Filmes/clip10.mkv" << 1 << "a.mp4";
        QTest::newRow("before the start") << "Filmes/a.mp4" << -1 << "clip10.mkv";
        QTest::newRow("six ahead") << "Filmes/a.mp4" << 6 << "clip2.mkv";
        QTest::newRow("five back") << "Filmes/a.mp4" << -5 << "clip10.mkv";
        QTest::newRow("opened through a link") << "link/B.MOV" << 1 << "clip2.mkv";
        QTest::newRow("a link names its video") << "Outros/y.mp4" << 1 << "x.mp4";
        QTest::newRow("the only video") << "Um/one.mp4" << 1 << "";
        QTest::newRow("moved away") << "Filmes/gone.mp4" << 1 << "";
        // The engine refuses it with its message; it is no question of access.
        QTest::newRow("a folder named like a video") << "Pastas/a.mp4" << 1 << "b.mp4";
    }

    void aStepFindsTheNeighbour()
    {
        QFETCH(QString, from);
        QFETCH(int, direction);
        QFETCH(QString, expected);
        Folders f(false);
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
        QTest::addColumn<QString>("intents");
        QTest::addColumn<QString>("expected"); // the file open at the end; empty: none
        QTest::newRow("three steps") << "step 1 step 1 step 1 disk"
                                     << "clip10.mkv";
        QTest::newRow("there and back") << "step 1 step -1 disk"
                                        << "a.mp4";
        QTest::newRow("a step while opening") << "open Filmes/clip2.mkv step -1 disk"
                                              << "B.MOV";
        QTest::newRow("another file opened") << "step 1 open Outros/x.mp4 disk"
                                             << "x.mp4";
        QTest::newRow("closed") << "step 1 close disk"
                                << "";
    }

    void theNewestIntentWinsWhileTheDiskIsBusy()
    {
        QFETCH(QString, intents);
        QFETCH(QString, expected);
        Folders f(false);
        f.session->open(f.url(QStringLiteral("Filmes/a.mp4")));
        f.disk.runAll();
        const QStringList words = intents.split(u' ');
        for (qsizetype i = 0; i < words.size(); ++i) {
            if (words[i] == QLatin1String("open"))
                f.session->open(f.url(words[++i]));
            else if (words[i] == QLatin1String("step"))
                f.session->openSibling(words[++i].toInt());
            else if (words[i] == QLatin1String("close"))
                f.session->closeFile();
            else
                f.disk.runAll();
        }
        QCOMPARE(f.session->url().fileName(), expected);
        QCOMPARE(f.engine.last()->url().fileName(),
                 expected.isEmpty() ? QStringLiteral("a.mp4") : expected);
    }

    // A sandboxed step asks for the folder once, remembers the grant and gets it back at the
    // next launch, also from a stale bookmark; every access started is stopped.
    void theGrantSaysWhyItFails_data()
    {
        QTest::addColumn<QString>("answer");
        QTest::addColumn<QString>("message"); // empty: granted
        QTest::newRow("cancelled") << ""
                                   << "Sem acesso à pasta, não dá para abrir o próximo vídeo.";
        QTest::newRow("another folder")
            << "Outros"
            << "Selecione a pasta que contém os vídeos para navegar entre eles.";
        QTest::newRow("refused") << "Um/../Filmes"
                                 << "Não foi possível manter o acesso à pasta de vídeos.";
        QTest::newRow("through a link") << "link"
                                        << "";
        QTest::newRow("stale") << "FILMES"
                               << "";
    }

    void theGrantSaysWhyItFails()
    {
        QFETCH(QString, answer);
        QFETCH(QString, message);
        Folders f(true);
        f.sandbox.refusedStarts << f.path(QStringLiteral("Um/../Filmes"));
        f.step(QStringLiteral("Filmes/a.mp4"), 1, answer);
        QCOMPARE(f.panels.shown.size(), 1);
        QCOMPARE(f.panels.shown[0].message,
                 QStringLiteral("Para trocar de vídeo com ↑↓, permita o acesso à pasta."));
        QCOMPARE(f.session->errorMessage(), message);
        QCOMPARE(f.engine.last()->url().fileName(), QString(message.isEmpty() ? "B.MOV" : "a.mp4"));
        const QString key =
            QStringLiteral("folderBookmark:") + FolderPlaylist::identity(f.url("Filmes"));
        QCOMPARE(f.preferences.dataValue(key).has_value(), message.isEmpty());
        if (answer == QLatin1String("FILMES"))
            f.sandbox.stale << *f.preferences.dataValue(key);
        f.relaunch();
        f.step(QStringLiteral("Filmes/B.MOV"), 1);
        QCOMPARE(f.panels.shown.size(), message.isEmpty() ? 1 : 2);
        QCOMPARE(f.engine.last()->url().fileName(), QStringLiteral("clip2.mkv"));
        f.session->closeFile();
        QVERIFY(f.sandbox.allStopped());
    }

    void aPermissionFailureAsksForTheFolderThenReopens()
    {
        Folders f(true);
        f.panels.answers << f.url(QStringLiteral("Filmes"));
        f.session->open(f.url(QStringLiteral("Filmes/B.MOV")));
        f.disk.runAll();
        f.engine.last()->fail(MediaError{MediaError::Code::NoPermissionToRead, {}});
        for (int i = 0; i < 3; ++i) {
            settle();
            f.disk.runAll();
        }
        QCOMPARE(f.panels.shown.size(), 1);
        QCOMPARE(f.engine.players().size(), 2); // granted: the same file again
        QCOMPARE(f.engine.last()->url().fileName(), QStringLiteral("B.MOV"));
    }
};

QTEST_GUILESS_MAIN(TestFolders)
#include "tst_folders.moc"
