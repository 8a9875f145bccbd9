#pragma once

#include <QElapsedTimer>
#include <QPointF>
#include <QQuickItem>
#include <QSizeF>
#include <QtQml/qqmlregistration.h>

#include <functional>
#include <optional>

// A transparent input item laid exactly over the picture. It reduces pointer, touchpad, wheel
// and key events to nine plain signals and decides nothing itself: the player view connects
// the handlers. Its keys are those the key table (keytable.h) gives it. Locations are in the item's
// coordinates (points, origin top-left). An event whose signal has no handler is swallowed all the
// same.
//
// Linux conventions: Ctrl + wheel (or a touchpad's pinch, where the desktop reports one) zooms
// about the pointer; a plain wheel or two-finger scroll pans; the right button asks for smart
// zoom. GUI thread only.
class GestureCatcher : public QQuickItem {
    Q_OBJECT
    QML_ELEMENT
    // The height of the band along the top edge where a drag moves the window instead of
    // panning, as a title bar would; clicks there are clicks all the same. Points; 0 for none.
    Q_PROPERTY(double titleStrip READ titleStrip WRITE setTitleStrip NOTIFY titleStripChanged FINAL)

public:
    // Movement beyond this between two drag events, on either axis, makes a press a drag.
    static constexpr double kDragThreshold = 1.0;
    // A press released sooner than this without dragging is a click.
    static constexpr double kClickSeconds = 0.4;
    // Ctrl + wheel: magnification per wheel notch (120 eighths of a degree).
    static constexpr double kZoomPerNotch = 0.1;
    // A wheel notch without pixel deltas pans three lines of 20 points, as Qt scrolls views.
    static constexpr double kPanPerNotch = 60.0;

    explicit GestureCatcher(QQuickItem *parent = nullptr);

    [[nodiscard]] double titleStrip() const { return m_titleStrip; }
    void setTitleStrip(double height);

    // The clock of click timing, in seconds; replaceable for tests.
    void setClock(std::function<double()> clock) { m_clock = std::move(clock); }

signals:
    void magnify(double delta, QPointF location, bool ended);
    void cursorMoved(QPointF location);
    void pan(QSizeF delta, bool ended);
    void clicked();
    void smartZoom(QPointF location);
    void escapePressed();
    void fullscreenPressed();
    void rateStep(int step);
    void skip(double seconds);
    // A drag began in the title strip: the window should follow the pointer.
    void titleDragged();
    void titleStripChanged();

protected:
    bool event(QEvent *event) override;
    void itemChange(ItemChange change, const ItemChangeData &value) override;
    void hoverEnterEvent(QHoverEvent *event) override;
    void hoverMoveEvent(QHoverEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void mouseUngrabEvent() override;
    void wheelEvent(QWheelEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

private:
    void enterWindow();
    void nativeGesture(class QNativeGestureEvent *event);
    void press(QPointF location);
    // Ends the current press, ending its pan if it dragged.
    void endPress();
    [[nodiscard]] double now() const;

    std::function<double()> m_clock;
    QElapsedTimer m_uptime;
    double m_titleStrip = 0;
    std::optional<QPointF> m_lastDrag;
    bool m_didDrag = false;
    bool m_isMovingWindow = false; // the press became a drag of the window
    double m_mouseDownTime = 0;
    // Left presses in quick succession at one place: 1 for a single click, 2 for the second
    // press of a double click, and so on.
    int m_clickCount = 0;
    QPointF m_pressLocation;
};
