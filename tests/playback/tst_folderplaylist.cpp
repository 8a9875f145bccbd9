// A folder's videos in file-manager order, the identity of locations, and stepping through the
// videos of real folders.
#include "fakeengine.h"
#include "folderplaylist.h"
#include "memorypreferences.h"
#include "playbacksession.h"
#include "testsupport.h"

#include <QTemporaryDir>
#include <QTest>

namespace {

QList<QUrl> locations(const QStringList &names)
{
    QList<QUrl> urls;
    for (const QString &name : names)
        urls << QUrl::fromLocalFile(QStringLiteral("/v/") + name);
    return urls;
}

QStringList fileNames(const QList<QUrl> &urls)
{
    QStringList names;
    for (const QUrl &url : urls)
        names << url.fileName();
    return names;
}

// An unsandboxed session over a temporary folder.
struct Folder {
    QTemporaryDir root;
    FakeEngine engine;
    MemoryPreferences preferences;
    PlaybackSession session{PlaybackSession::Services{engine, preferences}};

    QString path(const QString &name) const { return root.filePath(name); }
    void open(const QString &name) { session.open(QUrl::fromLocalFile(path(name))); }
    // The name of the file opened last.
    QString opened() const { return engine.last() ? engine.last()->url().fileName() : QString(); }
};

const QStringList kMixedFolder{"a.mp4", "B.MOV", "c.txt", ".hidden.mp4", "clip10.mkv", "clip2.mkv"};

} // namespace

class TestFolderPlaylist : public QObject {
    Q_OBJECT

private slots:
    void cleanup() { QLocale::setDefault(QLocale::system()); }

    void videosKeepVideoExtensionsInFileManagerOrder_data()
    {
        QTest::addColumn<QString>("locale");
        QTest::addColumn<QStringList>("listing");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("mixed") << "pt_BR" << kMixedFolder
                               << QStringList{".hidden.mp4", "a.mp4", "B.MOV", "clip2.mkv",
                                              "clip10.mkv"};
        QTest::newRow("C locale is still natural")
            << "C" << QStringList{"clip10.mkv", "Clip1.mkv", "clip2.mkv"}
            << QStringList{"Clip1.mkv", "clip2.mkv", "clip10.mkv"};
        QTest::newRow("equal names keep the listing order")
            << "en_US" << QStringList{"b.mp4", "A.MP4", "a.mp4"}
            << QStringList{"A.MP4", "a.mp4", "b.mp4"};
        QTest::newRow("Swedish ä after z") << "sv_SE" << QStringList{"äpple.mp4", "zebra.mp4"}
                                           << QStringList{"zebra.mp4", "äpple.mp4"};
        QTest::newRow("German ä with a") << "de_DE" << QStringList{"zebra.mp4", "äpple.mp4"}
                                         << QStringList{"äpple.mp4", "zebra.mp4"};
        QTest::newRow("only the last extension, any case")
            << "pt_BR"
            << QStringList{"a.MP4.txt", "b.3GP", "c.M2TS", "d.mts", "e.webm", "f.mpeg",    "g.mpg",
                           "h.avi",     "i.m4v", "j.ts",   "k.mp3", "mkv",    "l.txt.mkv", "m."}
            << QStringList{"b.3GP", "c.M2TS", "d.mts", "e.webm",   "f.mpeg",
                           "g.mpg", "h.avi",  "i.m4v", "l.txt.mkv"};
    }

    void videosKeepVideoExtensionsInFileManagerOrder()
    {
        QFETCH(QString, locale);
        QFETCH(QStringList, listing);
        QFETCH(QStringList, expected);
        QLocale::setDefault(QLocale(locale));
        QCOMPARE(fileNames(FolderPlaylist::videos(locations(listing),
                                                  PlaybackSession::videoExtensions())),
                 expected);
    }

    // %T is the temporary folder as given, %C the same folder with its links resolved.
    void identityResolvesDotsLinksAndMissingParts_data()
    {
        QTest::addColumn<QString>("location");
        QTest::addColumn<QString>("expected");
        QTest::newRow("existing") << "%T/Filmes/a.mp4"
                                  << "%C/filmes/a.mp4";
        QTest::newRow("through a link, other case") << "%T/link/A.mp4"
                                                    << "%C/filmes/a.mp4";
        QTest::newRow("dots") << "%T/Filmes/./../Filmes/a.mp4"
                              << "%C/filmes/a.mp4";
        QTest::newRow("folder with a slash") << "%T/link/"
                                             << "%C/filmes";
        QTest::newRow("missing components") << "%T/Filmes/novo/B.mp4"
                                            << "%C/filmes/novo/b.mp4";
        QTest::newRow("missing behind a link") << "%T/link/novo/B.mp4"
                                               << "%C/filmes/novo/b.mp4";
        QTest::newRow("nothing exists") << "/nada-aqui/Novo/B.mp4"
                                        << "/nada-aqui/novo/b.mp4";
        QTest::newRow("root") << "/"
                              << "/";
    }

