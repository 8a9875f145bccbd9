#include "picturesurface.h"

#include "pictureframe.h"

#include <QOpenGLContext>
#include <QOpenGLFramebufferObject>
#include <QOpenGLFunctions>
#include <QQuickWindow>

#include <mutex>

// Lets the engine ask for a redraw from any thread for as long as the item lives.
struct SurfaceLink {
    std::mutex mutex;
    QQuickItem *item = nullptr;

    void requestUpdate()
    {
        std::lock_guard lock(mutex);
        if (item)
            QMetaObject::invokeMethod(item, &QQuickItem::update, Qt::QueuedConnection);
    }
    void detach()
    {
        std::lock_guard lock(mutex);
        item = nullptr;
    }
};

// Render thread. Created and synchronised while the GUI thread waits.
class SurfaceRenderer final : public QQuickFramebufferObject::Renderer {
public:
    ~SurfaceRenderer() override { QObject::disconnect(m_swapped); }

    void synchronize(QQuickFramebufferObject *item) override
    {
        auto *surface = static_cast<PictureSurface *>(item);
        if (m_video || !surface->m_player)
            return;
        m_video = surface->m_player->createVideoRenderer(
            [link = surface->m_link] { link->requestUpdate(); });
        if (m_video && item->window())
            m_swapped = QObject::connect(
                item->window(), &QQuickWindow::frameSwapped, item->window(),
                [this] { m_video->frameSwapped(); }, Qt::DirectConnection);
    }

    void render() override
    {
        QOpenGLFramebufferObject *fbo = framebufferObject();
        if (m_video) {
            m_video->render(fbo->handle(), fbo->size());
            return;
        }
        QOpenGLFunctions *gl = QOpenGLContext::currentContext()->functions();
        gl->glClearColor(0, 0, 0, 0);
        gl->glClear(GL_COLOR_BUFFER_BIT);
    }

    QOpenGLFramebufferObject *createFramebufferObject(const QSize &size) override
    {
        return new QOpenGLFramebufferObject(size);
    }

private:
    std::unique_ptr<VideoRenderer> m_video;
    QMetaObject::Connection m_swapped;
};

PictureSurface::PictureSurface(QQuickItem *parent)
    : QQuickFramebufferObject(parent)
    , m_link(std::make_shared<SurfaceLink>())
{
    m_link->item = this;
    setClip(true);
}

PictureSurface::~PictureSurface()
{
    m_link->detach();
}

QQuickFramebufferObject::Renderer *PictureSurface::createRenderer() const
{
    return new SurfaceRenderer;
}

void PictureSurface::setPlayer(MediaPlayer *player)
{
    if (m_player == player)
        return;
    m_player = player;
    emit playerChanged();
    layoutPlayer();
    update();
}

void PictureSurface::setVideoSize(QSizeF size)
{
    if (m_videoSize == size)
        return;
    m_videoSize = size;
    emit videoSizeChanged();
    layoutPlayer();
}

void PictureSurface::setZoomScale(double scale)
{
    if (m_zoomScale == scale)
        return;
    m_zoomScale = scale;
    emit zoomScaleChanged();
    layoutPlayer();
}

void PictureSurface::setOffset(QSizeF offset)
{
    if (m_offset == offset)
        return;
    m_offset = offset;
    emit offsetChanged();
    layoutPlayer();
}

void PictureSurface::geometryChange(const QRectF &newGeometry, const QRectF &oldGeometry)
{
    QQuickFramebufferObject::geometryChange(newGeometry, oldGeometry);
    if (newGeometry.size() != oldGeometry.size())
        layoutPlayer();
}

void PictureSurface::layoutPlayer()
{
    const QSizeF bounds = size();
    const QRectF frame = pictureFrame(bounds, m_videoSize, m_zoomScale, m_offset);
    if (frame != m_pictureRect) {
        m_pictureRect = frame;
        emit pictureRectChanged();
    }
    if (m_player) {
        const VideoZoom zoom = videoZoom(bounds, m_videoSize, m_zoomScale, m_offset);
        m_player->setVideoZoom(zoom.scale, zoom.panX, zoom.panY);
    }
}
