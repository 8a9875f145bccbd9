// The default-player role: its logic against a scripted desktop, the real claim against GIO and
// xdg-mime in temporary folders, and the introduction's store that uses both.
#include "defaultapps.h"
#include "defaulthandler.h"
#include "fakedefaultapps.h"
#include "memorypreferences.h"
#include "onboardingstore.h"

#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {

const QString kOwnId = QStringLiteral("org.lunelo.Lunelo.desktop");

QString gioDefault(const QString &mime)
{
    QProcess gio;
    gio.start(QStringLiteral("gio"), {QStringLiteral("mime"), mime});
    gio.waitForFinished(10000);
    return QString::fromUtf8(gio.readAllStandardOutput());
}

} // namespace

class TestDefaultHandler : public QObject {
    Q_OBJECT

    QTemporaryDir m_xdg;

private slots:
    void initTestCase()
    {
        // GIO and xdg-mime read these when first asked: a desktop of our own, empty so far.
        for (const char *sub : {"config", "data/applications", "dirs/applications"})
            QVERIFY(QDir(m_xdg.path()).mkpath(QString::fromLatin1(sub)));
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(m_xdg.filePath(QStringLiteral("config"))));
        qputenv("XDG_DATA_HOME", QFile::encodeName(m_xdg.filePath(QStringLiteral("data"))));
        qputenv("XDG_DATA_DIRS", QFile::encodeName(m_xdg.filePath(QStringLiteral("dirs"))));
        qputenv("XDG_CONFIG_DIRS", QFile::encodeName(m_xdg.filePath(QStringLiteral("dirs"))));
        qunsetenv("XDG_CURRENT_DESKTOP");
    }

    void defaultTest_data()
    {
        QTest::addColumn<QString>("registryMp4");
        QTest::addColumn<QString>("registryMov");
        QTest::addColumn<QString>("desktopMp4");
        QTest::addColumn<bool>("isDefault");
        QTest::newRow("nothing") << ""
                                 << ""
                                 << "" << false;
        QTest::newRow("MPEG-4 in the registry") << kOwnId << ""
                                                << "" << true;
        QTest::newRow("QuickTime only") << "" << kOwnId << "" << true;
        QTest::newRow("our id in another case") << "ORG.lunelo.Lunelo.desktop"
                                                << ""
                                                << "" << false;
        QTest::newRow("another case, the desktop opens us") << "ORG.lunelo.Lunelo.desktop"
                                                            << ""
                                                            << "/build/lunelo" << true;
        QTest::newRow("the installed copy opens it") << ""
                                                     << ""
                                                     << "/usr/bin/lunelo" << true;
        QTest::newRow("another player") << "mpv.desktop"
                                        << ""
                                        << "/usr/bin/mpv" << false;
    }

    void defaultTest()
    {
        QFETCH(QString, registryMp4);
        QFETCH(QString, registryMov);
        QFETCH(QString, desktopMp4);
        QFETCH(bool, isDefault);
        FakeDefaultApps apps;
        if (!registryMp4.isEmpty())
            apps.registry.insert(QStringLiteral("video/mp4"), registryMp4);
        if (!registryMov.isEmpty())
            apps.registry.insert(QStringLiteral("video/quicktime"), registryMov);
        if (!desktopMp4.isEmpty())
            apps.desktop.insert(QStringLiteral("video/mp4"), desktopMp4);
        QCOMPARE(DefaultHandler::isDefaultPlayer(apps), isDefault);
        QVERIFY(!DefaultHandler::isDefault(apps, QStringLiteral("public.unknown")));
    }

    void claimsGoAsFarAsNeeded()
    {
        // Already the default: nothing is claimed.
        FakeDefaultApps done;
        done.registry.insert(QStringLiteral("video/mp4"), kOwnId);
        QVERIFY(DefaultHandler::claimModern(done));
        QVERIFY(!done.takeCalls().join(' ').contains(QLatin1Char('=')));

        // The registry takes it: seven types claimed, no desktop claim.
        FakeDefaultApps registry;
        QVERIFY(DefaultHandler::claimModern(registry));
        const QStringList calls = registry.takeCalls();
        QVERIFY(calls.contains(QStringLiteral("registry= video/x-msvideo")));
        QVERIFY(calls.contains(QStringLiteral("registry= video/webm"))); // part of public.movie
        QVERIFY(!calls.join(' ').contains(QStringLiteral("desktop=")));

        // Every claim refused: the registry's seven and the desktop's three are all tried.
        FakeDefaultApps refusing;
        refusing.registryRefuses = true;
        refusing.desktopRefuses = true;
        refusing.entryWritten = false;
        QVERIFY(!DefaultHandler::claimModern(refusing));
        const QStringList tried = refusing.takeCalls().filter(QStringLiteral("desktop= "));
        QCOMPARE(tried, (QStringList{"desktop= video/mp4", "desktop= video/quicktime",
                                     "desktop= video/x-m4v"}));
        QVERIFY(refusing.entryWritten); // a desktop entry was written before claiming
    }

    void realClaimThroughGio()
    {
        std::unique_ptr<DefaultApps> apps = DefaultApps::create();
        QVERIFY(!apps->hasDesktopEntry());
        QVERIFY(!DefaultHandler::isDefaultPlayer(*apps));
        QVERIFY(!gioDefault(QStringLiteral("video/mp4")).contains(kOwnId));

        QVERIFY(DefaultHandler::claimModern(*apps));
        QVERIFY(apps->hasDesktopEntry()); // written for this executable first
        QVERIFY2(gioDefault(QStringLiteral("video/mp4")).contains(kOwnId),
                 qPrintable(gioDefault(QStringLiteral("video/mp4"))));
        QVERIFY(DefaultHandler::isDefaultPlayer(*apps));
        QCOMPARE(apps->applicationFor(QStringLiteral("video/quicktime")), apps->ownExecutable());
    }

    void introductionStore()
    {
        auto apps = std::make_shared<FakeDefaultApps>();
        apps->desktopRefuses = true;
        apps->registryRefuses = true;
        MemoryPreferences preferences;
        OnboardingStore store(preferences, apps);
        QVERIFY(!store.completed()); // a first launch

        // A failed claim: the message, and the introduction stays.
        store.activate();
        QVERIFY(store.isActivating());
        QTRY_VERIFY(!store.isActivating());
        QVERIFY(!store.completed());
        QCOMPARE(store.statusText(), QStringLiteral("O Mac não confirmou o padrão. Use o menu "
                                                    "Lunelo → Tornar player padrão."));

        // The next press clears the message; the claim now succeeds and completes. A press
        // while it runs starts no second one: the desktop hears what one claim asks.
        apps->registryRefuses = false;
        FakeDefaultApps oneClaim;
        oneClaim.desktopRefuses = true;
        QVERIFY(DefaultHandler::claimModern(oneClaim));
        apps->takeCalls();
        store.activate();
        QVERIFY(store.statusText().isEmpty());
        store.activate();
        QTRY_VERIFY(store.completed());
        QCOMPARE(apps->takeCalls(), oneClaim.takeCalls());
        QVERIFY(store.alreadyDefault());
        QVERIFY(preferences.boolValue(QStringLiteral("onboardingCompleted")));

        // Brought back from the menu, it starts with the next launch too; already default,
        // the button completes at once.
        store.showIntroduction();
        QVERIFY(!store.completed());
        OnboardingStore relaunched(preferences, apps);
        QVERIFY(!relaunched.completed());
        QTRY_VERIFY(relaunched.alreadyDefault());
        apps->takeCalls();
        relaunched.activate();
        QVERIFY(relaunched.completed());
        QVERIFY(!apps->takeCalls().join(' ').contains(QLatin1Char('=')));

        // Skipping claims nothing.
        relaunched.showIntroduction();
        relaunched.skip();
        QVERIFY(relaunched.completed());
    }
};

QTEST_GUILESS_MAIN(TestDefaultHandler)
#include "tst_defaulthandler.moc"
