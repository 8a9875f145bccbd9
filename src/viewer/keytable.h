#pragma once

#include "keycodes.h"

#include <Qt>

#include <algorithm>
#include <iterator>

// The one table of what each key does, and where it is decided. Keys go by position (KeyCodes).
//
// - No modifier, or Shift: the application's key router takes every key of the table, ahead of
//   the focused view and of every shortcut, unless the introduction is shown, a modal window or
//   the application menu is open. Held down, a repeatable key acts again with every auto-repeat;
//   the others act once and their repeats are swallowed.
// - Alt or Super (the Mac's Option and Control): the router lets the key through, and the
//   player's gesture catcher acts on the keys marked for it, once per press, never on a repeat.
// - Ctrl (the Mac's Command): the key belongs to the menus' shortcuts; neither of the two acts.
//
// Keys the router lets through reach the shortcuts of the menus (Ctrl+O, Ctrl++, ..., and the
// bare F of "Tela cheia", which acts while the introduction is shown) and then the focused view.
namespace KeyTable {

enum class Intent {
    SlowerRate,
    FasterRate,
    NormalRate,
    FullScreen, // never leaves full screen; Escape does
    Escape,     // leaves full screen, else asks the window to close
    ToggleRepeat,
    ToggleMute,
    TogglePlay,
    FrameBack,
    FrameForward,
    SkipBack,
    SkipForward,
    PreviousVideo,
    NextVideo,
};

struct Binding {
    int key;
    Intent intent;
    bool isRepeatable; // the router acts on its auto-repeats too
    bool isCatcherKey; // the gesture catcher acts on it (with Alt or Super held)
};

inline constexpr Binding kBindings[] = {
    // key               intent                 repeatable  catcher
    {KeyCodes::S, Intent::SlowerRate, false, true},
    {KeyCodes::D, Intent::FasterRate, false, true},
    {KeyCodes::F, Intent::FullScreen, false, true},
    {KeyCodes::B, Intent::ToggleRepeat, false, false},
    {KeyCodes::R, Intent::NormalRate, false, true},
    {KeyCodes::P, Intent::PreviousVideo, false, false},
    {KeyCodes::Comma, Intent::FrameBack, true, false},
    {KeyCodes::N, Intent::NextVideo, false, false},
    {KeyCodes::M, Intent::ToggleMute, false, false},
    {KeyCodes::Period, Intent::FrameForward, true, false},
    {KeyCodes::Space, Intent::TogglePlay, false, false},
    {KeyCodes::Escape, Intent::Escape, false, true},
    {KeyCodes::LeftArrow, Intent::SkipBack, true, true},
    {KeyCodes::RightArrow, Intent::SkipForward, true, true},
    {KeyCodes::DownArrow, Intent::NextVideo, false, false},
    {KeyCodes::UpArrow, Intent::PreviousVideo, false, false},
};

// With any of these held the router lets a key through. Shift, the keypad flag and AltGr do not
// count.
inline constexpr Qt::KeyboardModifiers kRouterPassesWith =
    Qt::ControlModifier | Qt::MetaModifier | Qt::AltModifier;
// With this held the catcher lets a key through, to the menus' shortcuts.
inline constexpr Qt::KeyboardModifiers kCatcherPassesWith = Qt::ControlModifier;

inline constexpr double kSkipSeconds = 10.0;

// The binding of the key at position `key`, or none.
[[nodiscard]] constexpr const Binding *find(int key)
{
    const auto *found = std::find_if(std::begin(kBindings), std::end(kBindings),
                                     [key](const Binding &b) { return b.key == key; });
    return found == std::end(kBindings) ? nullptr : found;
}

} // namespace KeyTable
