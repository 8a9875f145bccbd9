// Folders: their videos in file-manager order, the identity of locations, stepping through the
// videos of real folders, and the grants of a simulated sandbox.
#include "fakeengine.h"
#include "folderplaylist.h"
#include "helddiskjobs.h"
#include "memorypreferences.h"
#include "playbacksession.h"
#include "scriptedpanels.h"
#include "simulatedsandbox.h"
#include "testsupport.h"

#include <QTemporaryDir>
#include <QTest>

namespace {

const QString kCancelled = QStringLiteral("Sem acesso à pasta, não dá para abrir o próximo vídeo.");
const QString kOtherFolder =
    QStringLiteral("Selecione a pasta que contém os vídeos para navegar entre eles.");
const QString kNotKept = QStringLiteral("Não foi possível manter o acesso à pasta de vídeos.");

// Real folders: Filmes (mixed), Um (one video), Outros (x, y and alias → y), Pastas (a video
// and a folder named like one) and link → Filmes; a session over them whose panels answer from
// a script, and whose disk answers at once or, on a held disk, when the test says so. The
// preferences outlive the session, as they outlive a launch.
struct Folders {
    QTemporaryDir root;
    FakeEngine engine;
    MemoryPreferences preferences;
    SimulatedSandbox sandbox;
    ScriptedPanels panels;
    HeldDiskJobs disk;
    bool isDiskHeld = false;
    std::unique_ptr<PlaybackSession> session;

    explicit Folders(bool sandboxed, bool diskHeld = false)
        : isDiskHeld(diskHeld)
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
    void relaunch()
    {
        session.reset();
        session = std::make_unique<PlaybackSession>(PlaybackSession::Services{
            engine, preferences, &sandbox, &panels, isDiskHeld ? &disk : nullptr});
    }
    QString path(const char *relative) const { return root.filePath(QLatin1String(relative)); }
    QUrl url(const QString &relative) const { return QUrl::fromLocalFile(root.filePath(relative)); }
    QString opened() const { return engine.last() ? engine.last()->url().fileName() : QString(); }
    std::optional<QByteArray> filmesBookmark() const
    {
        return preferences.dataValue(QStringLiteral("folderBookmark:") +
                                     QFileInfo(path("Filmes")).canonicalFilePath().toLower());
    }
    // Opens `from`, steps by `direction` and answers the folder panel, if it asks, with `grant`.
    void step(const QString &from, int direction, const QString &grant = QStringLiteral("Filmes"))
    {
        session->open(url(from));
        panels.answers << (grant.isEmpty() ? std::nullopt : std::optional(url(grant)));
        session->openSibling(direction);
        settle();
    }
};

} // namespace

class TestFolders : public QObject {
    Q_OBJECT

private slots:
    void cleanup() { QLocale::setDefault(QLocale::system()); }

    void videosComeInFileManagerOrder_data()
    {
        QTest::addColumn<QString>("locale");
        QTest::addColumn<QStringList>("listing");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("C locale is still natural")
            << "C" << QStringList{"clip10.mkv", "Clip1.MKV", "clip2.mkv", "c.txt", "d.mp4.txt"}
            << QStringList{"Clip1.MKV", "clip2.mkv", "clip10.mkv"};
        QTest::newRow("equal names keep their order")
            << "en_US" << QStringList{"b.mp4", "A.mp4", "a.MP4"}
            << QStringList{"A.mp4", "a.MP4", "b.mp4"};
        QTest::newRow("Swedish ä after z") << "sv_SE" << QStringList{"äpple.mp4", "zebra.3gp"}
                                           << QStringList{"zebra.3gp", "äpple.mp4"};
        QTest::newRow("German ä with a") << "de_DE" << QStringList{"zebra.m2ts", "äpple.webm"}
                                         << QStringList{"äpple.webm", "zebra.m2ts"};
    }

    void videosComeInFileManagerOrder()
    {
        QFETCH(QString, locale);
        QFETCH(QStringList, listing);
        QFETCH(QStringList, expected);
        QLocale::setDefault(QLocale(locale));
        QList<QUrl> urls;
        for (const QString &name : listing)
            urls << QUrl::fromLocalFile(QStringLiteral("/v/") + name);
        QStringList names;
        for (const QUrl &url : FolderPlaylist::videos(urls, PlaybackSession::videoExtensions()))
            names << url.fileName();
        QCOMPARE(names, expected);
    }

    // A single step finds in one pass the video that sorting the folder and finding the file in
    // it gives: for every video of a folder of look-alike names, both ways.
    void aSingleStepAgreesWithTheSortedFolder_data()
    {
        QTest::addColumn<QString>("locale");
        QTest::newRow("C") << "C";
        QTest::newRow("en_US") << "en_US";
        QTest::newRow("sv_SE") << "sv_SE";
    }

