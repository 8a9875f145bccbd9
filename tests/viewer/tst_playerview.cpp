// The player view in a real Qt Quick window, over a session on the scripted engine: what it
// shows in each state, and how it answers clicks, keys and drops.
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
    for (; item; item = item->parentItem()) {
        if (!item->isVisible())
            return 0;
        opacity *= item->opacity();
    }
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

// The number of places where `text` shows now: visible, in containers that are fully opaque
// (a text's own opacity is its style).
int shown(QQuickItem *root, const QString &text)
{
    int count = 0;
    for (QQuickItem *item : itemsWithText(root, text))
        count += item->isVisible() && shownOpacity(item->parentItem()) > 0.99 ? 1 : 0;
    return count;
}

struct Fixture {
    FakeEngine engine;
    MemoryPreferences preferences;
    Commands commands;
    PlaybackSession session{PlaybackSession::Services{engine, preferences}};
    OnboardingStore onboarding{preferences, nullptr};
    WindowPresentation presentation{commands};
    QQuickView view;
    bool highlighted = false;

    explicit Fixture(bool introductionCompleted = true)
    {
        QQuickStyle::setStyle(QStringLiteral("Basic"));
        onboarding.setCompleted(introductionCompleted);
        view.setInitialProperties({
            {QStringLiteral("session"), QVariant::fromValue(&session)},
            {QStringLiteral("commands"), QVariant::fromValue(&commands)},
            {QStringLiteral("presentation"), QVariant::fromValue(&presentation)},
            {QStringLiteral("onboarding"), QVariant::fromValue(&onboarding)},
        });
        view.setResizeMode(QQuickView::SizeRootObjectToView);
        view.setSource(QUrl(QStringLiteral("qrc:/Lunelo/ContentView.qml")));
        view.resize(800, 600);
        view.show();
        view.requestActivate();
        (void)QTest::qWaitForWindowActive(&view);
        // The pointer far from the bottom band.
        QTest::mouseMove(&view, QPoint(400, 200));
    }

    QQuickItem *root() const { return view.rootObject(); }

    FakePlayer *openReady(const QString &path, double duration)
    {
        session.open(QUrl::fromLocalFile(path));
        FakePlayer *player = engine.last();
        player->becomeReady(duration, QSizeF(1920, 1080));
        settle();
        return player;
    }

    QPoint centreOf(const QString &text) const
    {
        QQuickItem *item = itemsWithText(root(), text).value(0);
        return item ? item->mapToScene(QPointF(item->width() / 2, item->height() / 2)).toPoint()
                    : QPoint();
    }

    // The control bar has its place at the bottom (layouts settle on the next frame).
    bool barLaidOut() const { return centreOf(QStringLiteral("0:00")).y() > 540; }

    void key(quint32 evdev)
    {
        QKeyEvent press(QEvent::KeyPress, Qt::Key_unknown, {}, evdev + 8, 0, 0);
        QCoreApplication::sendEvent(&view, &press);
    }

    static bool isHighlighted(QQuickItem *item)
    {
        if (QByteArray(item->metaObject()->className()).startsWith("DropHighlight"))
            return item->isVisible();
        const QList<QQuickItem *> children = item->childItems();
        return std::any_of(children.begin(), children.end(), &isHighlighted);
    }

    // A drop of `urls` or `text` through the window, as a file manager or an editor delivers
    // it; whether it was accepted. Meanwhile `highlighted` tells whether the drop target showed.
    bool drop(const QList<QUrl> &urls, const QString &text = {})
    {
        QMimeData data;
        if (!urls.isEmpty())
            data.setUrls(urls);
        if (!text.isEmpty())
            data.setText(text);
        const QPointF at(400, 300);
        QDragEnterEvent enter(at.toPoint(), Qt::CopyAction, &data, Qt::LeftButton, {});
        QCoreApplication::sendEvent(&view, &enter);
        QDragMoveEvent move(at.toPoint(), Qt::CopyAction, &data, Qt::LeftButton, {});
        QCoreApplication::sendEvent(&view, &move);
        highlighted = isHighlighted(root());
        QDropEvent dropped(at, Qt::CopyAction, &data, Qt::LeftButton, {});
        QCoreApplication::sendEvent(&view, &dropped);
        return dropped.isAccepted();
    }
};

const QString kHint =
    QStringLiteral("↑ ↓ pasta  ·  ← → 10s  ·  espaço play  ·  , . quadro  ·  F tela cheia");

} // namespace

