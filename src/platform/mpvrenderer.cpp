#include "mpvrenderer.h"

#include "mpvcore.h"
#include "trace.h"

#include <QOpenGLContext>
#include <QOpenGLExtraFunctions>
#include <QOpenGLFunctions>

#include <mpv/client.h>
#include <mpv/render_gl.h>

#include <atomic>
#include <optional>

namespace {

void *glProcAddress(void *, const char *name)
{
    QOpenGLContext *context = QOpenGLContext::currentContext();
    return context ? reinterpret_cast<void *>(context->getProcAddress(name)) : nullptr;
}

// The render parameter that hands mpv the application's display connection, through which
// hardware decoders share their frames with OpenGL; the list's end where there is none.
mpv_render_param displayParameter(const WindowSystem::NativeDisplay &display)
{
    switch (display.kind) {
    case WindowSystem::NativeDisplay::Kind::X11:
        return {MPV_RENDER_PARAM_X11_DISPLAY, display.handle};
    case WindowSystem::NativeDisplay::Kind::Wayland:
        return {MPV_RENDER_PARAM_WL_DISPLAY, display.handle};
    case WindowSystem::NativeDisplay::Kind::None:
        break;
    }
    return {MPV_RENDER_PARAM_INVALID, nullptr};
}

// Draws a picture decoded by the player itself where the core would draw its own: converted to
// RGBA, uploaded, and scaled into place with a framebuffer blit (linear filtering), over black.
// Render thread, with the scene's OpenGL context current; needs OpenGL 3 or OpenGL ES 3.
class StretchDrawer {
public:
    StretchDrawer() = default;
    StretchDrawer(const StretchDrawer &) = delete;
    StretchDrawer &operator=(const StretchDrawer &) = delete;
    ~StretchDrawer()
    {
        if (!m_texture || !QOpenGLContext::currentContext())
            return;
        QOpenGLFunctions *gl = QOpenGLContext::currentContext()->functions();
        gl->glDeleteFramebuffers(1, &m_framebuffer);
        gl->glDeleteTextures(1, &m_texture);
    }

    // Returns whether `picture` is new: not the one drawn last.
    bool draw(const StretchPictureRef &picture, unsigned fbo, QSize pixelSize, const QRectF &rect)
    {
        const bool isNew = picture != m_uploaded;
        QOpenGLExtraFunctions *gl = QOpenGLContext::currentContext()->extraFunctions();
        gl->glBindFramebuffer(GL_FRAMEBUFFER, fbo);
        gl->glDisable(GL_SCISSOR_TEST);
        gl->glClearColor(0, 0, 0, 1);
        gl->glClear(GL_COLOR_BUFFER_BIT);
        if (!upload(picture))
            return isNew;
        gl->glBindFramebuffer(GL_READ_FRAMEBUFFER, m_framebuffer);
        gl->glBindFramebuffer(GL_DRAW_FRAMEBUFFER, fbo);
        // The texture's first row is the picture's top; the framebuffer's first row its bottom.
        const int h = pixelSize.height();
        gl->glBlitFramebuffer(0, 0, m_size.width(), m_size.height(), qRound(rect.left()),
                              h - qRound(rect.top()), qRound(rect.right()),
                              h - qRound(rect.bottom()), GL_COLOR_BUFFER_BIT, GL_LINEAR);
        gl->glBindFramebuffer(GL_FRAMEBUFFER, fbo);
        return isNew;
    }

private:
    bool upload(const StretchPictureRef &picture)
    {
        if (picture == m_uploaded)
            return m_isValid;
        m_uploaded = picture;
        const uint8_t *rgba = m_converter.convert(*picture);
        m_isValid = rgba != nullptr;
        if (!rgba)
            return false;
        QOpenGLFunctions *gl = QOpenGLContext::currentContext()->functions();
        if (!m_texture) {
            gl->glGenTextures(1, &m_texture);
            gl->glGenFramebuffers(1, &m_framebuffer);
        }
        gl->glBindTexture(GL_TEXTURE_2D, m_texture);
        gl->glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
        if (picture->size() != m_size) {
            m_size = picture->size();
            gl->glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, m_size.width(), m_size.height(), 0,
                             GL_RGBA, GL_UNSIGNED_BYTE, rgba);
            gl->glBindFramebuffer(GL_FRAMEBUFFER, m_framebuffer);
            gl->glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D,
                                       m_texture, 0);
        } else {
            gl->glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, m_size.width(), m_size.height(), GL_RGBA,
                                GL_UNSIGNED_BYTE, rgba);
        }
        gl->glBindTexture(GL_TEXTURE_2D, 0);
        return true;
    }

    PictureConverter m_converter;
    StretchPictureRef m_uploaded;
    bool m_isValid = false;
    GLuint m_texture = 0;
    GLuint m_framebuffer = 0;
    QSize m_size;
};

class MpvVideoRenderer final : public VideoRenderer {
public:
    MpvVideoRenderer(std::shared_ptr<MpvCore> core, WindowSystem::NativeDisplay display,
                     std::function<void()> frameReady)
        : m_core(std::move(core))
        , m_display(display)
        , m_frameReady(std::move(frameReady))
    {
        create();
    }

    ~MpvVideoRenderer() override
    {
        if (m_context) {
            mpv_render_context_set_update_callback(m_context, nullptr, nullptr);
            mpv_render_context_free(m_context);
        }
    }

