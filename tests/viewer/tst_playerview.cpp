// The player view in a real Qt Quick window, over a session on the scripted engine: what it
// shows in each state, and how it answers the pointer, keys and drops.
#include "commands.h"
#include "fakeengine.h"
#include "memorypreferences.h"
#include "onboardingstore.h"
#include "playbacksession.h"
#include "testsupport.h"
#include "windowpresentation.h"

#include <QMimeData>
#include <QQuickItem>
#include <QQuickStyle>
#include <QQuickView>
#include <QTest>
#include <QtQml/QQmlExtensionPlugin>

Q_IMPORT_QML_PLUGIN(LuneloPlugin)

namespace {

// How opaque an item looks: its own opacity times its ancestors', zero when hidden.
double shownOpacity(const QQuickItem *item)
{
    double opacity = 1;
    for (; item; item = item->parentItem())
        opacity *= item->isVisible() ? item->opacity() : 0;
    return opacity;
}

// The texts (QML Text items) that read `text`, outside closed popups.
QList<QQuickItem *> itemsWithText(QQuickItem *root, const QString &text)
{
    QList<QQuickItem *> found;
    if (root->inherits("QQuickPopupItem") && !root->isVisible())
        return found;
    if (root->inherits("QQuickText") && root->property("text").toString() == text)
        found << root;
    for (QQuickItem *child : root->childItems())
        found << itemsWithText(child, text);
    return found;
}

struct Fixture {
    FakeEngine engine;
    MemoryPreferences preferences;
    Commands commands;
    PlaybackSession session{PlaybackSession::Services{engine, preferences}};
    OnboardingStore onboarding{preferences, nullptr};
    WindowPresentation presentation{commands};
    QQuickView view;

    explicit Fixture(bool introductionCompleted = true)
    {
        QQuickStyle::setStyle(QStringLiteral("Basic"));
        onboarding.setCompleted(introductionCompleted);
        view.setInitialProperties({{"session", QVariant::fromValue(&session)},
                                   {"commands", QVariant::fromValue(&commands)},
                                   {"presentation", QVariant::fromValue(&presentation)},
                                   {"onboarding", QVariant::fromValue(&onboarding)}});
        view.setResizeMode(QQuickView::SizeRootObjectToView);
        view.setSource(QUrl(QStringLiteral("qrc:/Lunelo/ContentView.qml")));
        view.resize(800, 600);
        view.show();
        view.requestActivate();
        (void)QTest::qWaitForWindowActive(&view);
        QTest::mouseMove(&view, QPoint(400, 200)); // far from the bottom band
    }

    // The places where `text` shows now, in fully opaque containers (a text's own opacity is
    // its style).
    int shown(const QString &text) const
    {
        int count = 0;
        for (QQuickItem *item : itemsWithText(view.rootObject(), text))
            count += shownOpacity(item->parentItem()) > 0.99 && item->isVisible();
        return count;
    }

    QPoint centreOf(const QString &text) const
    {
        QQuickItem *item = itemsWithText(view.rootObject(), text).value(0);
        return item ? item->mapToScene(QPointF(item->width() / 2, item->height() / 2)).toPoint()
                    : QPoint();
    }

    FakePlayer *openReady(const QString &path, double duration)
    {
        session.open(QUrl::fromLocalFile(path));
        engine.last()->becomeReady(duration, QSizeF(1920, 1080));
        settle();
        QTest::mouseMove(&view, QPoint(400, 560)); // holds the chrome
        // The control bar has its place at the bottom once layouts settle.
        [&] { QTRY_VERIFY(centreOf(QStringLiteral("0:00")).y() > 540); }();
        return engine.last();
    }

    // A drop of `urls` or `text` through the window; whether it was accepted, and whether the
    // drop target showed meanwhile.
    std::pair<bool, bool> drop(const QList<QUrl> &urls, const QString &text)
    {
        QMimeData data;
        if (!urls.isEmpty())
            data.setUrls(urls);
        if (!text.isEmpty())
            data.setText(text);
        QDragEnterEvent enter(QPoint(400, 300), Qt::CopyAction, &data, Qt::LeftButton, {});
        QCoreApplication::sendEvent(&view, &enter);
        QDragMoveEvent move(QPoint(400, 300), Qt::CopyAction, &data, Qt::LeftButton, {});
        QCoreApplication::sendEvent(&view, &move);
        const QList<QQuickItem *> views = view.rootObject()->childItems();
        const bool highlighted = std::any_of(views.begin(), views.end(), [](QQuickItem *item) {
            return item->property("dropTargeted").toBool();
        });
        QDropEvent dropped(QPointF(400, 300), Qt::CopyAction, &data, Qt::LeftButton, {});
        QCoreApplication::sendEvent(&view, &dropped);
        return {dropped.isAccepted(), highlighted};
    }
};

} // namespace

