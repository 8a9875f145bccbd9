#include "picturesurface.h"

#include "pictureframe.h"

#include <QOpenGLContext>
#include <QOpenGLExtraFunctions>
#include <QOpenGLFunctions>
#include <QQuickWindow>
#include <QSGRenderNode>

#include <mutex>
#include <utility>

// Lets the engine ask for a redraw from any thread for as long as the item lives.
struct SurfaceLink {
    std::mutex mutex;
    PictureSurface *item = nullptr;

    void requestUpdate()
    {
        std::lock_guard lock(mutex);
        if (item)
            QMetaObject::invokeMethod(item, &QQuickItem::update, Qt::QueuedConnection);
    }
    void pictureShown()
    {
        std::lock_guard lock(mutex);
        if (item)
            QMetaObject::invokeMethod(item, &PictureSurface::pictureShown, Qt::QueuedConnection);
    }
    void detach()
    {
        std::lock_guard lock(mutex);
        item = nullptr;
    }
};

namespace {

// A copy of the picture as the engine last drew it, for the frames in which only the scene over
// it changes (the controls fading over a paused video): copying the picture back costs a
// fraction of having the engine draw it anew. Render thread, with the scene's OpenGL context
// current; needs framebuffer blits (OpenGL 3, OpenGL ES 3) and a single-sampled framebuffer.
class KeptPicture {
public:
    KeptPicture(const KeptPicture &) = delete;
    KeptPicture &operator=(const KeptPicture &) = delete;
    KeptPicture() = default;
    ~KeptPicture() { release(); }

    [[nodiscard]] bool holds(QSize size) const { return m_valid && m_size == size; }
    void drop() { m_valid = false; }

    // Copies what `framebuffer` of `size` pixels shows now.
    void keep(GLuint framebuffer, QSize size)
    {
        m_valid = prepare(framebuffer, size);
        if (m_valid)
            blit(framebuffer, m_framebuffer, size);
    }

    void restore(GLuint framebuffer) const { blit(m_framebuffer, framebuffer, m_size); }

    void release()
    {
        m_valid = false;
        if (!m_texture || !QOpenGLContext::currentContext())
            return;
        QOpenGLFunctions *gl = QOpenGLContext::currentContext()->functions();
        gl->glDeleteFramebuffers(1, &m_framebuffer);
        gl->glDeleteTextures(1, &m_texture);
        m_framebuffer = m_texture = 0;
    }

private:
    static bool canBlit(GLuint framebuffer)
    {
        const QOpenGLContext *context = QOpenGLContext::currentContext();
        if (context->format().majorVersion() < 3)
            return false;
        GLint samples = 0;
        context->functions()->glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
        context->functions()->glGetIntegerv(GL_SAMPLE_BUFFERS, &samples);
        return samples == 0;
    }

    bool prepare(GLuint framebuffer, QSize size)
    {
        if (m_texture && m_size == size)
            return true;
        release();
        if (!canBlit(framebuffer))
            return false;
        QOpenGLFunctions *gl = QOpenGLContext::currentContext()->functions();
        gl->glGenTextures(1, &m_texture);
        gl->glBindTexture(GL_TEXTURE_2D, m_texture);
        gl->glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, size.width(), size.height(), 0, GL_RGBA,
                         GL_UNSIGNED_BYTE, nullptr);
        gl->glBindTexture(GL_TEXTURE_2D, 0);
        gl->glGenFramebuffers(1, &m_framebuffer);
        gl->glBindFramebuffer(GL_FRAMEBUFFER, m_framebuffer);
        gl->glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, m_texture,
                                   0);
        const bool complete =
            gl->glCheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE;
        gl->glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
        m_size = size;
        if (!complete)
            release();
        return complete;
    }

    static void blit(GLuint from, GLuint to, QSize size)
    {
        QOpenGLExtraFunctions *gl = QOpenGLContext::currentContext()->extraFunctions();
        gl->glDisable(GL_SCISSOR_TEST);
        gl->glBindFramebuffer(GL_READ_FRAMEBUFFER, from);
        gl->glBindFramebuffer(GL_DRAW_FRAMEBUFFER, to);
        gl->glBlitFramebuffer(0, 0, size.width(), size.height(), 0, 0, size.width(), size.height(),
                              GL_COLOR_BUFFER_BIT, GL_NEAREST);
    }

    GLuint m_texture = 0;
    GLuint m_framebuffer = 0;
    QSize m_size;
    bool m_valid = false;
};

