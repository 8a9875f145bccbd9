// The default-player role: its logic against a scripted desktop, the real claim against GIO in
// temporary XDG folders, and the introduction's store that uses both.
#include "defaultapps.h"
#include "defaulthandler.h"
#include "fakedefaultapps.h"
#include "memorypreferences.h"
#include "onboardingstore.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

namespace {

const QString kOwnId = QStringLiteral("org.lunelo.Lunelo.desktop");

} // namespace

class TestDefaultHandler : public QObject {
    Q_OBJECT

    QTemporaryDir m_xdg;

private slots:
    void initTestCase()
    {
        // GIO reads these when first asked: a desktop of our own, empty so far.
        for (const char *sub : {"config", "data/applications", "dirs/applications"})
            QVERIFY(QDir(m_xdg.path()).mkpath(QString::fromLatin1(sub)));
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(m_xdg.filePath(QStringLiteral("config"))));
        qputenv("XDG_DATA_HOME", QFile::encodeName(m_xdg.filePath(QStringLiteral("data"))));
        qputenv("XDG_DATA_DIRS", QFile::encodeName(m_xdg.filePath(QStringLiteral("dirs"))));
        qputenv("XDG_CONFIG_DIRS", QFile::encodeName(m_xdg.filePath(QStringLiteral("dirs"))));
        qunsetenv("XDG_CURRENT_DESKTOP");
    }

    void isDefaultPlayer_data()
    {
        QTest::addColumn<QString>("registryMov"); // the registry's default for QuickTime
        QTest::addColumn<QString>("desktopMp4");  // the desktop's application for MPEG-4
        QTest::addColumn<bool>("isDefault");
        QTest::newRow("nothing") << ""
                                 << "" << false;
        QTest::newRow("QuickTime in the registry") << kOwnId << "" << true;
        QTest::newRow("our id in another case") << "ORG.lunelo.Lunelo.desktop"
                                                << "" << false;
        QTest::newRow("the desktop opens us") << ""
                                              << "/build/lunelo" << true;
        QTest::newRow("the installed copy") << ""
                                            << "/usr/bin/lunelo" << true;
        QTest::newRow("another player") << "mpv.desktop"
                                        << "/usr/bin/mpv" << false;
    }

    void isDefaultPlayer()
    {
        QFETCH(QString, registryMov);
        QFETCH(QString, desktopMp4);
        QFETCH(bool, isDefault);
        FakeDefaultApps apps;
        apps.registry.insert(QStringLiteral("video/quicktime"), registryMov);
        apps.desktop.insert(QStringLiteral("video/mp4"), desktopMp4);
        QCOMPARE(DefaultHandler::isDefaultPlayer(apps), isDefault);
    }

    // Already the default, nothing is claimed; every claim refused, the desktop's own claim is
    // tried for the three main types, with a desktop entry written first.
    void claimsGoAsFarAsNeeded()
    {
        FakeDefaultApps done;
        done.registry.insert(QStringLiteral("video/mp4"), kOwnId);
        QVERIFY(DefaultHandler::claimModern(done));
        QVERIFY(done.takeClaims().isEmpty());
        FakeDefaultApps refusing;
        refusing.registryRefuses = refusing.desktopRefuses = true;
        refusing.entryWritten = false;
        QVERIFY(!DefaultHandler::claimModern(refusing));
        const QStringList claims = refusing.takeClaims();
        QCOMPARE(claims.sliced(claims.size() - 3),
                 (QStringList{"video/mp4", "video/quicktime", "video/x-m4v"}));
        QVERIFY(refusing.entryWritten);
    }

    // The claim through GIO makes us the default for the video types, and for no other.
    void realClaimThroughGio()
    {
        std::unique_ptr<DefaultApps> apps = DefaultApps::create();
        QVERIFY(!DefaultHandler::isDefaultPlayer(*apps));
        QVERIFY(DefaultHandler::claimModern(*apps));
        QVERIFY(apps->hasDesktopEntry());
        const auto gioDefault = [](const QString &mime) {
            QProcess gio;
            gio.start(QStringLiteral("gio"), {QStringLiteral("mime"), mime});
            gio.waitForFinished(10000);
            return QString::fromUtf8(gio.readAllStandardOutput()).contains(kOwnId);
        };
        for (const char *mime : {"video/mp4", "video/quicktime", "video/x-m4v", "video/x-msvideo",
                                 "video/mpeg", "video/webm", "video/x-matroska"})
            QVERIFY2(gioDefault(QLatin1String(mime)), mime);
        QVERIFY(!gioDefault(QStringLiteral("audio/mpeg")));
        QVERIFY(!gioDefault(QStringLiteral("text/plain")));
    }

    void introductionStore()
    {
        auto apps = std::make_shared<FakeDefaultApps>();
        apps->registryRefuses = apps->desktopRefuses = true;
        MemoryPreferences preferences;
        OnboardingStore store(preferences, apps);
        QVERIFY(!store.completed()); // a first launch
        store.activate();            // refused: the message, and the introduction stays
        QTRY_VERIFY(!store.isActivating());
        QVERIFY(!store.completed());
        QCOMPARE(store.statusText(), QStringLiteral("O Mac não confirmou o padrão. Use o menu "
                                                    "Lunelo → Tornar player padrão."));
        // The next press clears the message and, the registry taking it now, completes.
        apps->registryRefuses = false;
        store.activate();
        QVERIFY(store.statusText().isEmpty());
        QTRY_VERIFY(store.completed());
        QVERIFY(preferences.boolValue(QStringLiteral("onboardingCompleted")));
        // Brought back from the menu, it starts with the next launch too; already the default,
        // its button completes at once, claiming nothing; skipping claims nothing either.
        store.showIntroduction();
        OnboardingStore relaunched(preferences, apps);
        QVERIFY(!relaunched.completed());
        QTRY_VERIFY(relaunched.alreadyDefault());
        apps->takeClaims();
        relaunched.activate();
        QVERIFY(relaunched.completed());
        relaunched.showIntroduction();
        relaunched.skip();
        QVERIFY(relaunched.completed());
        QVERIFY(apps->takeClaims().isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestDefaultHandler)
#include "tst_defaulthandler.moc"
