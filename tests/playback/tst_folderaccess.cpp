// Folder grants under a simulated sandbox: when the session asks, what it remembers, what it
// tells the user when the grant fails, and that every access it starts is stopped again.
#include "fakeengine.h"
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

// Two folders of videos, Filmes and Outros, and a link to Filmes, under a sandbox whose panels
// answer from a script. The preferences outlive the session, as they outlive a launch.
struct Sandbox {
    QTemporaryDir root;
    FakeEngine engine;
    MemoryPreferences preferences;
    SimulatedSandbox sandbox;
    ScriptedPanels panels;
    std::unique_ptr<PlaybackSession> session;

    Sandbox()
    {
        makeFiles(path(QStringLiteral("Filmes")), {"a.mp4", "b.mp4", "c.mp4"});
        makeFiles(path(QStringLiteral("Outros")), {"x.mp4", "y.mp4"});
        QFile::link(path(QStringLiteral("Filmes")), path(QStringLiteral("link")));
        relaunch();
    }

    void relaunch()
    {
        session.reset();
        session = std::make_unique<PlaybackSession>(
            PlaybackSession::Services{engine, preferences, &sandbox, &panels});
    }

    QString path(const QString &relative) const { return root.filePath(relative); }
    QUrl url(const QString &relative) const { return QUrl::fromLocalFile(path(relative)); }
    void open(const QString &relative) { session->open(url(relative)); }
    QString opened() const { return engine.last() ? engine.last()->url().fileName() : QString(); }

    // Where the grant of Filmes is kept.
    QString filmesKey() const
    {
        return QStringLiteral("folderBookmark:") +
               QFileInfo(path(QStringLiteral("Filmes"))).canonicalFilePath().toLower();
    }

    // Opens Filmes/a.mp4 and grants Filmes when the first step asks.
    void grantFilmes()
    {
        open(QStringLiteral("Filmes/a.mp4"));
        panels.answers << url(QStringLiteral("Filmes"));
        session->openSibling(1);
        settle();
    }
};

} // namespace

class TestFolderAccess : public QObject {
    Q_OBJECT

private slots:
    void firstStepAsksForTheFolderAndRemembersIt()
    {
        Sandbox s;
        s.open(QStringLiteral("Filmes/a.mp4"));
        s.panels.answers << s.url(QStringLiteral("Filmes"));
        s.session->openSibling(1);
        QCOMPARE(s.panels.shown.size(), 0); // never inside the key press

        settle();
        QCOMPARE(s.panels.shown.size(), 1);
        const FilePanels::OpenPanel &panel = s.panels.shown.first();
        QCOMPARE(panel.choice, FilePanels::Choice::Folder);
        QCOMPARE(panel.title, QStringLiteral("Acesso à pasta"));
        QCOMPARE(panel.prompt, QStringLiteral("Permitir"));
        QCOMPARE(panel.message,
                 QStringLiteral("Para trocar de vídeo com ↑↓, permita o acesso à pasta."));
        QCOMPARE(panel.directory, s.url(QStringLiteral("Filmes")));
        QCOMPARE(s.opened(), QStringLiteral("b.mp4"));
        QVERIFY(s.preferences.dataValue(s.filmesKey()));

        // Granted once, the next steps go at once.
        s.session->openSibling(1);
        QCOMPARE(s.opened(), QStringLiteral("c.mp4"));
        QCOMPARE(s.panels.shown.size(), 1);
        s.session->closeFile();
        QVERIFY(s.sandbox.allStopped());
    }

    void aRelaunchRestoresTheBookmark_data()
    {
        QTest::addColumn<QString>("bookmark");
        QTest::addColumn<bool>("asks");
        QTest::addColumn<bool>("rewritten");
        QTest::newRow("fresh") << "fresh" << false << false;
        QTest::newRow("stale") << "stale" << false << true;
        QTest::newRow("unresolvable") << "unresolvable" << true << false;
        QTest::newRow("refused") << "refused" << true << false;
    }

    void aRelaunchRestoresTheBookmark()
    {
        QFETCH(QString, bookmark);
        QFETCH(bool, asks);
        QFETCH(bool, rewritten);
        Sandbox s;
        s.grantFilmes();
        s.session->closeFile();
        const QByteArray kept = *s.preferences.dataValue(s.filmesKey());
        if (bookmark == QLatin1String("stale"))
            s.sandbox.stale << kept;
        if (bookmark == QLatin1String("unresolvable"))
            s.sandbox.unresolvable << kept;
        if (bookmark == QLatin1String("refused"))
            s.sandbox.refusedStarts << s.path(QStringLiteral("Filmes"));

        s.relaunch();
        s.open(QStringLiteral("Filmes/a.mp4"));
        s.session->openSibling(1);
        settle();
        QCOMPARE(s.panels.shown.size(), asks ? 2 : 1);
        QCOMPARE(s.opened(), asks ? QStringLiteral("a.mp4") : QStringLiteral("b.mp4"));
        QCOMPARE(*s.preferences.dataValue(s.filmesKey()) != kept, rewritten);
    }

