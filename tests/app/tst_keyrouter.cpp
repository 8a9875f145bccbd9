// The application-wide keys, sent as the X server reports them (xkb key code = evdev code + 8),
// against a session on the scripted engine, in front of a real window, panel and shortcut.
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
#include <QFileDialog>
#include <QKeyEvent>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

namespace {

// Counts the key presses that get past the router.
struct KeyTarget : QObject {
    int received = 0;
    bool event(QEvent *event) override
    {
        received += event->type() == QEvent::KeyPress;
        return QObject::event(event);
    }
};

// Plays b.mp4 of a, b and c at 30 s of 100, at rate 0.5, with its window shown; keys go to
// `target` through the router installed on the application.
struct Router {
    QTemporaryDir root;
    FakeEngine engine;
    MemoryPreferences preferences;
    Commands commands;
    std::unique_ptr<FilePanels> panels = createFilePanels();
    PlaybackSession session{PlaybackSession::Services{engine, preferences, nullptr, panels.get()}};
    OnboardingStore onboarding{preferences, nullptr};
    WindowPresentation presentation{commands};
    KeyRouter router{session, onboarding, presentation, commands};
    QQuickWindow window;
    KeyTarget target;
    int nudges = 0, closeRequests = 0;

    Router()
    {
        makeFiles(root.path(), {"a.mp4", "b.mp4", "c.mp4"});
        onboarding.setCompleted(true);
        qApp->installEventFilter(&router);
        QObject::connect(&commands, &Commands::posted, [this](const QString &name) {
            nudges += name == CommandName::rateNudged;
            closeRequests += name == CommandName::requestClosePreview;
        });
        window.show();
        session.open(QUrl::fromLocalFile(root.filePath(QStringLiteral("b.mp4"))));
        engine.last()->becomeReady(100, QSizeF(640, 480));
        engine.last()->settleTrack(VideoTrack{QSizeF(640, 480), 0, 25, 0.04});
        settle();
        session.setRate(0.5f);
        engine.last()->emitTick(30);
        settle();
    }

    QMap<QString, QString> state() const
    {
        return {{"file", session.url().fileName()},
                {"rate", QString::number(session.rate())},
                {"time", QString::number(session.currentTime(), 'f', 2)},
                {"playing", QString::number(session.isPlaying())},
                {"muted", QString::number(session.isMuted())},
                {"repeating", QString::number(session.isRepeating())},
                {"fullScreen", QString::number(WindowPresentation::isFullScreen(&window))},
                {"nudges", QString::number(nudges)},
                {"closeRequests", QString::number(closeRequests)},
                {"received", QString::number(target.received)}};
    }

