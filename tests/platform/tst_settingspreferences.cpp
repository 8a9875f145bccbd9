// The preferences file itself: damaged in every way a file gets damaged, it is read for what it
// holds (defaults for the rest), kept aside when it cannot be parsed whole, and repaired by the
// next write, which replaces the file whole.
#include "preferences.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

namespace {

const QString kCompleted = QStringLiteral("onboardingCompleted");
const QString kMuted = QStringLiteral("playerIsMuted");
const QString kFrame = QStringLiteral("playerWindowFrame");
const QString kBookmark = QStringLiteral("folderBookmark:/home/x/filmes");

ino_t inode(const QString &path)
{
    struct stat st {};
    return ::stat(QFile::encodeName(path).constData(), &st) == 0 ? st.st_ino : 0;
}

} // namespace

class TestSettingsPreferences : public QObject {
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_config;

    QString file() const { return m_config->filePath(QStringLiteral("Lunelo/Lunelo.conf")); }

    bool writeFile(const QByteArray &content)
    {
        QDir().mkpath(QFileInfo(file()).path());
        QFile f(file());
        return f.open(QIODevice::WriteOnly) && f.write(content) == content.size();
    }

    QStringList damagedCopies() const
    {
        return QDir(QFileInfo(file()).path())
            .entryList({QStringLiteral("Lunelo.conf.damaged-*")}, QDir::Files);
    }

private slots:
    void initTestCase()
    {
        QCoreApplication::setOrganizationName(QStringLiteral("Lunelo"));
        QCoreApplication::setApplicationName(QStringLiteral("Lunelo"));
    }

    // A fresh folder for every case: QSettings caches a file by its path, size and time.
    void init()
    {
        m_config = std::make_unique<QTemporaryDir>();
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, m_config->path());
    }

    void damagedFileReadsWhatItHoldsAndIsRepairedByTheNextWrite_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<bool>("completed"); // what "onboardingCompleted" reads
        QTest::addColumn<QString>("frame");  // what "playerWindowFrame" reads; null: absent
        QTest::addColumn<bool>("keptAside");
        const QByteArray good = "[General]\nonboardingCompleted=true\nplayerIsMuted=false\n"
                                "playerWindowFrame=\"{{100, 80}, {700, 500}}\"\n";
        const QString frame = QStringLiteral("{{100, 80}, {700, 500}}");
        QTest::newRow("intact") << good << true << frame << false;
        QTest::newRow("zero bytes") << QByteArray("") << false << QString() << false;
        QTest::newRow("binary garbage") << QByteArrayLiteral("\x00\x01\x02\xff\xfe\x7f garbage\x00")
                                        << false << QString() << true;
        QTest::newRow("cut off in a value")
            << good.left(good.indexOf("{700")) << true << QStringLiteral("{{100, 80}, ") << false;
        QTest::newRow("cut off in a key")
            << good.left(good.indexOf("layerIs")) << true << QString() << true;
        QTest::newRow("cut off in the section name")
            << QByteArray("[Gene") << false << QString() << true;
        QTest::newRow("section never closed")
            << QByteArray("[General\nonboardingCompleted=true\n") << true << QString() << true;
        QTest::newRow("wrong types")
            << QByteArray("[General]\nonboardingCompleted=1\nplayerIsMuted=yes\n"
                          "playerWindowFrame=1, 2, 3, 4\nfolderBookmark%3A%2Fhome%2Fx%2Ffilmes=7\n")
            << false << QString() << false;
        QTest::newRow("serialised garbage")
            << QByteArray("[General]\nonboardingCompleted=@Variant(\\0\\0\\0\\x7f\\0\\0\\0\\x1)\n"
                          "playerWindowFrame=@Variant(\\xff\\xff\\xff\\xff)\n")
            << false << QString() << false;
        QTest::newRow("empty keys and lone equals")
            << QByteArray("[General]\n=true\n==\nonboardingCompleted==true\n") << false << QString()
            << false;
    }

    void damagedFileReadsWhatItHoldsAndIsRepairedByTheNextWrite()
    {
        QFETCH(QByteArray, content);
        QFETCH(bool, completed);
        QFETCH(QString, frame);
        QFETCH(bool, keptAside);
        QVERIFY(writeFile(content));
        {
            const std::unique_ptr<Preferences> preferences = createStandardPreferences();
            QCOMPARE(preferences->boolValue(kCompleted), completed);
            QVERIFY(!preferences->boolValue(kMuted));
            QCOMPARE(preferences->stringValue(kFrame).value_or(QString()), frame);
            QVERIFY(!preferences->dataValue(kBookmark));
            QCOMPARE(damagedCopies().size(), keptAside ? 1 : 0);
            if (keptAside) {
                QFile copy(QFileInfo(file()).path() + QLatin1Char('/') + damagedCopies()[0]);
                QVERIFY(copy.open(QIODevice::ReadOnly));
                QCOMPARE(copy.readAll(), content);
            }

            // The next write replaces the file whole, soon after the call: a new file renamed
            // over the old one. Checked after one write only: a second write may get the inode
            // the first one freed.
            const ino_t before = inode(file());
            preferences->setBool(kMuted, true);
            QVERIFY(preferences->boolValue(kMuted));
            QTRY_VERIFY(inode(file()) != before);
            preferences->setData(kBookmark, QByteArrayLiteral("/home/x/filmes\0\xff"));
        }

        // What is left parses cleanly and holds the new values beside what could be read.
        QSettings written(file(), QSettings::IniFormat);
        (void)written.allKeys();
        QCOMPARE(written.status(), QSettings::NoError);
        const std::unique_ptr<Preferences> again = createStandardPreferences();
        QVERIFY(again->boolValue(kMuted));
        QCOMPARE(again->dataValue(kBookmark), QByteArrayLiteral("/home/x/filmes\0\xff"));
        QCOMPARE(again->boolValue(kCompleted), completed);
        QCOMPARE(damagedCopies().size(), keptAside ? 1 : 0);
    }

    // A folder where the file should be: every value reads as its default and writes go
    // nowhere, without harm.
    void folderInPlaceOfTheFileGivesDefaults()
    {
        QVERIFY(QDir().mkpath(file()));
        const std::unique_ptr<Preferences> preferences = createStandardPreferences();
        QVERIFY(!preferences->boolValue(kCompleted));
        QVERIFY(!preferences->stringValue(kFrame));
        preferences->setBool(kMuted, true);
        QVERIFY(QFileInfo(file()).isDir());
        QVERIFY(damagedCopies().isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestSettingsPreferences)
#include "tst_settingspreferences.moc"