    void identityResolvesDotsLinksAndMissingParts()
    {
        QFETCH(QString, location);
        QFETCH(QString, expected);
        QTemporaryDir root;
        QVERIFY(makeFiles(root.filePath(QStringLiteral("Filmes")), {QStringLiteral("a.mp4")}));
        QVERIFY(QFile::link(root.filePath(QStringLiteral("Filmes")),
                            root.filePath(QStringLiteral("link"))));
        const QString canonical = QFileInfo(root.path()).canonicalFilePath().toLower();
        location.replace(QLatin1String("%T"), root.path());
        expected.replace(QLatin1String("%C"), canonical);
        QCOMPARE(FolderPlaylist::identity(QUrl::fromLocalFile(location)), expected);
    }

    void stepsThroughTheFolderAndWrapsAround_data()
    {
        QTest::addColumn<QString>("from");
        QTest::addColumn<int>("direction");
        QTest::addColumn<QString>("expected");
        QTest::newRow("next") << "a.mp4" << 1 << "B.MOV";
        QTest::newRow("next by number") << "clip2.mkv" << 1 << "clip10.mkv";
        QTest::newRow("past the end") << "clip10.mkv" << 1 << "a.mp4";
        QTest::newRow("before the start") << "a.mp4" << -1 << "clip10.mkv";
        QTest::newRow("previous") << "clip2.mkv" << -1 << "B.MOV";
        QTest::newRow("six ahead") << "a.mp4" << 6 << "clip2.mkv";
        QTest::newRow("five back") << "a.mp4" << -5 << "clip10.mkv";
        QTest::newRow("through a link") << "link/a.mp4" << 1 << "B.MOV";
    }

    void stepsThroughTheFolderAndWrapsAround()
    {
        QFETCH(QString, from);
        QFETCH(int, direction);
        QFETCH(QString, expected);
        Folder f;
        QVERIFY(makeFiles(f.root.path(), kMixedFolder));
        QVERIFY(QFile::link(f.root.path(), f.path(QStringLiteral("link"))));
        f.open(from);
        f.session.openSibling(direction);
        QCOMPARE(f.opened(), expected);
        // The neighbour opens under the folder the file was opened through.
        QCOMPARE(f.session.url().adjusted(QUrl::RemoveFilename),
                 QUrl::fromLocalFile(f.path(from)).adjusted(QUrl::RemoveFilename));
        settle();
        QCOMPARE(f.session.errorMessage(), QString());
    }

    // A link to a video of the same folder is that video, found at the first of the two names.
    void aLinkInTheFolderIsTheVideoItNames()
    {
        Folder f;
        QVERIFY(makeFiles(f.root.path(), {"b.mp4", "z.mp4"}));
        QVERIFY(QFile::link(f.path(QStringLiteral("z.mp4")), f.path(QStringLiteral("alias.mp4"))));
        f.open(QStringLiteral("z.mp4"));
        f.session.openSibling(1);
        QCOMPARE(f.opened(), QStringLiteral("b.mp4"));
    }

    void stepsNowhere_data()
    {
        QTest::addColumn<QStringList>("files");
        QTest::addColumn<QString>("opened");
        QTest::addColumn<QString>("movedTo");
        QTest::newRow("the only video") << QStringList{"one.mp4", "notes.txt"} << "one.mp4"
                                        << "";
        QTest::newRow("moved away after opening")
            << QStringList{"a.mp4", "b.mp4", "c.mp4"} << "b.mp4"
            << "b.txt";
        QTest::newRow("no file open") << QStringList{"a.mp4", "b.mp4"} << ""
                                      << "";
    }

    void stepsNowhere()
    {
        QFETCH(QStringList, files);
        QFETCH(QString, opened);
        QFETCH(QString, movedTo);
        Folder f;
        QVERIFY(makeFiles(f.root.path(), files));
        if (!opened.isEmpty())
            f.open(opened);
        if (!movedTo.isEmpty())
            QVERIFY(QFile::rename(f.path(opened), f.path(movedTo)));
        const qsizetype players = f.engine.players().size();
        f.session.openSibling(1);
        f.session.openSibling(-1);
        settle();
        QCOMPARE(f.engine.players().size(), players);
        QCOMPARE(f.session.errorMessage(), QString());
    }
};

QTEST_MAIN(TestFolderPlaylist)
#include "tst_folderplaylist.moc"