    // Presses the key with xkb code `scan` and holds it for `repeats` auto-repeats; what
    // changed, as "name=value" in name order.
    QString press(int scan, Qt::KeyboardModifiers modifiers = {}, int repeats = 0)
    {
        const QMap<QString, QString> before = state();
        for (int i = 0; i <= repeats; ++i) {
            QKeyEvent event(QEvent::KeyPress, Qt::Key_unknown, modifiers, quint32(scan), 0, 0, {},
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

} // namespace

class TestKeyRouter : public QObject {
    Q_OBJECT

private slots:
    void keysActByPosition_data()
    {
        QTest::addColumn<int>("scan");
        QTest::addColumn<int>("modifiers");
        QTest::addColumn<int>("repeats");
        QTest::addColumn<bool>("fullScreen");
        QTest::addColumn<QString>("changes");
        const QString a = QStringLiteral("file=a.mp4 playing=0 rate=1 time=0.00");
        const QString c = QStringLiteral("file=c.mp4 playing=0 rate=1 time=0.00");
        QTest::newRow("S") << 39 << 0 << 0 << false << "nudges=1 rate=0.25";
        QTest::newRow("D") << 40 << 0 << 0 << false << "nudges=1 rate=0.75";
        QTest::newRow("F") << 41 << 0 << 0 << false << "fullScreen=1";
        QTest::newRow("F in full screen") << 41 << 0 << 0 << true << "";
        QTest::newRow("B") << 56 << 0 << 0 << false << "repeating=1";
        QTest::newRow("R") << 27 << 0 << 0 << false << "nudges=1 rate=1";
        QTest::newRow("P") << 33 << 0 << 0 << false << a;
        QTest::newRow("comma") << 59 << 0 << 0 << false << "playing=0 time=29.96";
        QTest::newRow("N") << 57 << 0 << 0 << false << c;
        QTest::newRow("M") << 58 << 0 << 0 << false << "muted=1";
        QTest::newRow("period") << 60 << 0 << 0 << false << "playing=0 time=30.04";
        QTest::newRow("space") << 65 << 0 << 0 << false << "playing=0";
        QTest::newRow("Escape") << 9 << 0 << 0 << false << "closeRequests=1";
        QTest::newRow("Escape in full screen") << 9 << 0 << 0 << true << "fullScreen=0";
        QTest::newRow("left") << 113 << 0 << 0 << false << "time=20.00";
        QTest::newRow("right") << 114 << 0 << 0 << false << "time=40.00";
        QTest::newRow("down") << 116 << 0 << 0 << false << c;
        QTest::newRow("up") << 111 << 0 << 0 << false << a;
        QTest::newRow("Q, unhandled") << 24 << 0 << 0 << false << "received=1";
        QTest::newRow("right held") << 114 << 0 << 2 << false << "time=60.00";
        QTest::newRow("comma held") << 59 << 0 << 2 << false << "playing=0 time=29.88";
        QTest::newRow("space held") << 65 << 0 << 2 << false << "playing=0";
        QTest::newRow("up held") << 111 << 0 << 2 << false << a;
        QTest::newRow("Q held") << 24 << 0 << 2 << false << "received=3";
        QTest::newRow("Shift+right") << 114 << int(Qt::ShiftModifier) << 0 << false << "time=40.00";
        QTest::newRow("Ctrl+right")
            << 114 << int(Qt::ControlModifier) << 0 << false << "received=1";
        QTest::newRow("Alt+right") << 114 << int(Qt::AltModifier) << 0 << false << "received=1";
        QTest::newRow("Super+space") << 65 << int(Qt::MetaModifier) << 0 << false << "received=1";
    }

    void keysActByPosition()
    {
        QFETCH(int, scan);
        QFETCH(int, modifiers);
        QFETCH(int, repeats);
        QFETCH(bool, fullScreen);
        QFETCH(QString, changes);
        Router r;
        if (fullScreen)
            r.presentation.enterFullScreen();
        QCOMPARE(r.press(scan, Qt::KeyboardModifiers(modifiers), repeats), changes);
    }

    void nothingIsRoutedWhile_data()
    {
        QTest::addColumn<bool>("introduction");
        QTest::newRow("the introduction is shown") << true;
        QTest::newRow("a modal window is open") << false;
    }

    void nothingIsRoutedWhile()
    {
        QFETCH(bool, introduction);
        Router r;
        QWindow modal;
        r.onboarding.setCompleted(!introduction);
        if (!introduction) {
            modal.setModality(Qt::ApplicationModal);
            modal.show();
        }
        QCOMPARE(r.press(65), QStringLiteral("received=1"));
        QCOMPARE(r.press(116), QStringLiteral("received=2"));
    }

    // The open panel, modal: Space and Escape are the panel's, and Escape closes it.
    void keysGoToTheOpenPanel()
    {
        Router r;
        QString title, prompt, spaceChanges;
        bool escapeClosedIt = false;
        QTimer::singleShot(0, [&] {
            auto *panel = qobject_cast<QFileDialog *>(QApplication::activeModalWidget());
            if (!panel)
                return;
            title = panel->windowTitle();
            prompt = panel->labelText(QFileDialog::Accept);
            spaceChanges = r.press(65);
            QTest::keyClick(panel, Qt::Key_Escape);
            escapeClosedIt = !panel->isVisible();
            panel->reject();
        });
        r.session.presentOpenPanel();
        QCOMPARE(title, QStringLiteral("Abrir vídeo"));
        QCOMPARE(prompt, QStringLiteral("Abrir"));
        QCOMPARE(spaceChanges, QStringLiteral("received=1"));
        QVERIFY(escapeClosedIt);
        QCOMPARE(r.closeRequests, 0);
        QCOMPARE(r.engine.players().size(), 1); // cancelled: nothing opened
    }

    // A Qt Quick Shortcut in the window, as the menus' shortcuts are.
    void theRouterComesBeforeShortcuts_data()
    {
        QTest::addColumn<QString>("sequence");
        QTest::addColumn<bool>("fires");
        QTest::newRow("space") << "Space" << false;
        QTest::newRow("Ctrl+Right") << "Ctrl+Right" << true;
    }

    void theRouterComesBeforeShortcuts()
    {
        QFETCH(QString, sequence);
        QFETCH(bool, fires);
        Router r;
        QQmlEngine qml;
        QQmlComponent component(&qml);
        component.setData("import QtQuick\nItem { id: root; property int fired; property string "
                          "sequence\nShortcut { sequence: root.sequence; onActivated: "
                          "root.fired++ } }",
                          QUrl());
        std::unique_ptr<QObject> item(
            component.createWithInitialProperties({{"sequence", sequence}}));
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
