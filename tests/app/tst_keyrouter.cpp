// Where each key is decided: the application-wide router first, then the shortcuts, then the
// player's gesture catcher; and what a drop on the player opens. Keys are sent as the X server
// reports them (xkb key code = evdev code + 8), against a session on the scripted engine, in
// front of a real window.
#include "commands.h"
#include "drophandler.h"
#include "fakeengine.h"
#include "gesturecatcher.h"
#include "keyrouter.h"
#include "memorypreferences.h"
#include "onboardingstore.h"
#include "playbacksession.h"
#include "testsupport.h"
#include "windowpresentation.h"

#include <QKeyEvent>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickWindow>
#include <QTemporaryDir>
#include <QTest>

namespace {

// Plays b.mp4 of a, b and c at 30 s of 100, at rate 0.5; the catcher has the window's focus.
struct Router {
    QTemporaryDir root;
    FakeEngine engine;
    MemoryPreferences preferences;
    Commands commands;
    PlaybackSession session{PlaybackSession::Services{engine, preferences}};
    OnboardingStore onboarding{preferences, nullptr};
    WindowPresentation presentation{commands};
    KeyRouter router{session, onboarding, presentation, commands};
    QQuickWindow window;
    GestureCatcher *catcher = new GestureCatcher(window.contentItem());
    QStringList heard; // commands posted, the catcher's signals, keys nobody took

    explicit Router(bool introduction = false)
    {
        makeFiles(root.path(), {"a.mp4", "b.mp4", "c.mp4"});
        onboarding.setCompleted(!introduction);
        qApp->installEventFilter(&router);
        QObject::connect(&commands, &Commands::posted, [this](Commands::Command command) {
            heard << QVariant::fromValue(command).toString();
        });
        QObject::connect(catcher, &GestureCatcher::fullscreenPressed, [this] { heard << "full"; });
        QObject::connect(catcher, &GestureCatcher::rateStep,
                         [this](int step) { heard << QStringLiteral("rate%1").arg(step); });
        QObject::connect(catcher, &GestureCatcher::skip,
                         [this](double s) { heard << QStringLiteral("skip%1").arg(s); });
        window.show();
        window.requestActivate();
        (void)QTest::qWaitForWindowActive(&window);
        session.open(QUrl::fromLocalFile(root.filePath(QStringLiteral("b.mp4"))));
        engine.last()->becomeReady(100, QSizeF(640, 480));
        engine.last()->settleTrack(VideoTrack{QSizeF(640, 480), 0, 25, 0.04});
        settle();
        session.setRate(0.5f);
        engine.last()->emitTick(30);
        settle();
    }

    QStringList state() const
    {
        return {"file=" + session.url().fileName(),
                "full=" + QString::number(WindowPresentation::isFullScreen(&window)),
                "heard=" + heard.join(','),
                "playing=" + QString::number(session.isPlaying()),
                "rate=" + QString::number(session.rate()),
                "time=" + QString::number(session.currentTime(), 'f', 2)};
    }

    // Presses the key with xkb code `scan` and holds it for `repeats` auto-repeats; what
    // changed, as "name=value" in name order.
    QString press(int scan, Qt::KeyboardModifiers modifiers = {}, int repeats = 0)
    {
        const QStringList before = state();
        for (int i = 0; i <= repeats; ++i) {
            QKeyEvent event(QEvent::KeyPress, Qt::Key_unknown, modifiers, quint32(scan), 0, 0, {},
                            i > 0);
            QCoreApplication::sendEvent(&window, &event);
            if (!event.isAccepted())
                heard << QStringLiteral("nobody");
        }
        QStringList changes = state();
        changes.removeIf([&](const QString &now) { return before.contains(now); });
        return changes.join(' ');
    }
};

} // namespace