class TestPlayerView : public QObject {
    Q_OBJECT

private slots:
    void emptyStateAndTheErrorBannerOverIt()
    {
        Fixture f;
        QCOMPARE(f.shown("Solte um vídeo aqui"), 1);
        QCOMPARE(f.shown("↑ ↓ pasta  ·  ← → 10s  ·  espaço play  ·  , . quadro  ·  F tela cheia"),
                 1);
        QCOMPARE(f.shown("Lunelo"), 1); // the top bar stays up
        QCOMPARE(f.shown("1.00×"), 0);  // no chips, bar or toast
        const QString message = "Sem acesso à pasta, não dá para abrir o próximo vídeo.";
        f.session.setErrorMessage(message);
        QTRY_COMPARE(f.shown(message), 2); // banner and empty state
        QCOMPARE(f.shown("Solte um vídeo aqui"), 0);
        const QRgb banner = f.view.grabWindow().pixel(24, f.centreOf("OK").y());
        QVERIFY2(qRed(banner) > 180 && qGreen(banner) < 90, qPrintable(QColor(banner).name()));
        QTest::mouseClick(&f.view, Qt::LeftButton, {}, f.centreOf("OK"));
        QVERIFY(f.session.errorMessage().isEmpty());
        QTRY_COMPARE(f.shown("Solte um vídeo aqui"), 1);
    }

    // The chrome shows for a new video, a control never keeps the keys from the picture, a rate
    // key flashes the toast, and everything fades 1.1 s after the pointer left the bottom.
    void chromeControlsAndTheRateToast()
    {
        Fixture f;
        f.openReady(QStringLiteral("/v/Férias na praia.mp4"), 95.5);
        QCOMPARE(f.shown("Férias na praia"), 1);
        QCOMPARE(f.shown("100%"), 1);
        QCOMPARE(f.shown("1.00×"), 2); // top chip and bar label
        QCOMPARE(f.shown("1:35"), 1);
        QTest::mouseClick(&f.view, Qt::LeftButton, {}, QPoint(41, f.centreOf("0:00").y()));
        QVERIFY(!f.session.isPlaying()); // the play button
        QKeyEvent d(QEvent::KeyPress, Qt::Key_unknown, Qt::AltModifier, 32 + 8, 0, 0);
        QCoreApplication::sendEvent(&f.view, &d); // the picture's own D
        QCOMPARE(f.session.rate(), 1.1f);
        QTRY_COMPARE(f.shown("1.10×"), 3); // chip, bar, toast

        QList<double> bar;
        QQuickItem *duration = itemsWithText(f.view.rootObject(), "1:35").value(0);
        connect(&f.view, &QQuickWindow::afterAnimating, this,
                [&] { bar << shownOpacity(duration->parentItem()); });
        QTest::mouseMove(&f.view, QPoint(400, 200));
        QTRY_COMPARE_WITH_TIMEOUT(f.shown("1:35"), 0, 5000);
        QCOMPARE(f.shown("Férias na praia"), 0);
        QTRY_COMPARE(f.shown("1.10×"), 0); // the toast, 1.1 s after the key
        QVERIFY(std::any_of(bar.begin(), bar.end(), [](double o) { return o > 0.02 && o < 0.98; }));
    }

    // While a video plays: the first file of a drop opens when it is a video by its extension
    // or its MIME type; any other file is refused with a message and the video plays on; a drop
    // that carries no file location is not taken.
    void drops_data()
    {
        QTest::addColumn<QList<QUrl>>("urls");
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("taken");
        QTest::addColumn<QString>("opened");
        const auto file = [](const char *path) { return QList{QUrl::fromLocalFile(path)}; };
        QTest::newRow("first of several, upper case")
            << QList{QUrl::fromLocalFile("/v/CLIP.MOV"), QUrl::fromLocalFile("/v/b.mkv")} << ""
            << true << "/v/CLIP.MOV";
        QTest::newRow("by MIME type") << file("/v/a.ogv") << "" << true << "/v/a.ogv";
        QTest::newRow("a stream that is also a translation")
            << file("/v/clip.ts") << "" << true << "/v/clip.ts";
        QTest::newRow("PDF") << file("/d/manual.pdf") << "" << true << "";
        QTest::newRow("no extension") << file("/d/LEIA") << "" << true << "";
        QTest::newRow("path as text") << QList<QUrl>() << "/v/from terminal.mkv\n"
                                      << true << "/v/from terminal.mkv";
        QTest::newRow("a word") << QList<QUrl>() << "olá" << false << "";
        QTest::newRow("web address")
            << QList{QUrl("https://example.org/a.mp4")} << "" << false << "";
    }

    void drops()
    {
        QFETCH(QList<QUrl>, urls);
        QFETCH(QString, text);
        QFETCH(bool, taken);
        QFETCH(QString, opened);
        Fixture f;
        FakePlayer *playing = f.openReady(QStringLiteral("/v/playing.mp4"), 10);
        QCOMPARE(f.drop(urls, text), std::make_pair(taken, taken));
        const bool refused = taken && opened.isEmpty();
        QCOMPARE(f.session.url().toLocalFile(), opened.isEmpty() ? "/v/playing.mp4" : opened);
        QCOMPARE(f.session.errorMessage(),
                 refused ? "Isso não é um vídeo que o Lunelo consiga abrir." : "");
        QCOMPARE(f.session.player() == playing && f.session.isPlaying(), opened.isEmpty());
    }

    void queuedFileOpensOnceWhenTheIntroductionCompletes()
    {
        Fixture f(false);
        QCOMPARE(f.shown("Solte um vídeo aqui"), 0);
        const QUrl queued = QUrl::fromLocalFile(QStringLiteral("/v/queued.mp4"));
        f.onboarding.setQueuedUrl(queued);
        f.onboarding.setCompleted(true);
        QCOMPARE(f.session.url(), queued);
        QVERIFY(f.onboarding.queuedUrl().isEmpty());
        QCOMPARE(f.engine.players.size(), 1);
        QTRY_COMPARE(f.shown("queued"), 1);
    }
};

QTEST_MAIN(TestPlayerView)
#include "tst_playerview.moc"