    void refusedGrantsSayWhyAndOpenNothing_data()
    {
        QTest::addColumn<QString>("answer");
        QTest::addColumn<bool>("startFails");
        QTest::addColumn<QString>("message");
        QTest::newRow("cancelled") << "" << false << kCancelled;
        QTest::newRow("another folder") << "Outros" << false << kOtherFolder;
        QTest::newRow("a folder inside") << "Filmes/sub" << false << kOtherFolder;
        QTest::newRow("access fails") << "Filmes" << true << kNotKept;
    }

    void refusedGrantsSayWhyAndOpenNothing()
    {
        QFETCH(QString, answer);
        QFETCH(bool, startFails);
        QFETCH(QString, message);
        Sandbox s;
        if (startFails)
            s.sandbox.refusedStarts << s.path(answer);
        s.open(QStringLiteral("Filmes/a.mp4"));
        s.panels.answers << (answer.isEmpty() ? std::nullopt : std::optional(s.url(answer)));
        s.session->openSibling(1);
        settle();
        QCOMPARE(s.session->errorMessage(), message);
        QCOMPARE(s.engine.players().size(), 1);
        QVERIFY(!s.preferences.dataValue(s.filmesKey()));
        s.session->closeFile();
        QVERIFY(s.sandbox.allStopped());
    }

    void theSameFolderByAnotherPathCounts_data()
    {
        QTest::addColumn<QString>("answer");
        QTest::newRow("through a link") << "link";
        QTest::newRow("in another case") << "FILMES";
        QTest::newRow("with dots") << "Outros/../Filmes/.";
    }

    void theSameFolderByAnotherPathCounts()
    {
        QFETCH(QString, answer);
        Sandbox s;
        s.open(QStringLiteral("Filmes/a.mp4"));
        s.panels.answers << s.url(answer);
        s.session->openSibling(1);
        settle();
        QCOMPARE(s.session->errorMessage(), QString());
        QCOMPARE(s.opened(), QStringLiteral("b.mp4"));
        QVERIFY(s.preferences.dataValue(s.filmesKey()));
    }

    void folderAccessFollowsTheOpenFilesFolder()
    {
        Sandbox s;
        s.grantFilmes();
        const int resolutions = s.sandbox.resolutions;
        const QString filmes = s.path(QStringLiteral("Filmes"));

        s.open(QStringLiteral("link/c.mp4")); // the same folder: kept, not restored again
        QCOMPARE(s.sandbox.held.value(filmes), 1);
        QCOMPARE(s.sandbox.resolutions, resolutions);

        s.open(QStringLiteral("Outros/x.mp4")); // another folder: stopped, and asked for anew
        QCOMPARE(s.sandbox.held.value(filmes), 0);
        s.session->openSibling(1);
        settle();
        QCOMPARE(s.panels.shown.size(), 2);

        s.session->closeFile();
        QVERIFY(s.sandbox.allStopped());
    }

    void aPermissionFailureAsksForTheFolderThenReopens_data()
    {
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("description");
        QTest::addColumn<bool>("asks");
        QTest::newRow("no permission to read")
            << int(MediaError::Code::NoPermissionToRead) << "Sem acesso." << true;
        QTest::newRow("not permitted, in words")
            << int(MediaError::Code::Unknown) << "Operation not permitted" << true;
        QTest::newRow("permissão, in words")
            << int(MediaError::Code::Unknown) << "Sem PERMISSÃO para ler." << true;
        QTest::newRow("another failure")
            << int(MediaError::Code::UnrecognizedFormat) << "Formato desconhecido." << false;
    }

    void aPermissionFailureAsksForTheFolderThenReopens()
    {
        QFETCH(int, code);
        QFETCH(QString, description);
        QFETCH(bool, asks);
        Sandbox s;
        s.panels.answers << s.url(QStringLiteral("Filmes"));
        s.open(QStringLiteral("Filmes/b.mp4"));
        settle();
        s.engine.last()->fail(MediaError{MediaError::Code(code), description});
        settle();
        QCOMPARE(s.panels.shown.size(), asks ? 1 : 0);
        QCOMPARE(s.session->errorMessage(), asks ? QString() : description);
        // Granted, the same file opens again from the start.
        QCOMPARE(s.engine.players().size(), asks ? 2 : 1);
        QCOMPARE(s.opened(), QStringLiteral("b.mp4"));
    }

    void aSessionGoneBeforeThePanelAsksNothing()
    {
        Sandbox s;
        s.open(QStringLiteral("Filmes/a.mp4"));
        s.session->openSibling(1);
        s.session.reset();
        settle();
        QCOMPARE(s.panels.shown.size(), 0);
    }

    void theOpenPanelOpensTheChosenVideo()
    {
        Sandbox s;
        s.panels.answers << s.url(QStringLiteral("Outros/y.mp4")) << std::nullopt;
        s.session->presentOpenPanel();
        QCOMPARE(s.panels.shown.size(), 1);
        QCOMPARE(s.panels.shown.first().choice, FilePanels::Choice::VideoFile);
        QCOMPARE(s.panels.shown.first().title, QStringLiteral("Abrir vídeo"));
        QCOMPARE(s.panels.shown.first().prompt, QStringLiteral("Abrir"));
        QCOMPARE(s.opened(), QStringLiteral("y.mp4"));
        s.session->presentOpenPanel(); // cancelled: nothing changes
        QCOMPARE(s.engine.players().size(), 1);
    }
};

QTEST_MAIN(TestFolderAccess)
#include "tst_folderaccess.moc"