    void aSingleStepAgreesWithTheSortedFolder()
    {
        QFETCH(QString, locale);
        QLocale::setDefault(QLocale(locale));
        QTemporaryDir dir;
        QVERIFY(makeFiles(dir.path(),
                          {"clip10.mkv", "Clip1.MKV", "clip2.mkv", "a.mp4", "A.mp4", "a.MP4",
                           "b.webm", "äpple.mp4", "zebra.3gp", "notes.txt", ".hidden.mp4",
                           "x.mp4.txt", "vid 1.mov", "vid 01.mov", "vid1.mov"}));
        QVERIFY(QFile::link(dir.filePath(QStringLiteral("b.webm")),
                            dir.filePath(QStringLiteral("alias.mp4"))));
        const QUrl folder = QUrl::fromLocalFile(dir.path());
        const QSet<QString> &extensions = PlaybackSession::videoExtensions();
        const std::optional<FolderPlaylist::Listing> listing = FolderPlaylist::list(folder);
        QVERIFY(listing);
        const QList<QUrl> sorted =
            FolderPlaylist::videos(FolderPlaylist::locations(*listing, folder), extensions);
        QCOMPARE(sorted.size(), 13);
        for (const QUrl &file : sorted) {
            const qsizetype i = FolderPlaylist::indexOf(file, sorted, folder, listing->links);
            for (const int direction : {1, -1}) {
                const QUrl expected = sorted[(i + direction + sorted.size()) % sorted.size()];
                QCOMPARE(FolderPlaylist::neighbour(file, *listing, folder, extensions, direction),
                         std::optional(expected));
            }
        }
    }

    // %T is the temporary folder as given, %C the same with its links resolved, in lower case.
    void identityResolvesDotsLinksAndMissingParts_data()
    {
        QTest::addColumn<QString>("location");
        QTest::addColumn<QString>("expected");
        QTest::newRow("through a link, other case") << "%T/link/A.mp4"
                                                    << "%C/filmes/a.mp4";
        QTest::newRow("dots") << "%T/Filmes/./../Filmes/a.mp4"
                              << "%C/filmes/a.mp4";
        QTest::newRow("folder with a slash") << "%T/link/"
                                             << "%C/filmes";
        QTest::newRow("missing behind a link") << "%T/link/novo/B.mp4"
                                               << "%C/filmes/novo/b.mp4";
        QTest::newRow("nothing exists") << "/nada-aqui/Novo/B.mp4"
                                        << "/nada-aqui/novo/b.mp4";
    }

    void identityResolvesDotsLinksAndMissingParts()
    {
        QFETCH(QString, location);
        QFETCH(QString, expected);
        Folders f(false);
        location.replace(QLatin1String("%T"), f.root.path());
        expected.replace(QLatin1String("%C"),
                         QFileInfo(f.root.path()).canonicalFilePath().toLower());
        QCOMPARE(FolderPlaylist::identity(QUrl::fromLocalFile(location)), expected);
    }

    // Unsandboxed. Filmes lists as a.mp4, B.MOV, clip2.mkv, clip10.mkv.
    void stepsWrapAroundTheFolder_data()
    {
        QTest::addColumn<QString>("from");
        QTest::addColumn<int>("direction");
        QTest::addColumn<QString>("expected"); // empty: nothing opens
        QTest::newRow("next") << "Filmes/a.mp4" << 1 << "B.MOV";
        QTest::newRow("next by number") << "Filmes/clip2.mkv" << 1 << "clip10.mkv";
        QTest::newRow("past the end") << "Filmes/clip10.mkv" << 1 << "a.mp4";
        QTest::newRow("before the start") << "Filmes/a.mp4" << -1 << "clip10.mkv";
        QTest::newRow("six ahead") << "Filmes/a.mp4" << 6 << "clip2.mkv";
        QTest::newRow("five back") << "Filmes/a.mp4" << -5 << "clip10.mkv";
        QTest::newRow("opened through a link") << "link/B.MOV" << 1 << "clip2.mkv";
        QTest::newRow("a link names its video") << "Outros/y.mp4" << 1 << "x.mp4";
        QTest::newRow("the only video") << "Um/one.mp4" << 1 << "";
        // The engine refuses it with its message; it is no question of access.
        QTest::newRow("a folder named like a video") << "Pastas/a.mp4" << 1 << "b.mp4";
        QTest::newRow("moved away after opening") << "Filmes/B.MOV" << 1 << "";
    }

