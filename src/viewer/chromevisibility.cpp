#include "chromevisibility.h"

#include "commands.h"
#include "trace.h"

ChromeVisibility::ChromeVisibility(QObject *parent)
    : QObject(parent)
    , m_scheduler(TaskScheduler::system())
{
}

ChromeVisibility::~ChromeVisibility()
{
    m_scheduler->cancel(m_hideTask);
    m_scheduler->cancel(m_rateHideTask);
}

void ChromeVisibility::setScheduler(std::shared_ptr<TaskScheduler> scheduler)
{
    m_scheduler->cancel(m_hideTask);
    m_scheduler->cancel(m_rateHideTask);
    m_hideTask = m_rateHideTask = 0;
    m_scheduler = std::move(scheduler);
}

void ChromeVisibility::setFlag(bool &flag, bool value, void (ChromeVisibility::*changed)())
{
    if (flag == value)
        return;
    const bool wasVisible = chromeVisible();
    flag = value;
    emit(this->*changed)();
    if (chromeVisible() != wasVisible) {
        if (const bool fading = &flag == &m_showChrome; fading != m_fading) {
            m_fading = fading;
            emit fadingChanged();
        }
        Trace::event("chrome",
                     chromeVisible() ? QStringLiteral("shown") : QStringLiteral("hidden"));
        emit chromeVisibleChanged();
    }
}

void ChromeVisibility::setHoveringBar(bool hovering)
{
    // Shown first, then held: coming from hidden, the bars fade in like any other showing.
    if (hovering)
        showForInput();
    setFlag(m_hoveringBar, hovering, &ChromeVisibility::hoveringBarChanged);
    if (!hovering)
        scheduleChromeHide(kLeaveDelay);
}

void ChromeVisibility::setShowVolume(bool open)
{
    if (open == m_showVolume)
        return;
    setFlag(m_showVolume, open, &ChromeVisibility::showVolumeChanged);
    if (!open)
        scheduleChromeHide(kPopoverCloseDelay);
}

void ChromeVisibility::setMenuOpen(bool open)
{
    if (open == m_menuOpen)
        return;
    setFlag(m_menuOpen, open, &ChromeVisibility::menuOpenChanged);
    if (!open)
        scheduleChromeHide(kPopoverCloseDelay);
}

void ChromeVisibility::setCommands(Commands *commands)
{
    if (m_commands == commands)
        return;
    disconnect(m_commandConnection);
    m_commands = commands;
    if (commands) {
        m_commandConnection =
            connect(commands, &Commands::posted, this, [this](Commands::Command command) {
                if (command == Commands::Command::RateNudged)
                    pulseRate();
            });
    }
    emit commandsChanged();
}

void ChromeVisibility::showForInput()
{
    setFlag(m_showChrome, true, &ChromeVisibility::showChromeChanged);
    scheduleChromeHide(kShowDelay);
}

void ChromeVisibility::scheduleChromeHide(double seconds)
{
    m_scheduler->cancel(m_hideTask);
    m_hideTask = m_scheduler->schedule(seconds, [this] {
        m_hideTask = 0;
        // Held by the pointer or the popover: those clear themselves and schedule anew.
        if (isHeld())
            return;
        setFlag(m_showChrome, false, &ChromeVisibility::showChromeChanged);
    });
}

void ChromeVisibility::updateBarProximity(QPointF position, double viewHeight)
{
    // Comparisons with not-a-number are false, so such a position is never near.
    const bool near =
        position.x() >= 0 && viewHeight - kBottomBand <= position.y() && position.y() <= viewHeight;
    if (near == m_cursorNearBar)
        return; // moving inside or outside the band touches nothing
    if (near)
        showForInput();
    setFlag(m_cursorNearBar, near, &ChromeVisibility::cursorNearBarChanged);
    if (!near)
        scheduleChromeHide(kLeaveDelay);
}

void ChromeVisibility::pointerLeftView()
{
    setFlag(m_cursorNearBar, false, &ChromeVisibility::cursorNearBarChanged);
    setFlag(m_hoveringBar, false, &ChromeVisibility::hoveringBarChanged);
    scheduleChromeHide(kLeaveDelay);
}

void ChromeVisibility::pulseRate()
{
    showForInput();
    m_scheduler->cancel(m_rateHideTask);
    setRatePulse(true);
    m_rateHideTask = m_scheduler->schedule(kToastDelay, [this] {
        m_rateHideTask = 0;
        setRatePulse(false);
    });
}

void ChromeVisibility::setRatePulse(bool on)
{
    if (m_ratePulse == on)
        return;
    m_ratePulse = on;
    emit ratePulseChanged();
}
