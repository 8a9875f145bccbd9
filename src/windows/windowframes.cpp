#include "windowframes.h"

#include <algorithm>

namespace WindowFrames {

QRectF centred(QSizeF size, const QRectF &visible)
{
    return {visible.center().x() - size.width() / 2, visible.center().y() - size.height() / 2,
            size.width(), size.height()};
}

ModeGeometry introduction(const QRectF &visible)
{
    const double height = std::min(visible.height() - 48, kIntroductionHeightAtMost);
    return {centred(QSizeF(kIntroductionWidth, height), visible), kIntroductionMinimum,
            QSizeF(kIntroductionMaximumWidth, std::min(visible.height() - 24, 640.0))};
}

ModeGeometry player(const std::optional<QRectF> &saved, const QRectF &visible)
{
    QRectF frame;
    // A frame beyond the maximum size is none this window could have had: a damaged
    // preferences file, whose numbers would overflow the window system's.
    const auto restorable = [](QSizeF size) {
        return size.width() >= kPlayerMinimum.width() && size.height() >= kPlayerMinimum.height() &&
               size.width() <= kPlayerMaximum.width() && size.height() <= kPlayerMaximum.height();
    };
    if (saved && restorable(saved->size())) {
        frame = saved->intersects(visible) ? *saved : centred(saved->size(), visible);
    } else {
        frame = centred(QSizeF(kPlayerWidth, std::min(visible.height() - 48, kPlayerHeightAtMost)),
                        visible);
    }
    return {frame, kPlayerMinimum, kPlayerMaximum};
}

QRectF shrunk(const QRectF &frame)
{
    return centred(frame.size() * kFadeScale, frame);
}

} // namespace WindowFrames