    [[nodiscard]] bool hasUpdate(const QRectF &picture) const override
    {
        return !m_context || m_updates.load() != m_renderedUpdates ||
               shownChanges() != m_renderedShown || (m_stretch && picture != m_stretchRect);
    }

    void render(unsigned fbo, QSize pixelSize, const QRectF &picture) override
    {
        if (!m_context)
            return;
        m_renderedShown = shownChanges();
        StretchPictureRef shown = m_core->shown.picture();
        if (!shown && !m_coreHasDrawn)
            shown = m_core->opening.picture();
        const bool coreUpdate = m_updates.load() != m_renderedUpdates;
        m_renderedUpdates = m_updates.load();
        // The core draws whenever it asks to, even under a picture of our own: its video output
        // waits for its frames to be drawn.
        if (!shown || coreUpdate)
            renderCore(fbo, pixelSize);
        // The core's first picture replaces the opening one for good.
        if (m_coreHasDrawn && m_core->opening.picture()) {
            m_core->opening.show(nullptr);
            m_renderedShown = shownChanges();
            shown = m_core->shown.picture();
        }
        m_stretchRect = picture;
        if (shown) {
            if (!m_stretch)
                m_stretch.emplace();
            if (m_stretch->draw(shown, fbo, pixelSize, picture) && Trace::enabled())
                m_core->pictures.drew();
        } else {
            // Its texture and buffers hold a picture's worth of memory each.
            m_stretch.reset();
        }
    }

    [[nodiscard]] bool hasDrawnPicture() const override
    {
        return m_coreHasDrawn || m_stretch.has_value();
    }

    void renderCore(unsigned fbo, QSize pixelSize)
    {
        const uint64_t flags = mpv_render_context_update(m_context);
        const bool newPicture =
            (flags & MPV_RENDER_UPDATE_FRAME) && Trace::enabled() && isNewPicture();
        mpv_opengl_fbo target{int(fbo), pixelSize.width(), pixelSize.height(), 0};
        int flipY = 1; // OpenGL's orientation: the first row at the bottom
        mpv_render_param params[] = {
            {MPV_RENDER_PARAM_OPENGL_FBO, &target},
            {MPV_RENDER_PARAM_FLIP_Y, &flipY},
            {MPV_RENDER_PARAM_INVALID, nullptr},
        };
        mpv_render_context_render(m_context, params);
        if (flags & MPV_RENDER_UPDATE_FRAME)
            m_coreHasDrawn = true;
        if (newPicture)
            m_core->pictures.drew();
    }

    void frameSwapped() override
    {
        if (Trace::enabled())
            m_core->pictures.swapped();
    }

private:
    [[nodiscard]] uint64_t shownChanges() const
    {
        return m_core->shown.changes() + m_core->opening.changes();
    }

    // Whether the frame that waits is a picture not drawn before (not a redraw of the last one).
    bool isNewPicture()
    {
        mpv_render_frame_info info{};
        mpv_render_param param{MPV_RENDER_PARAM_NEXT_FRAME_INFO, &info};
        if (mpv_render_context_get_info(m_context, param) < 0)
            return false;
        return (info.flags & MPV_RENDER_FRAME_INFO_PRESENT) &&
               !(info.flags & MPV_RENDER_FRAME_INFO_REDRAW);
    }

    // Made at once, while the scene still prepares its first frame, so that the file loads
    // meanwhile.
    void create()
    {
        mpv_opengl_init_params gl{glProcAddress, nullptr};
        const char *api = MPV_RENDER_API_TYPE_OPENGL;
        // The display, when there is one, lets hardware decoding hand frames to OpenGL
        // without a copy; without it mpv decodes in software or copies back. (Without a
        // display its entry is the list's end.)
        mpv_render_param params[] = {
            {MPV_RENDER_PARAM_API_TYPE, const_cast<char *>(api)},
            {MPV_RENDER_PARAM_OPENGL_INIT_PARAMS, &gl},
            displayParameter(m_display),
            {MPV_RENDER_PARAM_INVALID, nullptr},
        };
        if (mpv_render_context_create(&m_context, m_core->handle, params) < 0) {
            qCWarning(lcMpv) << "could not create the video renderer";
            m_context = nullptr;
        } else {
            mpv_render_context_set_update_callback(
                m_context,
                [](void *self) {
                    auto *renderer = static_cast<MpvVideoRenderer *>(self);
                    ++renderer->m_updates;
                    renderer->m_frameReady();
                },
                this);
        }
        // Without a renderer the file still loads, and plays its sound.
        m_core->outputReady();
        const char *cmd[] = {"script-message", kVideoOutputMessage, nullptr};
        mpv_command_async(m_core->handle, 0, cmd);
    }

    std::shared_ptr<MpvCore> m_core;
    const WindowSystem::NativeDisplay m_display;
    std::function<void()> m_frameReady;
    mpv_render_context *m_context = nullptr;
    // The engine's requests for a render (any thread), and how many the last render answered.
    std::atomic<uint64_t> m_updates = 0;
    uint64_t m_renderedUpdates = 0;
    uint64_t m_renderedShown = 0;
    QRectF m_stretchRect; // where the last render put a picture of the stretch
    bool m_coreHasDrawn = false;
    std::optional<StretchDrawer> m_stretch;
};

} // namespace

std::unique_ptr<VideoRenderer> createMpvRenderer(std::shared_ptr<MpvCore> core,
                                                 WindowSystem::NativeDisplay display,
                                                 std::function<void()> frameReady)
{
    return std::make_unique<MpvVideoRenderer>(std::move(core), display, std::move(frameReady));
}
