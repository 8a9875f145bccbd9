#pragma once

// What the desktop's window system tells the application about its windows and lets it do with
// them, and the display connection they live on. GUI thread, once the application object exists.
// X11: windows have positions the application reads and chooses, and an opacity that a
// compositing manager honours (without one the window simply stays opaque). Wayland: the
// compositor places windows and tells no client where; there is no window opacity.
namespace WindowSystem {

// The connection to the display server, for libraries that draw into the application's windows
// (libmpv: hardware decoders hand their frames to OpenGL through it). Owned by Qt, valid while the
// application object lives.
struct NativeDisplay {
    enum class Kind {
        None,    // offscreen, or a platform whose display nothing else can use
        X11,     // handle: the Xlib Display
        Wayland, // handle: the wl_display
    };
    Kind kind = Kind::None;
    void *handle = nullptr;
};
[[nodiscard]] NativeDisplay nativeDisplay();

// Whether the application knows where its windows are and can place them (not on Wayland).
[[nodiscard]] bool hasWindowPositions();
// Whether a window's opacity can change (not on Wayland, where Qt would only warn).
[[nodiscard]] bool hasWindowOpacity();

} // namespace WindowSystem
