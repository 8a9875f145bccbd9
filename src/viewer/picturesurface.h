#pragma once

#include "mediaengine.h"
#include "zoomstate.h"

#include <QPointer>
#include <QQuickItem>
#include <QtQml/qqmlregistration.h>

#include <memory>

struct SurfaceLink;

// Shows the picture of one player, fitted into the item and then magnified and moved by the zoom
// state. It never scales pixels itself: the engine draws the visible part of the picture at the
// window's full device resolution, with linear filtering, straight into the window's framebuffer
// as the scene graph reaches the item, so the items stacked above it are drawn over the picture
// and nothing is copied. The engine fills the whole framebuffer: the surface must cover its
// window. Every change of size, video size or zoom applies at once, without animation. Made for
// one player: a new player gets a new surface.
class PictureSurface : public QQuickItem {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(MediaPlayer *player READ player WRITE setPlayer NOTIFY playerChanged FINAL)
    Q_PROPERTY(QSizeF videoSize READ videoSize WRITE setVideoSize NOTIFY videoSizeChanged FINAL)
    // Scale and offset together, so that a change of both lays the picture out once.
    Q_PROPERTY(ZoomState zoom READ zoom WRITE setZoom NOTIFY zoomChanged FINAL)
    // Where the picture lies, in item coordinates; read-only, for tests and tools.
    Q_PROPERTY(QRectF pictureRect READ pictureRect NOTIFY pictureRectChanged FINAL)
    // Set once the window has shown a frame of the video.
    Q_PROPERTY(bool showsPicture READ showsPicture NOTIFY showsPictureChanged FINAL)

public:
    explicit PictureSurface(QQuickItem *parent = nullptr);
    ~PictureSurface() override;

    [[nodiscard]] MediaPlayer *player() const { return m_player; }
    void setPlayer(MediaPlayer *player);
    [[nodiscard]] QSizeF videoSize() const { return m_videoSize; }
    void setVideoSize(QSizeF size);
    [[nodiscard]] ZoomState zoom() const { return m_zoom; }
    void setZoom(const ZoomState &zoom);
    [[nodiscard]] QRectF pictureRect() const { return m_pictureRect; }
    [[nodiscard]] bool showsPicture() const { return m_showsPicture; }

signals:
    void playerChanged();
    void videoSizeChanged();
    void zoomChanged();
    void pictureRectChanged();
    void showsPictureChanged();

protected:
    void geometryChange(const QRectF &newGeometry, const QRectF &oldGeometry) override;
    // Render thread, while the GUI thread waits.
    QSGNode *updatePaintNode(QSGNode *node, UpdatePaintNodeData *) override;

private:
    friend struct SurfaceLink;
    void layoutPlayer();
    void pictureShown();

    QPointer<MediaPlayer> m_player;
    QSizeF m_videoSize{0, 0};
    ZoomState m_zoom;
    QRectF m_pictureRect;
    bool m_showsPicture = false;
    std::shared_ptr<SurfaceLink> m_link;
};