class TestPlayerView : public QObject {
    Q_OBJECT

private slots:
    void emptyStateAndTheErrorBannerOverIt()
    {
        Fixture f;
        QCOMPARE(shown(f.root(), QStringLiteral("Solte um vídeo aqui")), 1);
        QCOMPARE(shown(f.root(), kHint), 1);
        QCOMPARE(shown(f.root(), QStringLiteral("Abrir vídeo…")), 1);
        QCOMPARE(shown(f.root(), QStringLiteral("Lunelo")), 1); // the top bar stays up
        QCOMPARE(shown(f.root(), QStringLiteral("1.00×")), 0);  // no chips, bar or toast
        saveShot(f.view.grabWindow(), QStringLiteral("view-empty"));

        const QString message =
            QStringLiteral("Sem acesso à pasta, não dá para abrir o próximo vídeo.");
        f.session.setErrorMessage(message);
        QTRY_COMPARE(shown(f.root(), message), 2); // banner and empty state
        QCOMPARE(shown(f.root(), QStringLiteral("Solte um vídeo aqui")), 0);
        const QImage shot = f.view.grabWindow();
        saveShot(shot, QStringLiteral("view-empty-error"));
        // The banner's copy of the message is the upper one.
        int bannerY = f.view.height();
        for (QQuickItem *text : itemsWithText(f.root(), message))
            bannerY = std::min(bannerY, int(text->mapToScene(QPointF(0, text->height() / 2)).y()));
        const QRgb banner = shot.pixel(24, bannerY);
        QVERIFY2(qRed(banner) > 180 && qGreen(banner) < 90, qPrintable(QColor(banner).name()));

        QTest::mouseClick(&f.view, Qt::LeftButton, {}, f.centreOf(QStringLiteral("OK")));
        QVERIFY(f.session.errorMessage().isEmpty());
        QTRY_COMPARE(shown(f.root(), QStringLiteral("Solte um vídeo aqui")), 1);
    }

    void playerShowsTitleChipsAndBarThenHidesThem()
    {
        Fixture f;
        f.openReady(QStringLiteral("/v/Férias na praia.mp4"), 95.5);
        QTRY_COMPARE(shown(f.root(), QStringLiteral("Férias na praia")), 1);
        QCOMPARE(shown(f.root(), QStringLiteral("100%")), 1);
        QCOMPARE(shown(f.root(), QStringLiteral("1.00×")), 2); // top chip and bar label
        QCOMPARE(shown(f.root(), QStringLiteral("0:00")), 1);
        QCOMPARE(shown(f.root(), QStringLiteral("1:35")), 1);
        QCOMPARE(shown(f.root(), QStringLiteral("Solte um vídeo aqui")), 0);
        saveShot(f.view.grabWindow(), QStringLiteral("view-player-chrome"));

        // 1.1 s after the video opened, with the pointer away from the bottom, all of it fades.
        QTRY_COMPARE_WITH_TIMEOUT(shown(f.root(), QStringLiteral("Férias na praia")), 0, 5000);
        QTRY_COMPARE(shown(f.root(), QStringLiteral("1:35")), 0);
        saveShot(f.view.grabWindow(), QStringLiteral("view-player-hidden"));

        // The pointer in the bottom band brings it back: both bars fade in.
        QList<double> bar, top;
        QQuickItem *duration = itemsWithText(f.root(), QStringLiteral("1:35")).value(0);
        QQuickItem *title = itemsWithText(f.root(), QStringLiteral("Férias na praia")).value(0);
        QVERIFY(duration && title);
        connect(&f.view, &QQuickWindow::afterAnimating, this, [&] {
            bar << shownOpacity(duration->parentItem());
            top << shownOpacity(title->parentItem());
        });
        QTest::mouseMove(&f.view, QPoint(400, 560));
        QTRY_COMPARE(shown(f.root(), QStringLiteral("1:35")), 1);
        QTRY_COMPARE(shown(f.root(), QStringLiteral("Férias na praia")), 1);
        const auto midway = [](const QList<double> &opacities) {
            return std::any_of(opacities.begin(), opacities.end(),
                               [](double o) { return o > 0.02 && o < 0.98; });
        };
        QVERIFY(midway(bar));
        QVERIFY(midway(top));
    }

