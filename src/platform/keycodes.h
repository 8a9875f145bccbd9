#pragma once

class QKeyEvent;

// Keys by their position on the keyboard, not by the character they type: the key at the
// position of the US "M" mutes on every layout. The numbers are the positions' virtual key codes
// (those of the ANSI keyboard on macOS), the key identities every key table of Lunelo uses.
namespace KeyCodes {

enum Code : int {
    Unknown = -1,
    A = 0,
    S = 1,
    D = 2,
    F = 3,
    H = 4,
    G = 5,
    Z = 6,
    X = 7,
    C = 8,
    V = 9,
    B = 11,
    Q = 12,
    W = 13,
    E = 14,
    R = 15,
    Y = 16,
    T = 17,
    Digit1 = 18,
    Digit2 = 19,
    Digit3 = 20,
    Digit4 = 21,
    Digit6 = 22,
    Digit5 = 23,
    Equal = 24,
    Digit9 = 25,
    Digit7 = 26,
    Minus = 27,
    Digit8 = 28,
    Digit0 = 29,
    RightBracket = 30,
    O = 31,
    U = 32,
    LeftBracket = 33,
    I = 34,
    P = 35,
    Return = 36,
    L = 37,
    J = 38,
    Quote = 39,
    K = 40,
    Semicolon = 41,
    Backslash = 42,
    Comma = 43,
    Slash = 44,
    N = 45,
    M = 46,
    Period = 47,
    Tab = 48,
    Space = 49,
    Grave = 50,
    Backspace = 51,
    Escape = 53,
    LeftArrow = 123,
    RightArrow = 124,
    DownArrow = 125,
    UpArrow = 126,
};

// The position of the key that `event` reports. Uses the platform's native scan code; events
// without one (synthesised by software) fall back to the key's US meaning.
[[nodiscard]] int fromEvent(const QKeyEvent &event);

// The position of a native scan code of this platform, or Unknown.
[[nodiscard]] int fromNativeScanCode(unsigned scanCode);

} // namespace KeyCodes
