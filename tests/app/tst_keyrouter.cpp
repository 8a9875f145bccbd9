// Where each key is decided: the application-wide router first, then the shortcuts, then the
// player's gesture catcher. Keys are sent as the X server reports them (xkb key code = evdev code
// + 8), against a session on the scripted engine, in front of a real window.
#include "commands.h"
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

enum class Place {
    Player,
    FullScreen,
    Introduction,
    Modal
};

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

    explicit Router(Place place = Place::Player)
    {
        makeFiles(root.path(), {"a.mp4", "b.mp4", "c.mp4"});
        onboarding.setCompleted(place != Place::Introduction);
        qApp->installEventFilter(&router);
        QObject::connect(&commands, &Commands::posted, [this](Commands::Command command) {
            heard << QVariant::fromValue(command).toString();
        });
        const auto log = [this](QString what) { return [this, what] { heard << what; }; };
        QObject::connect(catcher, &GestureCatcher::escapePressed, log("escape"));
        QObject::connect(catcher, &GestureCatcher::fullscreenPressed, log("fullscreen"));
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
        if (place == Place::FullScreen)
            presentation.enterFullScreen();
    }

    QMap<QString, QString> state() const
    {
        return {{"file", session.url().fileName()},
                {"rate", QString::number(session.rate())},
                {"time", QString::number(session.currentTime(), 'f', 2)},
                {"playing", QString::number(session.isPlaying())},
                {"muted", QString::number(session.isMuted())},
                {"repeating", QString::number(session.isRepeating())},
                {"full", QString::number(WindowPresentation::isFullScreen(&window))},
                {"heard", heard.join(QLatin1Char(','))}};
    }

    // Presses the key with xkb code `scan` and holds it for `repeats` auto-repeats; what
    // changed, as "name=value" in name order.
    QString press(int scan, Qt::KeyboardModifiers modifiers = {}, int repeats = 0)
    {
        const QMap<QString, QString> before = state();
        for (int i = 0; i <= repeats; ++i) {
            QKeyEvent event(QEvent::KeyPress, Qt::Key_unknown, modifiers, quint32(scan), 0, 0, {},
                            i > 0);
            QCoreApplication::sendEvent(&window, &event);
            if (!event.isAccepted())
                heard << QStringLiteral("nobody");
        }
        QStringList changes;
        const QMap<QString, QString> after = state();
        for (auto it = after.begin(); it != after.end(); ++it) {
            if (before.value(it.key()) != it.value())
                changes << it.key() + QLatin1Char('=') + it.value();
        }
        return changes.join(QLatin1Char(' '));
    }
};

} // namespace

Q_DECLARE_METATYPE(Place)

class TestKeyRouter : public QObject {
    Q_OBJECT

private slots:
    void keyTable_data()
    {
        QTest::addColumn<int>("scan");
        QTest::addColumn<int>("modifiers");
        QTest::addColumn<int>("repeats");
        QTest::addColumn<Place>("place");
        QTest::addColumn<QString>("changes");
        const auto row = [](const char *name, int scan, const char *changes, int modifiers = 0,
                            int repeats = 0, Place place = Place::Player) {
            QTest::newRow(name) << scan << modifiers << repeats << place << QString(changes);
        };
        const char *a = "file=a.mp4 playing=0 rate=1 time=0.00";
        const char *c = "file=c.mp4 playing=0 rate=1 time=0.00";
        const auto alt = int(Qt::AltModifier), super = int(Qt::MetaModifier);
        row("S", 39, "heard=RateNudged rate=0.25");
        row("D", 40, "heard=RateNudged rate=0.75");
        row("R", 27, "heard=RateNudged rate=1");
        row("F", 41, "full=1");
        row("F in full screen", 41, "", 0, 0, Place::FullScreen);
        row("B", 56, "repeating=1");
        row("M", 58, "muted=1");
        row("space", 65, "playing=0");
        row("comma", 59, "playing=0 time=29.96");
        row("period", 60, "playing=0 time=30.04");
        row("left", 113, "time=20.00");
        row("right", 114, "time=40.00");
        row("P", 33, a);
        row("up", 111, a);
        row("N", 57, c);
        row("down", 116, c);
        row("Escape", 9, "heard=RequestClosePreview");
        row("Escape in full screen", 9, "full=0", 0, 0, Place::FullScreen);
        row("Q", 24, "heard=nobody");
        row("right held", 114, "time=60.00", 0, 2);
        row("comma held", 59, "playing=0 time=29.88", 0, 2);
        row("space held", 65, "playing=0", 0, 2);
        row("up held", 111, a, 0, 2);
        row("Shift+right", 114, "time=40.00", Qt::ShiftModifier);
        // Alt and Super pass the router; the catcher acts on its seven keys, once per press.
        row("Alt+right held", 114, "heard=skip10", alt, 2);
        row("Alt+left", 113, "heard=skip-10", alt);
        row("Alt+S", 39, "heard=rate-1", alt);
        row("Super+R", 27, "heard=rate0", super);
        row("Alt+D", 40, "heard=rate1", alt);
        row("Super+F", 41, "heard=fullscreen", super);
        row("Alt+Escape", 9, "heard=escape", alt);
        row("Alt+space", 65, "heard=nobody", alt);
        // Ctrl is the menus': neither acts.
        row("Ctrl+right", 114, "heard=nobody", Qt::ControlModifier);
        row("Ctrl+F", 41, "heard=nobody", Qt::ControlModifier);
        row("space in the introduction", 65, "heard=nobody", 0, 0, Place::Introduction);
        row("down with a modal window", 116, "heard=nobody", 0, 0, Place::Modal);
    }

    void keyTable()
    {
        QFETCH(int, scan);
        QFETCH(int, modifiers);
        QFETCH(int, repeats);
        QFETCH(Place, place);
        QFETCH(QString, changes);
        Router r(place);
        QWindow modal;
        modal.setModality(Qt::ApplicationModal);
        if (place == Place::Modal)
            modal.show();
        QCOMPARE(r.press(scan, Qt::KeyboardModifiers(modifiers), repeats), changes);
    }

    // The bare F of the menus' "Tela cheia" acts only where the router lets F through.
    void theRouterComesBeforeShortcuts_data()
    {
        QTest::addColumn<Place>("place");
        QTest::addColumn<int>("fired");
        QTest::newRow("player") << Place::Player << 0;
        QTest::newRow("introduction") << Place::Introduction << 1;
    }

    void theRouterComesBeforeShortcuts()
    {
        QFETCH(Place, place);
        QFETCH(int, fired);
        Router r(place);
        QQmlEngine qml;
        QQmlComponent component(&qml);
        component.setData("import QtQuick\nItem { id: root; property int fired\n"
                          "Shortcut { sequence: \"F\"; onActivated: root.fired++ } }",
                          QUrl());
        std::unique_ptr<QObject> item(component.create());
        qobject_cast<QQuickItem *>(item.get())->setParentItem(r.window.contentItem());
        QTest::keyClick(&r.window, Qt::Key_F);
        QCOMPARE(item->property("fired").toInt(), fired);
        QCOMPARE(WindowPresentation::isFullScreen(&r.window), !fired); // the router's F
        QVERIFY(r.heard.isEmpty());                                    // not the catcher's
    }
};

QTEST_MAIN(TestKeyRouter)
#include "tst_keyrouter.moc"
