#include "pictureframe.h"

#include <algorithm>

namespace {

bool usable(QSizeF size)
{
    return size.width() > 1.0 && size.height() > 1.0;
}

} // namespace

QSizeF fittedSize(QSizeF view, QSizeF video)
{
    if (!usable(view) || !usable(video))
        return {0, 0};
    const double k = std::min(view.width() / video.width(), view.height() / video.height());
    return {video.width() * k, video.height() * k};
}

QRectF pictureFrame(QSizeF bounds, QSizeF video, double scale, QSizeF offset)
{
    const QRectF whole(QPointF(0, 0), bounds);
    const QSizeF fitted = fittedSize(bounds, video);
    if (!usable(fitted))
        return whole;
    const double w = fitted.width() * scale;
    const double h = fitted.height() * scale;
    return {offset.width() + (bounds.width() - w) * 0.5,
            offset.height() + (bounds.height() - h) * 0.5, w, h};
}

VideoZoom videoZoom(QSizeF bounds, QSizeF video, double scale, QSizeF offset)
{
    if (!usable(fittedSize(bounds, video)))
        return {};
    const QRectF frame = pictureFrame(bounds, video, scale, offset);
    return {scale, offset.width() / frame.width(), offset.height() / frame.height()};
}
