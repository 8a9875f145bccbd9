#include "zoomcontroller.h"

#include "commands.h"
#include "pictureframe.h"
#include "trace.h"

#include <QEasingCurve>

#include <algorithm>
#include <cmath>

namespace {

ZoomState identity()
{
    return {};
}

double limited(double scale)
{
    return std::clamp(scale, ZoomState::kMinScale, ZoomState::kMaxScale);
}

// The ease-out curve of the desktop's animations: fast start, gentle landing.
QEasingCurve easeOut()
{
    QEasingCurve curve(QEasingCurve::BezierSpline);
    curve.addCubicBezierSegment(QPointF(0.0, 0.0), QPointF(0.58, 1.0), QPointF(1.0, 1.0));
    return curve;
}

ZoomState between(const ZoomState &from, const ZoomState &to, double t)
{
    ZoomState z;
    z.scale = from.scale + (to.scale - from.scale) * t;
    z.offset = from.offset + (to.offset - from.offset) * t;
    return z;
}

} // namespace

ZoomController::ZoomController(QObject *parent)
    : QObject(parent)
{
    m_animation.setStartValue(0.0);
    m_animation.setEndValue(1.0);
    m_animation.setEasingCurve(easeOut());
    connect(&m_animation, &QVariantAnimation::valueChanged, this, [this](const QVariant &t) {
        setPresented(between(m_animationFrom, m_zoom, t.toDouble()));
    });
    // Land exactly on the state, whatever the interpolation's rounding.
    connect(&m_animation, &QVariantAnimation::finished, this, [this] { setPresented(m_zoom); });
}

void ZoomController::setViewSize(QSizeF size)
{
    if (m_viewSize == size)
        return;
    m_viewSize = size;
    emit viewSizeChanged();
    updateFitted();
}

void ZoomController::setVideoSize(QSizeF size)
{
    if (m_videoSize == size)
        return;
    m_videoSize = size;
    emit videoSizeChanged();
    updateFitted();
}

void ZoomController::updateFitted()
{
    // A new size does not touch the zoom: the surface re-lays the picture with the same scale
    // and offset, and the next gesture clamps to the new bounds.
    const QSizeF fitted = ::fittedSize(m_viewSize, m_videoSize);
    if (fitted == m_fitted)
        return;
    m_fitted = fitted;
    emit fittedSizeChanged();
}

void ZoomController::setCursor(QPointF location)
{
    if (m_cursor == location)
        return;
    m_cursor = location;
    emit cursorChanged();
}

void ZoomController::setCommands(Commands *commands)
{
    if (m_commands == commands)
        return;
    disconnect(m_commandConnection);
    m_commands = commands;
    if (commands) {
        m_commandConnection =
            connect(commands, &Commands::posted, this, [this](Commands::Command command) {
                switch (command) {
                case Commands::Command::ZoomIn:
                    zoomIn();
                    break;
                case Commands::Command::ZoomOut:
                    zoomOut();
                    break;
                case Commands::Command::ZoomReset:
                    reset();
                    break;
                case Commands::Command::RequestClosePreview:
                case Commands::Command::RateNudged:
                    break;
                }
            });
    }
    emit commandsChanged();
}

void ZoomController::magnify(double delta, QPointF location, bool ended)
{
    setCursor(location);
    const double factor = 1.0 + delta;
    ZoomState next = m_zoom;
    if (factor > 0 && std::isfinite(factor))
        next = m_zoom.rescaled(limited(m_zoom.scale * factor), location, m_viewSize, m_fitted);
    if (ended)
        next.clamp(m_viewSize, m_fitted);
    setZoom(next);
    emit chromeRequested();
}

void ZoomController::pan(QSizeF delta, bool ended)
{
    ZoomState next = m_zoom;
    if (next.isZoomedIn()) {
        next.offset += delta;
        next.clamp(m_viewSize, m_fitted);
    }
    if (ended)
        next.clamp(m_viewSize, m_fitted);
    setZoom(next);
}

void ZoomController::smartZoom(QPointF location)
{
    setCursor(location);
    if (m_zoom.isZoomedIn())
        setZoom(identity(), kSmartZoomMs);
    else
        setZoom(m_zoom.rescaled(ZoomState::kSmartZoomScale, location, m_viewSize, m_fitted),
                kSmartZoomMs);
    emit chromeRequested();
}

void ZoomController::zoomIn()
{
    zoomBy(ZoomState::kZoomInStep);
}

void ZoomController::zoomOut()
{
    zoomBy(ZoomState::kZoomOutStep);
}

void ZoomController::zoomBy(double factor)
{
    // Before the pointer has ever been over the picture, the centre; (0, 0) counts as never.
    const QPointF anchor = (m_cursor.x() > 0 || m_cursor.y() > 0)
                               ? m_cursor
                               : QPointF(m_viewSize.width() * 0.5, m_viewSize.height() * 0.5);
    setZoom(m_zoom.rescaled(limited(m_zoom.scale * factor), anchor, m_viewSize, m_fitted));
}

void ZoomController::reset()
{
    setZoom(identity(), kResetMs);
}

void ZoomController::resetImmediately()
{
    setZoom(identity());
}

void ZoomController::setZoom(const ZoomState &zoom, int durationMs)
{
    m_animation.stop();
    if (!(zoom == m_zoom)) {
        m_zoom = zoom;
        Trace::event("zoom", QStringLiteral("%1 %2 %3")
                                 .arg(zoom.scale, 0, 'f', 4)
                                 .arg(zoom.offset.width(), 0, 'f', 2)
                                 .arg(zoom.offset.height(), 0, 'f', 2));
        emit zoomChanged();
    }
    if (durationMs > 0 && !(m_presented == m_zoom)) {
        m_animationFrom = m_presented;
        m_animation.setDuration(durationMs);
        m_animation.start();
    } else {
        setPresented(m_zoom);
    }
}

void ZoomController::setPresented(const ZoomState &presented)
{
    if (presented == m_presented)
        return;
    m_presented = presented;
    emit presentedChanged();
}
