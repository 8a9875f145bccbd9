#include "picturesurface.h"

#include "pictureframe.h"

#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QQuickWindow>
#include <QSGRenderNode>

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

namespace {

// The picture in the scene graph. Render thread: created, drawn and destroyed there, with the
// scene's OpenGL context current. It draws into the framebuffer the scene is being drawn into
// (the window's own, or a grab's), so the engine renders once per frame and nothing is copied.
class PictureNode final : public QSGRenderNode {
public:
    PictureNode(QQuickWindow *window, std::unique_ptr<VideoRenderer> video)
        : m_video(std::move(video))
    {
        // The window's swap puts what render() drew on screen.
        if (m_video && window)
            m_swapped = QObject::connect(
                window, &QQuickWindow::frameSwapped, window, [this] { m_video->frameSwapped(); },
                Qt::DirectConnection);
    }
    ~PictureNode() override { QObject::disconnect(m_swapped); }

    [[nodiscard]] bool hasVideo() const { return m_video != nullptr; }
    void setRect(const QRectF &rect) { m_rect = rect; }
    // The framebuffer's size in device pixels: the window's.
    void setTargetSize(QSize size) { m_targetSize = size; }

    void render(const RenderState *) override
    {
        if (!m_video)
            return;
        GLint framebuffer = 0;
        QOpenGLContext::currentContext()->functions()->glGetIntegerv(GL_DRAW_FRAMEBUFFER_BINDING,
                                                                     &framebuffer);
        m_video->render(unsigned(framebuffer), m_targetSize);
    }

    // The engine sets whatever OpenGL state it needs and leaves it so.
    [[nodiscard]] StateFlags changedStates() const override
    {
        return DepthState | StencilState | ScissorState | ColorState | BlendState | CullState |
               ViewportState | RenderTargetState;
    }
    [[nodiscard]] RenderingFlags flags() const override { return BoundedRectRendering; }
    [[nodiscard]] QRectF rect() const override { return m_rect; }

private:
    std::unique_ptr<VideoRenderer> m_video;
    QMetaObject::Connection m_swapped;
    QRectF m_rect;
    QSize m_targetSize;
};

} // namespace

PictureSurface::PictureSurface(QQuickItem *parent)
    : QQuickItem(parent)
    , m_link(std::make_shared<SurfaceLink>())
{
    m_link->item = this;
    setFlag(ItemHasContents);
}

PictureSurface::~PictureSurface()
{
    m_link->detach();
}

QSGNode *PictureSurface::updatePaintNode(QSGNode *old, UpdatePaintNodeData *)
{
    auto *node = static_cast<PictureNode *>(old);
    if ((!node || !node->hasVideo()) && m_player) {
        // The renderer is made once, for the player this surface was made for.
        delete node;
        node = new PictureNode(
            window(), m_player->createVideoRenderer([link = m_link] { link->requestUpdate(); }));
    } else if (!node) {
        node = new PictureNode(window(), nullptr);
    }
    node->setRect(boundingRect());
    if (const QQuickWindow *w = window())
        node->setTargetSize((QSizeF(w->size()) * w->effectiveDevicePixelRatio()).toSize());
    return node;
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
    QQuickItem::geometryChange(newGeometry, oldGeometry);
    if (newGeometry.size() != oldGeometry.size()) {
        layoutPlayer();
        update();
    }
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
