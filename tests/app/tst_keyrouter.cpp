// The application-wide keys, sent as the X server reports them (xkb key code = evdev code + 8),
// against a session on the scripted engine, in front of a real window and real shortcuts.
#include "commands.h"
#include "fakeengine.h"
#include "filepanels.h"
#include "keyrouter.h"
#include "memorypreferences.h"
#include "onboardingstore.h"
#include "playbacksession.h"
#include "testsupport.h"
#include "windowpresentation.h"

#include <QApplication>
#include <QDialog>
#include <QKeyEvent>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

namespace {

// xkb key codes of a PC keyboard.
enum Xkb : int {
    kEscape = 9,
    kR = 27,
    kQ = 24,
    kP = 33,
    kS = 39,
    kD = 40,
    kF = 41,
    kB = 56,
    kN = 57,
    kM = 58,
    kComma = 59,
    kPeriod = 60,
    kSpace = 65,
    kUp = 111,
    kLeft = 113,
    kRight = 114,
    kDown = 116,
};

// Counts the key presses that reach it past the router.
class KeyTarget : public QObject {
public:
    int received = 0;
    bool event(QEvent *event) override
    {
        if (event->type() == QEvent::KeyPress)
            ++received;
        return QObject::event(event);
    }
};

// A session playing Filmes/b.mp4 of a, b, c at 30 s of 100, at rate 0.5, in a shown window.
struct Router {
    QTemporaryDir root;
    FakeEngine engine;
    MemoryPreferences preferences;
    Commands commands;
    std::unique_ptr<FilePanels> panels = createFilePanels();
    PlaybackSession session{PlaybackSession::Services{engine, preferences, nullptr, panels.get()}};
    OnboardingStore onboarding{preferences};
    WindowPresentation presentation{commands};
    KeyRouter router{session, onboarding, presentation, commands};
    QQuickWindow window;
    KeyTarget target;
    int nudges = 0;
    int closeRequests = 0;

    Router()
    {
        makeFiles(root.path(), {"a.mp4", "b.mp4", "c.mp4"});
        qApp->installEventFilter(&router);
        QObject::connect(&commands, &Commands::posted, [this](const QString &name) {
            nudges += name == CommandName::rateNudged;
            closeRequests += name == CommandName::requestClosePreview;
        });
        window.resize(320, 240);
        window.show();
        session.open(QUrl::fromLocalFile(root.filePath(QStringLiteral("b.mp4"))));
        FakePlayer *player = engine.last();
        player->becomeReady(100, QSizeF(640, 480));
        player->settleTrack(VideoTrack{QSizeF(640, 480), 0, 25, 0.04});
        settle();
        session.setRate(0.5f);
        player->emitTick(30);
        settle();
    }

    QMap<QString, QString> state() const
    {
        return {
            {"file", session.url().fileName()},
            {"rate", QString::number(session.rate())},
            {"time", QString::number(session.currentTime(), 'f', 2)},
            {"playing", QString::number(session.isPlaying())},
            {"muted", QString::number(session.isMuted())},
            {"repeating", QString::number(session.isRepeating())},
            {"fullScreen", QString::number(WindowPresentation::isFullScreen(&window))},
            {"nudges", QString::number(nudges)},
            {"closeRequests", QString::number(closeRequests)},
            {"received", QString::number(target.received)},
        };
    }

