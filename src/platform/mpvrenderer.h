#pragma once

#include "mediaengine.h"
#include "windowsystem.h"

#include <functional>
#include <memory>

struct MpvCore;

// Sent by the renderer to its own core once the render context exists, so the player learns on
// the GUI thread, in order with the core's other events, that video output can start.
inline constexpr const char *kVideoOutputMessage = "lunelo-video-output";

// Render thread, with the scene's OpenGL context current: a renderer drawing `core`'s picture
// through mpv's OpenGL render API, made at once so that the file loads while the scene prepares
// its first frame. `display` lets hardware decoders hand frames to OpenGL without a copy.
// `frameReady` is called on any thread when mpv wants a render. Without a render context the
// renderer draws nothing, and the file still loads and plays its sound.
std::unique_ptr<VideoRenderer> createMpvRenderer(std::shared_ptr<MpvCore> core,
                                                 WindowSystem::NativeDisplay display,
                                                 std::function<void()> frameReady);