    void rateKeyFlashesTheToastAndControlsNeverTakeFocus()
    {
        Fixture f;
        f.openReady(QStringLiteral("/v/a.mp4"), 60);
        QTest::mouseMove(&f.view, QPoint(400, 560)); // hold the chrome
        QTRY_VERIFY(f.barLaidOut());
        // Click the play button (left end of the bar), then the rate key still reaches the
        // picture's key handling.
        QTest::mouseClick(&f.view, Qt::LeftButton, {},
                          QPoint(16 + 14 + 11, f.centreOf(QStringLiteral("0:00")).y()));
        QVERIFY(!f.session.isPlaying());
        f.key(32); // D
        QCOMPARE(f.session.rate(), 1.1f);
        QTRY_COMPARE(shown(f.root(), QStringLiteral("1.10×")), 3); // chip, bar, toast
        saveShot(f.view.grabWindow(), QStringLiteral("view-rate-toast"));
        QTRY_COMPARE_WITH_TIMEOUT(shown(f.root(), QStringLiteral("1.10×")), 2, 5000);
    }

    void scrubberDrivesTheSeekQueue()
    {
        Fixture f;
        FakePlayer *player = f.openReady(QStringLiteral("/v/a.mp4"), 100);
        QTest::mouseMove(&f.view, QPoint(400, 560));
        QTRY_VERIFY(f.barLaidOut());
        const int y = f.centreOf(QStringLiteral("0:00")).y();
        // The scrubber runs between the two time labels.
        const int left = f.centreOf(QStringLiteral("0:00")).x() + 40;
        const int right = f.centreOf(QStringLiteral("1:40")).x() - 40;
        QTest::mousePress(&f.view, Qt::LeftButton, {}, QPoint(left + 10, y));
        QVERIFY(f.session.isSeeking());
        QTest::mouseMove(&f.view, QPoint((left + right) / 2, y));
        QVERIFY(f.session.currentTime() > 30 && f.session.currentTime() < 70);
        QTest::mouseRelease(&f.view, Qt::LeftButton, {}, QPoint((left + right) / 2, y));
        player->completeAllSeeks();
        settle();
        player->completeAllSeeks();
        settle();
        QVERIFY(!f.session.isSeeking());
        QVERIFY(f.session.isPlaying()); // it was playing before the drag
        QCOMPARE(player->seeks().back().mode, MediaPlayer::SeekMode::Exact);
    }

    void dropOpensTheFirstVideoAndRefusesOtherFiles()
    {
        Fixture f;
        QVERIFY(f.drop({QUrl::fromLocalFile(QStringLiteral("/v/CLIP.MOV")),
                        QUrl::fromLocalFile(QStringLiteral("/v/b.mkv")),
                        QUrl::fromLocalFile(QStringLiteral("/v/c.mp4"))}));
        QCOMPARE(f.session.url(), QUrl::fromLocalFile(QStringLiteral("/v/CLIP.MOV")));
        QCOMPARE(f.engine.players().size(), 1);
        FakePlayer *player = f.engine.last();
        player->becomeReady(10);
        settle();

        QVERIFY(f.drop({QUrl::fromLocalFile(QStringLiteral("/docs/manual.pdf"))}));
        QCOMPARE(f.session.errorMessage(),
                 QStringLiteral("Isso não é um vídeo que o Lunelo consiga abrir."));
        QCOMPARE(f.session.player(), player); // the video keeps playing
        QVERIFY(f.session.isPlaying());

        QVERIFY(f.drop({QUrl::fromLocalFile(QStringLiteral("/docs/LEIA"))}));
        QVERIFY(f.highlighted);
        QCOMPARE(f.session.player(), player);
        QVERIFY(!f.drop({}));

        // A word of text is no file: no highlight, no message.
        f.session.setErrorMessage({});
        QVERIFY(!f.drop({}, QStringLiteral("olá")));
        QVERIFY(!f.highlighted);
        QVERIFY(f.session.errorMessage().isEmpty());
    }

    void queuedFileOpensOnceWhenTheIntroductionCompletes()
    {
        Fixture f(false);
        QCOMPARE(shown(f.root(), QStringLiteral("Solte um vídeo aqui")), 0);
        const QUrl queued = QUrl::fromLocalFile(QStringLiteral("/v/queued.mp4"));
        f.onboarding.setQueuedUrl(queued);
        QUrl queueWhenOpened;
        QObject::connect(&f.session, &PlaybackSession::urlChanged, &f.session,
                         [&] { queueWhenOpened = f.onboarding.queuedUrl(); });

        f.onboarding.setCompleted(true);
        QCOMPARE(f.session.url(), queued);
        QVERIFY(queueWhenOpened.isEmpty()); // emptied before the file opened
        QCOMPARE(f.engine.players().size(), 1);
        QTRY_COMPARE(shown(f.root(), QStringLiteral("queued")), 1);
    }
};

QTEST_MAIN(TestPlayerView)
#include "tst_playerview.moc"