    // Presses the key at `scan` (typing `key`), then holds it for `repeats` auto-repeats; what
    // changed, as "name=value" in name order.
    QString press(int scan, Qt::KeyboardModifiers modifiers = {}, int repeats = 0,
                  Qt::Key key = Qt::Key_unknown)
    {
        const QMap<QString, QString> before = state();
        for (int i = 0; i <= repeats; ++i) {
            QKeyEvent event(QEvent::KeyPress, key, modifiers, quint32(scan), 0, 0, QString(),
                            i > 0);
            QCoreApplication::sendEvent(&target, &event);
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

const QString kOpenedA = QStringLiteral("file=a.mp4 playing=0 rate=1 time=0.00");
const QString kOpenedC = QStringLiteral("file=c.mp4 playing=0 rate=1 time=0.00");

} // namespace

class TestKeyRouter : public QObject {
    Q_OBJECT

private slots:
    void keysActByPosition_data()
    {
        QTest::addColumn<int>("scan");
        QTest::addColumn<Qt::KeyboardModifiers>("modifiers");
        QTest::addColumn<int>("repeats");
        QTest::addColumn<bool>("fullScreen");
        QTest::addColumn<QString>("changes");
        const Qt::KeyboardModifiers none;
        QTest::newRow("S") << int(kS) << none << 0 << false << "nudges=1 rate=0.25";
        QTest::newRow("D") << int(kD) << none << 0 << false << "nudges=1 rate=0.75";
        QTest::newRow("F") << int(kF) << none << 0 << false << "fullScreen=1";
        QTest::newRow("F in full screen") << int(kF) << none << 0 << true << "";
        QTest::newRow("B") << int(kB) << none << 0 << false << "repeating=1";
        QTest::newRow("R") << int(kR) << none << 0 << false << "nudges=1 rate=1";
        QTest::newRow("P") << int(kP) << none << 0 << false << kOpenedA;
        QTest::newRow("comma") << int(kComma) << none << 0 << false << "playing=0 time=29.96";
        QTest::newRow("N") << int(kN) << none << 0 << false << kOpenedC;
        QTest::newRow("M") << int(kM) << none << 0 << false << "muted=1";
        QTest::newRow("period") << int(kPeriod) << none << 0 << false << "playing=0 time=30.04";
        QTest::newRow("space") << int(kSpace) << none << 0 << false << "playing=0";
        QTest::newRow("Escape") << int(kEscape) << none << 0 << false << "closeRequests=1";
        QTest::newRow("Escape in full screen")
            << int(kEscape) << none << 0 << true << "fullScreen=0";
        QTest::newRow("left") << int(kLeft) << none << 0 << false << "time=20.00";
        QTest::newRow("right") << int(kRight) << none << 0 << false << "time=40.00";
        QTest::newRow("down") << int(kDown) << none << 0 << false << kOpenedC;
        QTest::newRow("up") << int(kUp) << none << 0 << false << kOpenedA;
        QTest::newRow("unhandled letter") << int(kQ) << none << 0 << false << "received=1";
        QTest::newRow("no scan code, no key") << 0 << none << 0 << false << "received=1";

        QTest::newRow("right held") << int(kRight) << none << 2 << false << "time=60.00";
        QTest::newRow("comma held") << int(kComma) << none << 2 << false << "playing=0 time=29.88";
        QTest::newRow("space held") << int(kSpace) << none << 2 << false << "playing=0";
        QTest::newRow("up held") << int(kUp) << none << 2 << false << kOpenedA;
        QTest::newRow("letter held") << int(kQ) << none << 2 << false << "received=3";

        QTest::newRow("Shift") << int(kRight) << Qt::KeyboardModifiers(Qt::ShiftModifier) << 0
                               << false << "time=40.00";
        QTest::newRow("keypad") << int(kRight) << Qt::KeyboardModifiers(Qt::KeypadModifier) << 0
                                << false << "time=40.00";
        QTest::newRow("Ctrl") << int(kRight) << Qt::KeyboardModifiers(Qt::ControlModifier) << 0
                              << false << "received=1";
        QTest::newRow("Alt") << int(kRight) << Qt::KeyboardModifiers(Qt::AltModifier) << 0 << false
                             << "received=1";
        QTest::newRow("Super") << int(kSpace) << Qt::KeyboardModifiers(Qt::MetaModifier) << 0
                               << false << "received=1";
        QTest::newRow("Shift+Ctrl")
            << int(kS) << (Qt::ShiftModifier | Qt::ControlModifier) << 0 << false << "received=1";
    }

    void keysActByPosition()
    {
        QFETCH(int, scan);
        QFETCH(Qt::KeyboardModifiers, modifiers);
        QFETCH(int, repeats);
        QFETCH(bool, fullScreen);
        QFETCH(QString, changes);
        Router r;
        if (fullScreen)
            r.presentation.enterFullScreen();
        QCOMPARE(r.press(scan, modifiers, repeats), changes);
    }

    // On a French keyboard the key at the US "M" position types a comma: it mutes all the same.
    void theCharacterTypedDoesNotMatter()
    {
        Router r;
        QCOMPARE(r.press(kM, {}, 0, Qt::Key_Comma), QStringLiteral("muted=1"));
        QCOMPARE(r.press(kComma, {}, 0, Qt::Key_M), QStringLiteral("playing=0 time=29.96"));
    }

    void nothingIsRoutedWhile_data()
    {
        QTest::addColumn<QString>("situation");
        QTest::newRow("the introduction is shown") << "introduction";
        QTest::newRow("a modal dialog is open") << "dialog";
        QTest::newRow("a modal window is open") << "window";
    }

    void nothingIsRoutedWhile()
    {
        QFETCH(QString, situation);
        Router r;
        QDialog dialog;
        QWindow modal;
        if (situation == QLatin1String("introduction"))
            r.onboarding.setCompleted(false);
        if (situation == QLatin1String("dialog")) {
            dialog.setModal(true);
            dialog.show();
        }
        if (situation == QLatin1String("window")) {
            modal.setModality(Qt::ApplicationModal);
            modal.show();
        }
        QCOMPARE(r.press(kSpace), QStringLiteral("received=1"));
        QCOMPARE(r.press(kDown), QStringLiteral("received=2"));
    }

    void keysGoToTheOpenPanel()
    {
        Router r;
        QString spaceChanges;
        bool escapeClosedIt = false;
        QTimer::singleShot(0, [&] {
            auto *panel = qobject_cast<QDialog *>(QApplication::activeModalWidget());
            if (!panel)
                return;
            spaceChanges = r.press(kSpace);
            // Escape reaches the panel, which closes, instead of the player window.
            QTest::keyClick(panel, Qt::Key_Escape);
            escapeClosedIt = !panel->isVisible();
            panel->reject();
        });
        r.session.presentOpenPanel();
        QCOMPARE(spaceChanges, QStringLiteral("received=1"));
        QVERIFY(escapeClosedIt);
        QCOMPARE(r.closeRequests, 0);
        QCOMPARE(r.engine.players().size(), 1); // cancelled: nothing opened
    }

    void theRouterComesBeforeShortcuts_data()
    {
        QTest::addColumn<QString>("sequence");
        QTest::addColumn<bool>("fires");
        QTest::newRow("space") << "Space" << false;
        QTest::newRow("Ctrl+Right") << "Ctrl+Right" << true;
    }

    // A Qt Quick Shortcut in the window, as the menus' shortcuts are.
    void theRouterComesBeforeShortcuts()
    {
        QFETCH(QString, sequence);
        QFETCH(bool, fires);
        Router r;
        QQmlEngine qml;
        QQmlComponent component(&qml);
        component.setData("import QtQuick\nItem { id: root; property int fired: 0\n"
                          "property string sequence\n"
                          "Shortcut { sequence: root.sequence; onActivated: root.fired++ } }",
                          QUrl());
        std::unique_ptr<QObject> item(
            component.createWithInitialProperties({{QStringLiteral("sequence"), sequence}}));
        QVERIFY2(item, qPrintable(component.errorString()));
        qobject_cast<QQuickItem *>(item.get())->setParentItem(r.window.contentItem());
        r.window.requestActivate();
        QVERIFY(QTest::qWaitForWindowActive(&r.window));

        const QKeyCombination combination = QKeySequence(sequence)[0];
        QTest::keyClick(&r.window, combination.key(), combination.keyboardModifiers());
        QCOMPARE(item->property("fired").toInt(), fires ? 1 : 0);
        QCOMPARE(r.session.isPlaying(), fires); // Space was the router's
    }
};

QTEST_MAIN(TestKeyRouter)
#include "tst_keyrouter.moc"
