#include "gesturecatcher.h"

#include "keytable.h"

#include <QCursor>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QNativeGestureEvent>
#include <QQuickWindow>
#include <QStyleHints>
#include <QWheelEvent>

#include <cmath>

GestureCatcher::GestureCatcher(QQuickItem *parent)
    : QQuickItem(parent)
{
    m_uptime.start();
    setAcceptedMouseButtons(Qt::LeftButton | Qt::RightButton);
    setAcceptHoverEvents(true);
    setActiveFocusOnTab(false);
    // Made inside a window already (not through QML): the scene change has gone by.
    if (window())
        enterWindow();
}

double GestureCatcher::now() const
{
    return m_clock ? m_clock() : double(m_uptime.nsecsElapsed()) / 1e9;
}

void GestureCatcher::itemChange(ItemChange change, const ItemChangeData &value)
{
    QQuickItem::itemChange(change, value);
    if (change == ItemSceneChange && value.window)
        enterWindow();
    // Shown again (a video opened, the introduction went away): keys come here again.
    if (change == ItemVisibleHasChanged && value.boolValue && window())
        forceActiveFocus();
}

void GestureCatcher::enterWindow()
{
    // Keys come here first, and the pointer's place is known before it moves.
    forceActiveFocus();
    emit cursorMoved(mapFromGlobal(QCursor::pos()));
}

bool GestureCatcher::event(QEvent *event)
{
    if (event->type() == QEvent::NativeGesture) {
        nativeGesture(static_cast<QNativeGestureEvent *>(event));
        return true;
    }
    return QQuickItem::event(event);
}

void GestureCatcher::nativeGesture(QNativeGestureEvent *event)
{
    event->accept();
    switch (event->gestureType()) {
    case Qt::ZoomNativeGesture:
        emit magnify(event->value(), event->position(), false);
        break;
    case Qt::EndNativeGesture:
        // The end of a pinch: no further magnification, but the picture settles.
        emit magnify(0.0, event->position(), true);
        break;
    case Qt::SmartZoomNativeGesture:
        emit smartZoom(event->position());
        break;
    default:
        break;
    }
}

void GestureCatcher::hoverEnterEvent(QHoverEvent *event)
{
    emit cursorMoved(event->position());
}

void GestureCatcher::hoverMoveEvent(QHoverEvent *event)
{
    emit cursorMoved(event->position());
}

void GestureCatcher::press(QPointF location)
{
    forceActiveFocus();
    m_lastDrag = location;
    m_didDrag = false;
    m_isMovingWindow = false;
    m_mouseDownTime = now();
}

void GestureCatcher::setTitleStrip(double height)
{
    if (m_titleStrip == height)
        return;
    m_titleStrip = height;
    emit titleStripChanged();
}

void GestureCatcher::mousePressEvent(QMouseEvent *event)
{
    event->accept();
    if (event->button() == Qt::RightButton) {
        // The desktop's own right-button menu never opens over the picture.
        emit smartZoom(event->position());
        return;
    }
    // Qt marks only the second press of a series as a double click; counted here, a third
    // quick press is no single click either.
    const QStyleHints *hints = QGuiApplication::styleHints();
    const double distance = hints->mouseDoubleClickDistance();
    const QPointF moved = event->position() - m_pressLocation;
    const bool inSeries = now() - m_mouseDownTime < hints->mouseDoubleClickInterval() / 1000.0 &&
                          std::abs(moved.x()) <= distance && std::abs(moved.y()) <= distance;
    m_clickCount = inSeries ? m_clickCount + 1 : 1;
    m_pressLocation = event->position();
    press(event->position());
}

void GestureCatcher::mouseDoubleClickEvent(QMouseEvent *event)
{
    // Its press came first and was counted; a right one asked for smart zoom already.
    event->accept();
}

void GestureCatcher::mouseMoveEvent(QMouseEvent *event)
{
    event->accept();
    if (!event->buttons().testFlag(Qt::LeftButton))
        return; // only the left button drags
    const QPointF p = event->position();
    if (!m_lastDrag) {
        m_lastDrag = p;
        return;
    }
    if (m_isMovingWindow)
        return; // the window manager has the pointer
    const QPointF last = *m_lastDrag;
    // Compared with the previous drag event, not with the press: a slow creep never drags.
    if (std::abs(p.x() - last.x()) > kDragThreshold ||
        std::abs(p.y() - last.y()) > kDragThreshold) {
        if (!m_didDrag && m_pressLocation.y() < m_titleStrip) {
            m_isMovingWindow = true;
            emit titleDragged();
            return;
        }
        m_didDrag = true;
    }
    if (m_didDrag)
        emit pan(QSizeF(p.x() - last.x(), p.y() - last.y()), false);
    m_lastDrag = p;
}

void GestureCatcher::mouseReleaseEvent(QMouseEvent *event)
{
    event->accept();
    if (event->button() != Qt::LeftButton)
        return;
    const bool isClick = !m_didDrag && !m_isMovingWindow && m_clickCount == 1 &&
                         now() - m_mouseDownTime < kClickSeconds;
    endPress();
    m_isMovingWindow = false;
    if (isClick)
        emit clicked();
}

void GestureCatcher::mouseUngrabEvent()
{
    // The press went elsewhere (the window manager took the pointer): it ends here. A move of
    // the window stays one until the next press, so that a late release is no click.
    endPress();
}

void GestureCatcher::endPress()
{
    if (m_didDrag)
        emit pan(QSizeF(0, 0), true);
    m_lastDrag.reset();
    m_didDrag = false;
}

void GestureCatcher::wheelEvent(QWheelEvent *event)
{
    event->accept();
    const bool ended = event->phase() == Qt::ScrollEnd;
    if (event->modifiers().testFlag(Qt::ControlModifier)) {
        // Ctrl + wheel is the pinch of a mouse: about 10 % a notch, about the pointer.
        const double notches = event->angleDelta().y() / 120.0;
        emit magnify(std::pow(1.0 + kZoomPerNotch, notches) - 1.0, event->position(),
                     ended || event->phase() == Qt::NoScrollPhase);
        return;
    }
    // Positive deltas move the picture right and down, with the fingers or the wheel.
    const QPointF delta = !event->pixelDelta().isNull()
                              ? QPointF(event->pixelDelta())
                              : QPointF(event->angleDelta()) / 120.0 * kPanPerNotch;
    emit pan(QSizeF(delta.x(), delta.y()), ended);
}

void GestureCatcher::keyPressEvent(QKeyEvent *event)
{
    if (event->isAutoRepeat()) {
        event->accept(); // a held key acts once here
        return;
    }
    const KeyTable::Binding *binding = KeyTable::find(KeyCodes::fromEvent(*event));
    if (!binding || !binding->isCatcherKey || event->modifiers() & KeyTable::kCatcherPassesWith) {
        event->ignore(); // to the menus' shortcuts
        return;
    }
    using KeyTable::Intent;
    switch (binding->intent) {
    case Intent::Escape:
        emit escapePressed();
        break;
    case Intent::FullScreen:
        emit fullscreenPressed();
        break;
    case Intent::SlowerRate:
        emit rateStep(-1);
        break;
    case Intent::NormalRate:
        emit rateStep(0);
        break;
    case Intent::FasterRate:
        emit rateStep(1);
        break;
    case Intent::SkipBack:
        emit skip(-KeyTable::kSkipSeconds);
        break;
    case Intent::SkipForward:
        emit skip(KeyTable::kSkipSeconds);
        break;
    default: // the router's alone
        break;
    }
    event->accept();
}
