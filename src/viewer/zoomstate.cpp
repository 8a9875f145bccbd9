#include "zoomstate.h"

#include <algorithm>
#include <cmath>

void ZoomState::clamp(QSizeF view, QSizeF fitted)
{
    const double w = fitted.width() * scale;
    const double h = fitted.height() * scale;
    // Half of the overflow on each axis; a negative one or not-a-number counts as none.
    const auto half = [](double overflow) { return overflow > 0 ? overflow * 0.5 : 0.0; };
    const double hx = half(w - view.width());
    const double hy = half(h - view.height());
    double ox = std::clamp(offset.width(), -hx, hx);
    double oy = std::clamp(offset.height(), -hy, hy);
    if (!(w > view.width()))
        ox = 0;
    if (!(h > view.height()))
        oy = 0;
    if (!(scale > 1.0)) {
        ox = 0;
        oy = 0;
    }
    offset = QSizeF(ox, oy);
}

QString ZoomState::percentLabel() const
{
    return QString::number(qint64(std::round(scale * 100.0))) + QLatin1Char('%');
}

ZoomState ZoomState::rescaled(double newScale, QPointF anchor, QSizeF view, QSizeF fitted) const
{
    ZoomState next = *this;
    if (std::abs(newScale - scale) > kNoChangeTolerance) {
        // The anchor stays put: the offset moves by the anchor's distance from the centre times
        // the decrease of the scale.
        const QPointF centre(view.width() * 0.5, view.height() * 0.5);
        const QPointF d = (anchor - centre) * (scale - newScale);
        next.offset = QSizeF(offset.width() + d.x(), offset.height() + d.y());
        next.scale = newScale;
    } else if (!(newScale > 1.0)) {
        next.offset = QSizeF(0, 0);
    }
    next.clamp(view, fitted);
    return next;
}
