// The preferences file: a damaged one is read for what it holds (defaults for the rest) and kept
// aside when it cannot be parsed whole; every write replaces the file whole, and the last one
// is on disk when the preferences go, as at exit.
#include "preferences.h"

#include <QCoreApplication>
#include <QDir>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

class TestSettingsPreferences : public QObject {
    Q_OBJECT

private slots:
    void damagedFileReadsWhatItHoldsAndIsRepairedByTheNextWrite_data()
    {
        QTest::addColumn<QByteArray>("content"); // null: a folder where the file should be
        QTest::addColumn<bool>("completed");     // what "onboardingCompleted" reads
        QTest::addColumn<QString>("frame");      // what "playerWindowFrame" reads
        QTest::addColumn<bool>("keptAside");
        const QByteArray good = "[General]\nonboardingCompleted=true\n"
                                "playerWindowFrame=\"{{100, 80}, {700, 500}}\"\n";
        QTest::newRow("intact") << good << true << "{{100, 80}, {700, 500}}" << false;
        QTest::newRow("binary garbage")
            << QByteArrayLiteral("\x00\x01\xff\xfe garbage\x00") << false << "" << true;
        QTest::newRow("cut off in a value")
            << good.left(good.indexOf("{700")) << true << "{{100, 80}, " << false;
        QTest::newRow("wrong types")
            << QByteArray("[General]\nonboardingCompleted=1\nplayerIsMuted=yes\n"
                          "playerWindowFrame=1, 2, 3, 4\n")
            << false << "" << false;
        QTest::newRow("a folder in its place") << QByteArray() << false << "" << false;
    }

    void damagedFileReadsWhatItHoldsAndIsRepairedByTheNextWrite()
    {
        QFETCH(QByteArray, content);
        QFETCH(bool, completed);
        QFETCH(QString, frame);
        QFETCH(bool, keptAside);
        QTemporaryDir config; // a fresh one: QSettings caches a file by its path, size and time
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, config.path());
        QCoreApplication::setOrganizationName(QStringLiteral("Lunelo"));
        QCoreApplication::setApplicationName(QStringLiteral("Lunelo"));
        const QString file = config.filePath(QStringLiteral("Lunelo/Lunelo.conf"));
        QVERIFY(QDir().mkpath(content.isNull() ? file : QFileInfo(file).path()));
        QVERIFY(content.isNull() || writeFile(file, content));
        const auto inode = [&] {
            struct stat st {};
            return ::stat(QFile::encodeName(file).constData(), &st) == 0 ? st.st_ino : 0;
        };
        const ino_t before = inode();
        {
            const std::unique_ptr<Preferences> preferences = createStandardPreferences();
            QCOMPARE(preferences->boolValue(QStringLiteral("onboardingCompleted")), completed);
            QVERIFY(!preferences->boolValue(QStringLiteral("playerIsMuted")));
            QCOMPARE(preferences->stringValue(QStringLiteral("playerWindowFrame")).value_or(""),
                     frame);
            const QStringList aside =
                QDir(QFileInfo(file).path()).entryList({QStringLiteral("Lunelo.conf.damaged-*")});
            QCOMPARE(aside.size(), keptAside ? 1 : 0);
            preferences->setBool(QStringLiteral("playerIsMuted"), true);
            if (content.isNull())
                return; // written nowhere, without harm
            // Replaced whole: a new file renamed over the old one.
            QTRY_VERIFY(inode() != before);
            preferences->setData(QStringLiteral("folderBookmark:/x"), QByteArray("/x\0\xff", 4));
        } // the last write reaches the file before the preferences go

        QSettings written(file, QSettings::IniFormat);
        (void)written.allKeys();
        QCOMPARE(written.status(), QSettings::NoError);
        const std::unique_ptr<Preferences> again = createStandardPreferences();
        QVERIFY(again->boolValue(QStringLiteral("playerIsMuted")));
        QCOMPARE(again->dataValue(QStringLiteral("folderBookmark:/x")), QByteArray("/x\0\xff", 4));
        QCOMPARE(again->boolValue(QStringLiteral("onboardingCompleted")), completed);
    }

private:
    static bool writeFile(const QString &path, const QByteArray &content)
    {
        QFile f(path);
        return f.open(QIODevice::WriteOnly) && f.write(content) == content.size();
    }
};

QTEST_GUILESS_MAIN(TestSettingsPreferences)
#include "tst_settingspreferences.moc"
