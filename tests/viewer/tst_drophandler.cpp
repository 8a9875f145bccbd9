// Which dropped files count as videos, and what a drop of text does.
#include "drophandler.h"
#include "fakeengine.h"
#include "memorypreferences.h"
#include "playbacksession.h"

#include <QTest>

class TestDropHandler : public QObject {
    Q_OBJECT

private slots:
    void isVideo_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("video");
        QTest::newRow("upper-case extension") << "CLIP.MOV" << true;
        QTest::newRow("every listed extension") << "a.m2ts" << true;
        QTest::newRow("known to the MIME database") << "a.ogv" << true;
        QTest::newRow("sound counts as audiovisual") << "song.mp3" << true;
        QTest::newRow("PDF") << "manual.pdf" << false;
        QTest::newRow("picture") << "photo.jpg" << false;
        QTest::newRow("no extension") << "LEIA" << false;
        QTest::newRow("unknown extension") << "data.xyz123" << false;
    }

    void isVideo()
    {
        QFETCH(QString, name);
        QFETCH(bool, video);
        QCOMPARE(DropHandler::isVideo(QUrl::fromLocalFile(QStringLiteral("/d/") + name)), video);
    }

    void textDropsNameAPathAndOtherUrlsAreIgnored()
    {
        FakeEngine engine;
        MemoryPreferences preferences;
        PlaybackSession session(PlaybackSession::Services{engine, preferences});
        DropHandler drops;
        drops.setSession(&session);

        QVERIFY(drops.handleDrop({}, QStringLiteral("/v/from terminal.mkv\n")));
        QCOMPARE(session.url(), QUrl::fromLocalFile(QStringLiteral("/v/from terminal.mkv")));

        QVERIFY(drops.handleDrop({QUrl(QStringLiteral("https://example.org/a.mp4"))}, {}));
        QCOMPARE(session.url(), QUrl::fromLocalFile(QStringLiteral("/v/from terminal.mkv")));
        QVERIFY(session.errorMessage().isEmpty());
        QVERIFY(!drops.handleDrop({}, {}));
    }
};

QTEST_GUILESS_MAIN(TestDropHandler)
#include "tst_drophandler.moc"
