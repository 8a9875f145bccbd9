#pragma once

// Whether the user asked the desktop for less motion (no window animations). GUI thread.
// Linux: GNOME's org.gnome.desktop.interface enable-animations, where that schema exists.
[[nodiscard]] bool prefersReducedMotion();