    void stepsWrapAroundTheFolder()
    {
        QFETCH(QString, from);
        QFETCH(int, direction);
        QFETCH(QString, expected);
        Folders f(false);
        f.session->open(f.url(from));
        if (QTest::currentDataTag() == QLatin1String("moved away after opening"))
            QVERIFY(QFile::rename(f.url(from).toLocalFile(), f.path("Filmes/B.txt")));
        f.session->openSibling(direction);
        settle();
        QCOMPARE(f.engine.players().size(), expected.isEmpty() ? 1 : 2);
        QCOMPARE(f.session->url().fileName(),
                 expected.isEmpty() ? f.url(from).fileName() : expected);
        // The neighbour opens in the folder as the file was opened, and nothing asks.
        QCOMPARE(f.session->url().adjusted(QUrl::RemoveFilename),
                 f.url(from).adjusted(QUrl::RemoveFilename));
        QVERIFY(f.panels.shown.isEmpty());
    }

    // Intents while the disk has not answered yet, one per word: "open <file>", "step <n>",
    // "close", and "disk" (the disk answers all it was asked). The newest intent wins: steps
    // add up to one, from the same file; an open or a close drops what was asked before it.
    void theNewestIntentWinsWhileTheDiskIsBusy_data()
    {
        QTest::addColumn<QString>("intents");
        QTest::addColumn<QString>("expected"); // the file open at the end; empty: none
        QTest::addColumn<int>("players");
        QTest::newRow("one step") << "step 1 disk"
                                  << "B.MOV" << 2;
        QTest::newRow("three steps") << "step 1 step 1 step 1 disk"
                                     << "clip10.mkv" << 2;
        QTest::newRow("there and back") << "step 1 step -1 disk"
                                        << "a.mp4" << 1;
        QTest::newRow("a step while opening") << "close open Filmes/clip2.mkv step -1 disk"
                                              << "B.MOV" << 3;
        QTest::newRow("another file opened") << "step 1 open Outros/x.mp4 step 1 disk"
                                             << "y.mp4" << 3;
        QTest::newRow("opened twice") << "open Outros/x.mp4 open Um/one.mp4 disk"
                                      << "one.mp4" << 2;
        QTest::newRow("closed") << "step 1 close disk"
                                << "" << 1;
    }

    void theNewestIntentWinsWhileTheDiskIsBusy()
    {
        QFETCH(QString, intents);
        QFETCH(QString, expected);
        QFETCH(int, players);
        Folders f(false, true);
        f.session->open(f.url("Filmes/a.mp4"));
        f.disk.runAll();
        const QStringList words = intents.split(QLatin1Char(' '));
        for (qsizetype i = 0; i < words.size(); ++i) {
            if (words[i] == QLatin1String("open"))
                f.session->open(f.url(words[++i]));
            else if (words[i] == QLatin1String("step"))
                f.session->openSibling(words[++i].toInt());
            else if (words[i] == QLatin1String("close"))
                f.session->closeFile();
            else
                f.disk.runAll();
            QVERIFY(f.disk.held() <= 3); // never one job per key press
        }
        QCOMPARE(f.session->url().fileName(), expected);
        QCOMPARE(bool(f.session->player()), !expected.isEmpty());
        QCOMPARE(f.engine.players().size(), players);
        // Accesses started for a file the user had already left were let go.
        f.session->closeFile();
        QVERIFY(f.sandbox.allStopped());
    }

    void aFirstSandboxedStepAsksForTheFolderAndRemembersIt()
    {
        Folders f(true);
        f.session->open(f.url("Filmes/a.mp4"));
        f.panels.answers << f.url("Filmes");
        f.session->openSibling(1);
        QVERIFY(f.panels.shown.isEmpty()); // never inside the key press
        settle();
        QCOMPARE(f.panels.shown.size(), 1);
        const FilePanels::OpenPanel panel = f.panels.shown.first();
        QCOMPARE(panel.choice, FilePanels::Choice::Folder);
        QCOMPARE(panel.title, QStringLiteral("Acesso à pasta"));
        QCOMPARE(panel.prompt, QStringLiteral("Permitir"));
        QCOMPARE(panel.message,
                 QStringLiteral("Para trocar de vídeo com ↑↓, permita o acesso à pasta."));
        QCOMPARE(panel.directory, f.url("Filmes"));
        QCOMPARE(f.opened(), QStringLiteral("B.MOV"));
        QVERIFY(f.filmesBookmark());

        f.session->openSibling(1); // granted once, the next steps go at once
        QCOMPARE(f.opened(), QStringLiteral("clip2.mkv"));
        f.session->closeFile();
        QCOMPARE(f.panels.shown.size(), 1);
        QVERIFY(f.sandbox.allStopped());
    }

