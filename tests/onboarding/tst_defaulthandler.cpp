// The default-player role against the real GIO in temporary XDG folders, through the
// introduction's store as the user meets it.
#include "defaultapps.h"
#include "defaulthandler.h"
#include "memorypreferences.h"
#include "onboardingstore.h"
#include "testsupport.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

class TestDefaultHandler : public QObject {
    Q_OBJECT

    QTemporaryDir m_xdg;

private slots:
    void initTestCase()
    {
        // GIO reads these when first asked: a desktop of our own whose player is another one.
        for (const char *sub : {"config", "data/applications", "dirs/applications"})
            QVERIFY(QDir(m_xdg.path()).mkpath(QString::fromLatin1(sub)));
        QVERIFY(writeRaw(QFile::encodeName(m_xdg.filePath(QStringLiteral("data/applications/"
                                                                         "mpv.desktop"))),
                         "[Desktop Entry]\nType=Application\nName=mpv\nExec=/usr/bin/mpv %U\n"
                         "MimeType=video/mp4;video/quicktime;\n"));
        QVERIFY(writeRaw(QFile::encodeName(m_xdg.filePath(QStringLiteral("config/mimeapps.list"))),
                         "[Default Applications]\nvideo/mp4=mpv.desktop\n"
                         "video/quicktime=mpv.desktop\n"));
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(m_xdg.filePath(QStringLiteral("config"))));
        qputenv("XDG_DATA_HOME", QFile::encodeName(m_xdg.filePath(QStringLiteral("data"))));
        qputenv("XDG_DATA_DIRS", QFile::encodeName(m_xdg.filePath(QStringLiteral("dirs"))));
        qputenv("XDG_CONFIG_DIRS", QFile::encodeName(m_xdg.filePath(QStringLiteral("dirs"))));
        qunsetenv("XDG_CURRENT_DESKTOP");
    }

    // Another player is the default; the introduction's button makes us the default for the
    // video types, and for no other. Brought back from the menu, the introduction starts with
    // the next launch, and finds us the default already.
    void introductionClaimsTheVideoTypes()
    {
        std::shared_ptr<DefaultApps> apps = DefaultApps::create();
        QVERIFY(!DefaultHandler::isDefaultPlayer(*apps));
        MemoryPreferences preferences;
        OnboardingStore store(preferences, apps);
        QVERIFY(!store.completed()); // a first launch
        store.activate();
        QTRY_VERIFY_WITH_TIMEOUT(store.completed(), 10000);
        QVERIFY(preferences.boolValue(QStringLiteral("onboardingCompleted")));
        QVERIFY(apps->hasDesktopEntry());
        const auto gioDefault = [&apps](const QString &mime) {
            QProcess gio;
            gio.start(QStringLiteral("gio"), {QStringLiteral("mime"), mime});
            gio.waitForFinished(10000);
            return QString::fromUtf8(gio.readAllStandardOutput()).contains(apps->ownId());
        };
        for (const char *mime : {"video/mp4", "video/quicktime", "video/x-m4v", "video/x-msvideo",
                                 "video/mpeg", "video/webm", "video/x-matroska"})
            QVERIFY2(gioDefault(QLatin1String(mime)), mime);
        QVERIFY(!gioDefault(QStringLiteral("audio/mpeg")));
        QVERIFY(!gioDefault(QStringLiteral("text/plain")));

        store.showIntroduction();
        OnboardingStore relaunched(preferences, apps);
        QVERIFY(!relaunched.completed());
        QTRY_VERIFY(relaunched.alreadyDefault());
        relaunched.activate();
        QVERIFY(relaunched.completed());
    }
};

QTEST_GUILESS_MAIN(TestDefaultHandler)
#include "tst_defaulthandler.moc"