// The picture in the scene graph. Render thread: created, drawn and destroyed there, with the
// scene's OpenGL context current. It draws into the framebuffer the scene is being drawn into
// (the window's own, or a grab's), so the engine renders once per frame and nothing is copied.
class PictureNode final : public QSGRenderNode {
public:
    PictureNode(QQuickWindow *window, std::unique_ptr<VideoRenderer> video,
                std::shared_ptr<SurfaceLink> link)
        : m_video(std::move(video))
    {
        // The window's swap puts what render() drew on screen.
        if (m_video && window)
            m_swapped = QObject::connect(
                window, &QQuickWindow::frameSwapped, window,
                [this, link = std::move(link)] {
                    m_video->frameSwapped();
                    if (!m_didShowPicture && m_video->hasDrawnPicture()) {
                        m_didShowPicture = true;
                        link->pictureShown();
                    }
                },
                Qt::DirectConnection);
    }
    ~PictureNode() override { QObject::disconnect(m_swapped); }

    [[nodiscard]] bool hasVideo() const { return m_video != nullptr; }
    void setRect(const QRectF &rect) { m_rect = rect; }
    // The framebuffer's size in device pixels: the window's.
    void setTargetSize(QSize size) { m_targetSize = size; }
    // Where the picture lies in that framebuffer, in device pixels.
    void setPictureRect(const QRectF &rect) { m_pictureRect = rect; }
    void setPaused(bool paused) { m_paused = paused; }

    void render(const RenderState *) override
    {
        if (!m_video)
            return;
        GLint framebuffer = 0;
        QOpenGLContext::currentContext()->functions()->glGetIntegerv(GL_DRAW_FRAMEBUFFER_BINDING,
                                                                     &framebuffer);
        const bool same = !m_video->hasUpdate(m_pictureRect);
        if (same && m_kept.holds(m_targetSize)) {
            m_kept.restore(GLuint(framebuffer));
            return;
        }
        m_video->render(unsigned(framebuffer), m_targetSize, m_pictureRect);
        // A copy pays when frames without a new picture are likely to follow: while paused,
        // or once the same picture was drawn twice in a row. Else a new picture drops it. The
        // window's first frame goes without: the first picture shows sooner.
        if (same || (m_paused && std::exchange(m_hasRendered, true)))
            m_kept.keep(GLuint(framebuffer), m_targetSize);
        else
            m_kept.drop();
    }

    void releaseResources() override { m_kept.release(); }

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
    QRectF m_pictureRect;
    bool m_paused = false;
    bool m_didShowPicture = false;
    bool m_hasRendered = false;
    KeptPicture m_kept;
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
        // The renderer is made once, for the player this surface was made for, at the scene's
        // first synchronisation: the engine may load the file while the rest of that first
        // frame is drawn.
        delete node;
        node = new PictureNode(
            window(), m_player->createVideoRenderer([link = m_link] { link->requestUpdate(); }),
            m_link);
    } else if (!node) {
        node = new PictureNode(window(), nullptr, m_link);
    }
    node->setRect(boundingRect());
    node->setPaused(!m_player || m_player->rate() == 0.0f);
    if (const QQuickWindow *w = window()) {
        const qreal ratio = w->effectiveDevicePixelRatio();
        node->setTargetSize((QSizeF(w->size()) * ratio).toSize());
        const QRectF shown = mapRectToScene(m_pictureRect);
        node->setPictureRect(QRectF(shown.topLeft() * ratio, shown.size() * ratio));
    }
    return node;
}

void PictureSurface::pictureShown()
{
    if (std::exchange(m_showsPicture, true))
        return;
    emit showsPictureChanged();
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

void PictureSurface::setZoom(const ZoomState &zoom)
{
    if (m_zoom.scale == zoom.scale && m_zoom.offset == zoom.offset)
        return;
    m_zoom = zoom;
    emit zoomChanged();
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
    const QRectF frame = pictureFrame(bounds, m_videoSize, m_zoom.scale, m_zoom.offset);
    if (frame != m_pictureRect) {
        m_pictureRect = frame;
        emit pictureRectChanged();
    }
    if (m_player) {
        const VideoZoom zoom = videoZoom(bounds, m_videoSize, m_zoom.scale, m_zoom.offset);
        m_player->setVideoZoom(zoom.scale, zoom.panX, zoom.panY);
    }
}
