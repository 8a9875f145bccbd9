#include "mpvrenderer.h"

#include "mpvcore.h"
#include "trace.h"

#include <QOpenGLContext>

#include <mpv/client.h>
#include <mpv/render_gl.h>

#include <atomic>

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

    [[nodiscard]] bool hasUpdate() const override
    {
        return !m_context || m_updates.load() != m_renderedUpdates;
    }

    void render(unsigned fbo, QSize pixelSize) override
    {
        if (!m_context)
            return;
        m_renderedUpdates = m_updates.load();
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
            m_hasDrawnPicture = true;
        if (newPicture)
            m_core->pictures.drew();
    }

    [[nodiscard]] bool hasDrawnPicture() const override { return m_hasDrawnPicture; }

    void frameSwapped() override
    {
        if (Trace::enabled())
            m_core->pictures.swapped();
    }

private:
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
    bool m_hasDrawnPicture = false;
};

} // namespace

std::unique_ptr<VideoRenderer> createMpvRenderer(std::shared_ptr<MpvCore> core,
                                                 WindowSystem::NativeDisplay display,
                                                 std::function<void()> frameReady)
{
    return std::make_unique<MpvVideoRenderer>(std::move(core), display, std::move(frameReady));
}
