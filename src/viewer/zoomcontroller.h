#pragma once

#include "zoomstate.h"

#include <QObject>
#include <QPointF>
#include <QPointer>
#include <QSizeF>
#include <QVariantAnimation>
#include <QtQml/qqmlregistration.h>

#include "commands.h"

// The player view's zoom handlers: turns pinches, smart zooms, pans and the zoom commands into
// zoom states for the picture. `zoom` is the state the handlers work from; `presented` is what
// the picture shows, which follows `zoom` at once except during the
// two eased transitions (smart zoom, reset). GUI thread only.
class ZoomController : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QSizeF viewSize READ viewSize WRITE setViewSize NOTIFY viewSizeChanged FINAL)
    Q_PROPERTY(QSizeF videoSize READ videoSize WRITE setVideoSize NOTIFY videoSizeChanged FINAL)
    Q_PROPERTY(QSizeF fittedSize READ fittedSize NOTIFY fittedSizeChanged FINAL)
    Q_PROPERTY(ZoomState zoom READ zoom NOTIFY zoomChanged FINAL)
    Q_PROPERTY(ZoomState presented READ presented NOTIFY presentedChanged FINAL)
    Q_PROPERTY(QPointF cursor READ cursor WRITE setCursor NOTIFY cursorChanged FINAL)
    // The command hub whose zoom commands this controller follows while it exists.
    Q_PROPERTY(Commands *commands READ commands WRITE setCommands NOTIFY commandsChanged FINAL)

public:
    static constexpr int kSmartZoomMs = 200;
    static constexpr int kResetMs = 180;

    explicit ZoomController(QObject *parent = nullptr);

    [[nodiscard]] QSizeF viewSize() const { return m_viewSize; }
    void setViewSize(QSizeF size);
    [[nodiscard]] QSizeF videoSize() const { return m_videoSize; }
    void setVideoSize(QSizeF size);
    [[nodiscard]] QSizeF fittedSize() const { return m_fitted; }
    [[nodiscard]] ZoomState zoom() const { return m_zoom; }
    [[nodiscard]] ZoomState presented() const { return m_presented; }
    [[nodiscard]] QPointF cursor() const { return m_cursor; }
    void setCursor(QPointF location);
    [[nodiscard]] Commands *commands() const { return m_commands; }
    void setCommands(Commands *commands);

    // One pinch step: `delta` is the incremental magnification, about `location`.
    Q_INVOKABLE void magnify(double delta, QPointF location, bool ended);
    Q_INVOKABLE void pan(QSizeF delta, bool ended);
    // Between the fitted picture and 2× about `location`, eased.
    Q_INVOKABLE void smartZoom(QPointF location);
    // One step in or out, about the last pointer position (the centre before there is one).
    Q_INVOKABLE void zoomIn();
    Q_INVOKABLE void zoomOut();
    // Back to the fitted picture, eased; or at once (a new video).
    Q_INVOKABLE void reset();
    Q_INVOKABLE void resetImmediately();

signals:
    void viewSizeChanged();
    void videoSizeChanged();
    void fittedSizeChanged();
    void zoomChanged();
    void presentedChanged();
    void cursorChanged();
    void commandsChanged();
    // A gesture the chrome should answer by showing itself (pinch steps, smart zoom).
    void chromeRequested();

private:
    void updateFitted();
    void zoomBy(double factor);
    // Makes `zoom` the state, shown at once or eased over `durationMs`.
    void setZoom(const ZoomState &zoom, int durationMs = 0);
    void setPresented(const ZoomState &presented);

    QSizeF m_viewSize{0, 0};
    QSizeF m_videoSize{0, 0};
    QSizeF m_fitted{0, 0};
    ZoomState m_zoom;
    ZoomState m_presented;
    ZoomState m_animationFrom;
    QPointF m_cursor{0, 0};
    QPointer<Commands> m_commands;
    QMetaObject::Connection m_commandConnection;
    QVariantAnimation m_animation;
};
