#pragma once

#include "taskscheduler.h"

#include <QObject>
#include <QPointF>
#include <QPointer>
#include <QtQml/qqmlregistration.h>

#include <memory>

#include "commands.h"

// When the controls over the picture (the chrome) show. An input raises `showChrome` and a
// timer clears it a moment later; the pointer in the bottom band or on the control bar, and an
// open volume popover, hold the chrome up meanwhile. Also the rate toast's pulse and its own
// timer. One pending timer of each kind: scheduling one cancels its predecessor. GUI thread only.
class ChromeVisibility : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(bool showChrome READ showChrome NOTIFY showChromeChanged FINAL)
    Q_PROPERTY(
        bool hoveringBar READ hoveringBar WRITE setHoveringBar NOTIFY hoveringBarChanged FINAL)
    Q_PROPERTY(bool cursorNearBar READ cursorNearBar NOTIFY cursorNearBarChanged FINAL)
    Q_PROPERTY(bool showVolume READ showVolume WRITE setShowVolume NOTIFY showVolumeChanged FINAL)
    // The application menu, opened from the top bar, holds the chrome like the popover.
    Q_PROPERTY(bool menuOpen READ menuOpen WRITE setMenuOpen NOTIFY menuOpenChanged FINAL)
    // Shown by an event or held: the bars show.
    Q_PROPERTY(bool chromeVisible READ chromeVisible NOTIFY chromeVisibleChanged FINAL)
    // The last change of `chromeVisible` came with a change of `showChrome`: the bars fade for
    // those only. Announced before the change it describes, so the bars know how to take it.
    Q_PROPERTY(bool fading READ fading NOTIFY fadingChanged FINAL)
    Q_PROPERTY(bool ratePulse READ ratePulse NOTIFY ratePulseChanged FINAL)
    // The command hub whose "rate nudged" command pulses the toast.
    Q_PROPERTY(Commands *commands READ commands WRITE setCommands NOTIFY commandsChanged FINAL)

public:
    static constexpr double kShowDelay = 1.1;
    static constexpr double kLeaveDelay = 0.14;
    static constexpr double kPopoverCloseDelay = 0.35;
    static constexpr double kBottomBand = 96.0;
    static constexpr double kToastDelay = 1.1;

    explicit ChromeVisibility(QObject *parent = nullptr);
    ~ChromeVisibility() override;

    // Tests hand in a scheduler with a clock of their own.
    void setScheduler(std::shared_ptr<TaskScheduler> scheduler);

    [[nodiscard]] bool showChrome() const { return m_showChrome; }
    [[nodiscard]] bool hoveringBar() const { return m_hoveringBar; }
    // The control bar's hover handler.
    void setHoveringBar(bool hovering);
    [[nodiscard]] bool cursorNearBar() const { return m_cursorNearBar; }
    [[nodiscard]] bool showVolume() const { return m_showVolume; }
    void setShowVolume(bool open);
    [[nodiscard]] bool menuOpen() const { return m_menuOpen; }
    void setMenuOpen(bool open);
    [[nodiscard]] bool chromeVisible() const { return m_showChrome || isHeld(); }
    [[nodiscard]] bool fading() const { return m_fading; }
    [[nodiscard]] bool ratePulse() const { return m_ratePulse; }
    [[nodiscard]] Commands *commands() const { return m_commands; }
    void setCommands(Commands *commands);

    // Shows the chrome for a moment: after a click, a zoom gesture, a new video, appearing.
    Q_INVOKABLE void showForInput();
    Q_INVOKABLE void scheduleChromeHide(double seconds);
    // A pointer position over the view (origin top-left) in a view `viewHeight` high.
    Q_INVOKABLE void updateBarProximity(QPointF position, double viewHeight);
    Q_INVOKABLE void pointerLeftView();
    // Flashes the rate toast, and shows the chrome.
    Q_INVOKABLE void pulseRate();

signals:
    void showChromeChanged();
    void hoveringBarChanged();
    void cursorNearBarChanged();
    void showVolumeChanged();
    void menuOpenChanged();
    void chromeVisibleChanged();
    void fadingChanged();
    void ratePulseChanged();
    void commandsChanged();

private:
    // Held by the pointer, the popover or the menu: the hide timer leaves the chrome alone.
    [[nodiscard]] bool isHeld() const
    {
        return m_hoveringBar || m_cursorNearBar || m_showVolume || m_menuOpen;
    }
    // Sets one of the flags and announces a change of the bars' visibility.
    void setFlag(bool &flag, bool value, void (ChromeVisibility::*changed)());
    void setRatePulse(bool on);

    std::shared_ptr<TaskScheduler> m_scheduler;
    bool m_showChrome = true;
    bool m_hoveringBar = false;
    bool m_cursorNearBar = false;
    bool m_showVolume = false;
    bool m_menuOpen = false;
    bool m_fading = false;
    bool m_ratePulse = false;
    TaskScheduler::TaskId m_hideTask = 0;
    TaskScheduler::TaskId m_rateHideTask = 0;
    QPointer<Commands> m_commands;
    QMetaObject::Connection m_commandConnection;
};
