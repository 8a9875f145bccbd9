#pragma once

#include <QRectF>
#include <QSizeF>

#include <optional>

// The window's frames in its two modes, in Qt's screen coordinates (points, origin top-left).
// `visible` is the usable area of the window's screen.
namespace WindowFrames {

inline constexpr QSizeF kPlayerMinimum{480, 320};
inline constexpr QSizeF kPlayerMaximum{20000, 20000};
inline constexpr double kPlayerWidth = 980;
inline constexpr double kPlayerHeightAtMost = 640;
inline constexpr QSizeF kIntroductionMinimum{420, 480};
inline constexpr double kIntroductionWidth = 460;
inline constexpr double kIntroductionHeightAtMost = 580;
inline constexpr double kIntroductionMaximumWidth = 520;
// Stands in for the visible frame when there is no screen at all.
inline constexpr QRectF kNoScreen{0, 0, 1440, 900};
// The size the window fades in from and out to, around its centre.
inline constexpr double kFadeScale = 0.97;

struct ModeGeometry {
    QRectF frame;
    QSizeF minimum;
    QSizeF maximum;
};

// The introduction: 460 wide, up to 580 high, centred.
[[nodiscard]] ModeGeometry introduction(const QRectF &visible);
// The player: the saved frame when it is at least 480 × 320 and at most 20000 × 20000 (centred
// with its size when it lies wholly outside `visible`), else 980 wide, up to 640 high, centred.
[[nodiscard]] ModeGeometry player(const std::optional<QRectF> &saved, const QRectF &visible);
// A frame of `size` centred in `visible`.
[[nodiscard]] QRectF centred(QSizeF size, const QRectF &visible);
// `frame` scaled by kFadeScale about its centre.
[[nodiscard]] QRectF shrunk(const QRectF &frame);

} // namespace WindowFrames