class TestKeyRouter : public QObject {
    Q_OBJECT

private slots:
    void keyTable_data()
    {
        QTest::addColumn<int>("scan");
        QTest::addColumn<int>("modifiers");
        QTest::addColumn<int>("repeats");
        QTest::addColumn<bool>("introduction");
        QTest::addColumn<QString>("changes");
        const auto row = [](const char *name, int scan, const char *changes, int modifiers = 0,
                            int repeats = 0, bool introduction = false) {
            QTest::newRow(name) << scan << modifiers << repeats << introduction << QString(changes);
        };
        const auto alt = int(Qt::AltModifier);
        row("S", 39, "heard=RateNudged rate=0.25");
        row("D", 40, "heard=RateNudged rate=0.75");
        row("F", 41, "full=1");
        row("Escape", 9, "heard=RequestClosePreview");
        row("right held", 114, "time=60.00", 0, 2);
        row("comma held", 59, "playing=0 time=29.88", 0, 2);
        row("up held", 111, "file=a.mp4 playing=0 rate=1 time=0.00", 0, 2);
        // Alt and Super pass the router; the catcher acts on its own keys, once per press.
        row("Alt+right held", 114, "heard=skip10", alt, 2);
        row("Alt+S", 39, "heard=rate-1", alt);
        row("Super+F", 41, "heard=full", Qt::MetaModifier);
        row("Alt+space", 65, "heard=nobody", alt);
        // Ctrl is the menus': neither acts.
        row("Ctrl+F", 41, "heard=nobody", Qt::ControlModifier);
        row("space in the introduction", 65, "heard=nobody", 0, 0, true);
    }

    void keyTable()
    {
        QFETCH(int, scan);
        QFETCH(int, modifiers);
        QFETCH(int, repeats);
        QFETCH(bool, introduction);
        QFETCH(QString, changes);
        QCOMPARE(Router(introduction).press(scan, Qt::KeyboardModifiers(modifiers), repeats),
                 changes);
    }

    // The bare F of the menus' "Tela cheia" acts only where the router lets F through.
    void theRouterComesBeforeShortcuts()
    {
        for (const bool introduction : {false, true}) {
            Router r(introduction);
            QQmlEngine qml;
            QQmlComponent component(&qml);
            component.setData("import QtQuick\nItem { id: root; property int fired\n"
                              "Shortcut { sequence: \"F\"; onActivated: root.fired++ } }",
                              QUrl());
            std::unique_ptr<QObject> item(component.create());
            qobject_cast<QQuickItem *>(item.get())->setParentItem(r.window.contentItem());
            QTest::keyClick(&r.window, Qt::Key_F);
            QCOMPARE(item->property("fired").toBool(), introduction);
            QCOMPARE(WindowPresentation::isFullScreen(&r.window), !introduction); // the router's F
            QVERIFY(r.heard.isEmpty()); // not the catcher's
        }
    }

    // While a video plays: the first file of a drop opens when it is a video by its extension
    // or its MIME type; any other file is refused with a message and the video plays on; a drop
    // that carries no file location is not taken (nor highlighted while dragged).
    void drops_data()
    {
        QTest::addColumn<QList<QUrl>>("urls");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("outcome"); // the file open then, and the message
        const auto file = [](const char *path) { return QList{QUrl::fromLocalFile(path)}; };
        const QString refused = "b.mp4 Isso não é um vídeo que o Lunelo consiga abrir.";
        QTest::newRow("first of several, upper case")
            << file("/v/CLIP.MOV") + file("/v/b.mkv") << ""
            << "CLIP.MOV ";
        QTest::newRow("by MIME type") << file("/v/a.ogv") << ""
                                      << "a.ogv ";
        QTest::newRow("a stream that is also a translation") << file("/v/clip.ts") << ""
                                                             << "clip.ts ";
        QTest::newRow("PDF") << file("/d/manual.pdf") << "" << refused;
        QTest::newRow("path as text") << QList<QUrl>() << "/v/from terminal.mkv\n"
                                      << "from terminal.mkv ";
        QTest::newRow("a word") << QList<QUrl>() << "olá"
                                << "untaken";
        QTest::newRow("web address") << QList{QUrl("https://example.org/a.mp4")} << ""
                                     << "untaken";
    }

    void drops()
    {
        QFETCH(QList<QUrl>, urls);
        QFETCH(QString, text);
        QFETCH(QString, outcome);
        Router r;
        DropHandler drops;
        drops.setSession(&r.session);
        const bool taken = drops.handleDrop(urls, text);
        QCOMPARE(DropHandler::fileLocation(urls, text).isEmpty(), !taken);
        QCOMPARE(taken ? r.session.url().fileName() + ' ' + r.session.errorMessage() : "untaken",
                 outcome);
    }
};

QTEST_MAIN(TestKeyRouter)
#include "tst_keyrouter.moc"
