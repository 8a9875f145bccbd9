#pragma once

#include <QMetaType>
#include <QPointF>
#include <QSizeF>
#include <QString>
#include <QtQml/qqmlregistration.h>

// The picture's zoom: `scale` relative to the fitted picture (1 to 16) and `offset`, the
// displacement of the picture's centre from the view's centre in points (positive right and
// down). A plain value; the player view holds the current one and never persists it.
struct ZoomState {
    Q_GADGET
    QML_VALUE_TYPE(zoomState)
    Q_PROPERTY(double scale MEMBER scale FINAL)
    Q_PROPERTY(QSizeF offset MEMBER offset FINAL)
    Q_PROPERTY(QString percentLabel READ percentLabel FINAL)
    Q_PROPERTY(bool zoomedIn READ isZoomedIn FINAL)

public:
    static constexpr double kMinScale = 1.0;
    static constexpr double kMaxScale = 16.0;
    static constexpr double kZoomInStep = 1.25;
    static constexpr double kZoomOutStep = 0.8;
    static constexpr double kSmartZoomScale = 2.0;
    // Above this the picture counts as magnified: pans apply, smart zoom goes back.
    static constexpr double kZoomedInThreshold = 1.001;
    // Rescales smaller than this leave the offset alone.
    static constexpr double kNoChangeTolerance = 0.0001;

    double scale = 1.0;
    QSizeF offset{0, 0};

    // Bounds the offset for the current scale in a view of `view` points showing a picture
    // fitted to `fitted` points: the magnified picture moves only as far as its edge reaches the
    // view's edge, stays centred on an axis where it does not overflow, and at scale 1 is always
    // centred. Never changes the scale.
    void clamp(QSizeF view, QSizeF fitted);

    // The scale as a whole percentage, halves away from zero: "100%", "113%", "1600%".
    [[nodiscard]] QString percentLabel() const;

    [[nodiscard]] bool isZoomedIn() const { return scale > kZoomedInThreshold; }

    // Rescales to `newScale` keeping the picture point under `anchor` (view coordinates, origin
    // top-left) where it is, then clamps.
    [[nodiscard]] ZoomState rescaled(double newScale, QPointF anchor, QSizeF view,
                                     QSizeF fitted) const;

    friend bool operator==(const ZoomState &a, const ZoomState &b)
    {
        return a.scale == b.scale && a.offset.width() == b.offset.width() &&
               a.offset.height() == b.offset.height();
    }
};

Q_DECLARE_METATYPE(ZoomState)
