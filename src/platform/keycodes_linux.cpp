// X11 and Wayland both report xkb key codes: the kernel's evdev code plus 8. evdev codes name
// positions of a PC keyboard, the same on every layout.
#include "keycodes.h"

#include <QKeyEvent>

#include <array>
#include <utility>

namespace KeyCodes {
namespace {

constexpr unsigned kXkbOffset = 8;

// evdev code → position.
constexpr std::pair<unsigned, int> kEvdev[] = {
    {1, Escape},       {2, Digit1},       {3, Digit2},
    {4, Digit3},       {5, Digit4},       {6, Digit5},
    {7, Digit6},       {8, Digit7},       {9, Digit8},
    {10, Digit9},      {11, Digit0},      {12, Minus},
    {13, Equal},       {14, Backspace},   {15, Tab},
    {16, Q},           {17, W},           {18, E},
    {19, R},           {20, T},           {21, Y},
    {22, U},           {23, I},           {24, O},
    {25, P},           {26, LeftBracket}, {27, RightBracket},
    {28, Return},      {30, A},           {31, S},
    {32, D},           {33, F},           {34, G},
    {35, H},           {36, J},           {37, K},
    {38, L},           {39, Semicolon},   {40, Quote},
    {41, Grave},       {43, Backslash},   {44, Z},
    {45, X},           {46, C},           {47, V},
    {48, B},           {49, N},           {50, M},
    {51, Comma},       {52, Period},      {53, Slash},
    {57, Space},       {103, UpArrow},    {105, LeftArrow},
    {106, RightArrow}, {108, DownArrow},
};

// Qt key → position, for events without a scan code.
constexpr std::pair<int, int> kQtKeys[] = {
    {Qt::Key_A, A},
    {Qt::Key_B, B},
    {Qt::Key_C, C},
    {Qt::Key_D, D},
    {Qt::Key_E, E},
    {Qt::Key_F, F},
    {Qt::Key_G, G},
    {Qt::Key_H, H},
    {Qt::Key_I, I},
    {Qt::Key_J, J},
    {Qt::Key_K, K},
    {Qt::Key_L, L},
    {Qt::Key_M, M},
    {Qt::Key_N, N},
    {Qt::Key_O, O},
    {Qt::Key_P, P},
    {Qt::Key_Q, Q},
    {Qt::Key_R, R},
    {Qt::Key_S, S},
    {Qt::Key_T, T},
    {Qt::Key_U, U},
    {Qt::Key_V, V},
    {Qt::Key_W, W},
    {Qt::Key_X, X},
    {Qt::Key_Y, Y},
    {Qt::Key_Z, Z},
    {Qt::Key_0, Digit0},
    {Qt::Key_1, Digit1},
    {Qt::Key_2, Digit2},
    {Qt::Key_3, Digit3},
    {Qt::Key_4, Digit4},
    {Qt::Key_5, Digit5},
    {Qt::Key_6, Digit6},
    {Qt::Key_7, Digit7},
    {Qt::Key_8, Digit8},
    {Qt::Key_9, Digit9},
    {Qt::Key_Minus, Minus},
    {Qt::Key_Equal, Equal},
    {Qt::Key_Plus, Equal},
    {Qt::Key_Comma, Comma},
    {Qt::Key_Period, Period},
    {Qt::Key_Slash, Slash},
    {Qt::Key_Space, Space},
    {Qt::Key_Escape, Escape},
    {Qt::Key_Return, Return},
    {Qt::Key_Tab, Tab},
    {Qt::Key_Backspace, Backspace},
    {Qt::Key_Left, LeftArrow},
    {Qt::Key_Right, RightArrow},
    {Qt::Key_Down, DownArrow},
    {Qt::Key_Up, UpArrow},
};

} // namespace

int fromNativeScanCode(unsigned scanCode)
{
    if (scanCode < kXkbOffset)
        return Unknown;
    const unsigned evdev = scanCode - kXkbOffset;
    for (const auto &[code, position] : kEvdev) {
        if (code == evdev)
            return position;
    }
    return Unknown;
}

int fromEvent(const QKeyEvent &event)
{
    if (event.nativeScanCode() != 0)
        return fromNativeScanCode(event.nativeScanCode());
    for (const auto &[key, position] : kQtKeys) {
        if (key == event.key())
            return position;
    }
    return Unknown;
}

} // namespace KeyCodes