    void theGrantSaysWhyItFails_data()
    {
        QTest::addColumn<QString>("answer");
        QTest::addColumn<bool>("startFails");
        QTest::addColumn<QString>("message"); // empty: granted
        QTest::newRow("cancelled") << "" << false << kCancelled;
        QTest::newRow("another folder") << "Outros" << false << kOtherFolder;
        QTest::newRow("access fails") << "Filmes" << true << kNotKept;
        QTest::newRow("the folder through a link") << "link" << false << "";
        QTest::newRow("the folder in another case") << "FILMES" << false << "";
        QTest::newRow("the folder with dots") << "Outros/../Filmes/." << false << "";
    }

    void theGrantSaysWhyItFails()
    {
        QFETCH(QString, answer);
        QFETCH(bool, startFails);
        QFETCH(QString, message);
        Folders f(true);
        if (startFails)
            f.sandbox.refusedStarts << f.url(answer).toLocalFile();
        f.step(QStringLiteral("Filmes/a.mp4"), 1, answer);
        QCOMPARE(f.session->errorMessage(), message);
        QCOMPARE(f.opened(), message.isEmpty() ? QStringLiteral("B.MOV") : QStringLiteral("a.mp4"));
        QCOMPARE(bool(f.filmesBookmark()), message.isEmpty());
        f.session->closeFile();
        QVERIFY(f.sandbox.allStopped());
    }

    void aRelaunchRestoresTheGrant_data()
    {
        QTest::addColumn<QString>("bookmark");
        QTest::addColumn<bool>("asks");
        QTest::newRow("fresh") << "fresh" << false;
        QTest::newRow("stale, rewritten") << "stale" << false;
        QTest::newRow("unresolvable") << "unresolvable" << true;
    }

    void aRelaunchRestoresTheGrant()
    {
        QFETCH(QString, bookmark);
        QFETCH(bool, asks);
        Folders f(true);
        f.step(QStringLiteral("Filmes/a.mp4"), 1);
        const QByteArray kept = *f.filmesBookmark();
        if (bookmark == QLatin1String("stale"))
            f.sandbox.stale << kept;
        if (bookmark == QLatin1String("unresolvable"))
            f.sandbox.unresolvable << kept;

        f.relaunch();
        f.step(QStringLiteral("Filmes/a.mp4"), 1);
        QCOMPARE(f.panels.shown.size(), asks ? 2 : 1);
        QCOMPARE(f.opened(), QStringLiteral("B.MOV"));
        QCOMPARE(*f.filmesBookmark() != kept, bookmark != QLatin1String("fresh"));
    }

    void folderAccessFollowsTheOpenFile()
    {
        Folders f(true);
        f.step(QStringLiteral("Filmes/a.mp4"), 1);
        const int resolutions = f.sandbox.resolutions;
        f.session->open(f.url("link/clip2.mkv")); // the same folder: kept as it is
        QCOMPARE(f.sandbox.held.value(f.path("Filmes")), 1);
        QCOMPARE(f.sandbox.resolutions, resolutions);
        f.step(QStringLiteral("Outros/x.mp4"), 1, {}); // another: stopped, and asked for
        QCOMPARE(f.sandbox.held.value(f.path("Filmes")), 0);
        QCOMPARE(f.panels.shown.size(), 2);
        f.session->closeFile();
        QVERIFY(f.sandbox.allStopped());
    }

    void aPermissionFailureAsksForTheFolderThenReopens_data()
    {
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("description");
        QTest::addColumn<bool>("asks");
        QTest::newRow("no permission to read")
            << int(MediaError::Code::NoPermissionToRead) << "Sem acesso." << true;
        QTest::newRow("not permitted, in words") << 0 << "Operation not permitted" << true;
        QTest::newRow("permissão, in words") << 0 << "Sem PERMISSÃO para ler." << true;
        QTest::newRow("another failure") << 0 << "Formato desconhecido." << false;
    }

    void aPermissionFailureAsksForTheFolderThenReopens()
    {
        QFETCH(int, code);
        QFETCH(QString, description);
        QFETCH(bool, asks);
        Folders f(true);
        f.panels.answers << f.url("Filmes");
        f.session->open(f.url("Filmes/B.MOV"));
        settle();
        f.engine.last()->fail(MediaError{MediaError::Code(code), description});
        settle();
        QCOMPARE(f.panels.shown.size(), asks ? 1 : 0);
        QCOMPARE(f.session->errorMessage(), asks ? QString() : description);
        QCOMPARE(f.engine.players().size(), asks ? 2 : 1); // granted: the same file again
        QCOMPARE(f.opened(), QStringLiteral("B.MOV"));
    }

    void aSessionGoneBeforeThePanelAsksNothing()
    {
        Folders f(true);
        f.session->open(f.url("Filmes/a.mp4"));
        f.session->openSibling(1);
        f.session.reset();
        settle();
        QVERIFY(f.panels.shown.isEmpty());
    }
};

QTEST_MAIN(TestFolders)
#include "tst_folders.moc"
