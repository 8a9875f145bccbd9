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
        QTest::newRow("transport stream, also a translation file") << "clip.ts" << true;
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

    // Only file locations are taken: a path as text is one, a web address or a word is not.
    void dropsTakeFileLocationsOnly_data()
    {
        QTest::addColumn<QList<QUrl>>("urls");
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("accepted");
        QTest::addColumn<QString>("opened"); // the path opened; empty for none
        QTest::newRow("path as text") << QList<QUrl>() << "/v/from terminal.mkv\n"
                                      << true << "/v/from terminal.mkv";
        QTest::newRow("file URL as text")
            << QList<QUrl>() << "file:///v/b.mp4" << true << "/v/b.mp4";
        QTest::newRow("not a video")
            << QList<QUrl>{QUrl::fromLocalFile("/d/a.pdf")} << "" << true << "";
        QTest::newRow("a word") << QList<QUrl>() << "olá" << false << "";
        QTest::newRow("web address")
            << QList<QUrl>{QUrl("https://example.org/a.mp4")} << "" << false << "";
        QTest::newRow("nothing") << QList<QUrl>() << "" << false << "";
    }

    void dropsTakeFileLocationsOnly()
    {
        QFETCH(QList<QUrl>, urls);
        QFETCH(QString, text);
        QFETCH(bool, accepted);
        QFETCH(QString, opened);
        FakeEngine engine;
        MemoryPreferences preferences;
        PlaybackSession session(PlaybackSession::Services{engine, preferences});
        DropHandler drops;
        drops.setSession(&session);
        QCOMPARE(DropHandler::fileLocation(urls, text).isEmpty(), !accepted);
        QCOMPARE(drops.handleDrop(urls, text), accepted);
        QCOMPARE(session.url().toLocalFile(), opened);
        // A file that is no video is refused with the message; nothing else is.
        QCOMPARE(session.errorMessage().isEmpty(), !accepted || !opened.isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestDropHandler)
#include "tst_drophandler.moc"
