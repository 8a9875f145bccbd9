#pragma once

#include <QRectF>
#include <QSizeF>

// Geometry of the picture in the player area, in points, origin top-left, y downward.

// The video fitted into the view, before any zoom: the video size scaled by the smaller of the
// two ratios (the width ratio when they are equal). 0 × 0 when either side of either size is
// 1 point or less: no video size yet, or a view too small to matter.
[[nodiscard]] QSizeF fittedSize(QSizeF view, QSizeF video);

// Where the picture lies in a surface of `bounds`: the fitted picture times `scale`, its centre
// moved from the surface's centre by `offset`. The whole bounds when the picture has no usable
// size; parts outside the bounds are clipped by the surface.
[[nodiscard]] QRectF pictureFrame(QSizeF bounds, QSizeF video, double scale, QSizeF offset);

// The same frame in the terms of a video output that fits the picture itself and then zooms and
// pans it: the magnification, and the displacement in fractions of the magnified picture.
struct VideoZoom {
    double scale = 1.0;
    double panX = 0.0;
    double panY = 0.0;
    friend bool operator==(const VideoZoom &, const VideoZoom &) = default;
};
[[nodiscard]] VideoZoom videoZoom(QSizeF bounds, QSizeF video, double scale, QSizeF offset);
