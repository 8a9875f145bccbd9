#pragma once

#include <QRectF>
#include <QString>

// The rectangle text form of saved window frames: "{{x, y}, {width, height}}" in screen
// points with the origin at the bottom-left corner of the primary screen and y growing upward
// (the convention of macOS, where the form comes from). Qt's coordinates grow downward from
// the top-left corner; `flipped` converts either way.

[[nodiscard]] QString rectString(const QRectF &rect);
// Reads the numbers of the text in order, leniently: missing ones read as 0, and text that is
// no rectangle at all reads as an empty rectangle.
[[nodiscard]] QRectF rectFromString(const QString &text);
// The same rectangle measured from the other edge of a primary screen `screenHeight` high.
[[nodiscard]] QRectF flipped(const QRectF &rect, double screenHeight);
