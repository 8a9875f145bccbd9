// Key positions from native scan codes: every scan code maps to a known position or to none,
// no two scan codes share a position, and an event maps as its scan code does.
#include "fuzzcheck.h"
#include "keycodes.h"

#include <QInputDevice>
#include <QKeyEvent>
#include <QSet>

#include <cstdint>
#include <cstring>

namespace {

// The positions Lunelo knows, from the enumeration.
const QSet<int> kPositions{
    KeyCodes::A,         KeyCodes::S,         KeyCodes::D,
    KeyCodes::F,         KeyCodes::H,         KeyCodes::G,
    KeyCodes::Z,         KeyCodes::X,         KeyCodes::C,
    KeyCodes::V,         KeyCodes::B,         KeyCodes::Q,
    KeyCodes::W,         KeyCodes::E,         KeyCodes::R,
    KeyCodes::Y,         KeyCodes::T,         KeyCodes::Digit1,
    KeyCodes::Digit2,    KeyCodes::Digit3,    KeyCodes::Digit4,
    KeyCodes::Digit6,    KeyCodes::Digit5,    KeyCodes::Equal,
    KeyCodes::Digit9,    KeyCodes::Digit7,    KeyCodes::Minus,
    KeyCodes::Digit8,    KeyCodes::Digit0,    KeyCodes::RightBracket,
    KeyCodes::O,         KeyCodes::U,         KeyCodes::LeftBracket,
    KeyCodes::I,         KeyCodes::P,         KeyCodes::Return,
    KeyCodes::L,         KeyCodes::J,         KeyCodes::Quote,
    KeyCodes::K,         KeyCodes::Semicolon, KeyCodes::Backslash,
    KeyCodes::Comma,     KeyCodes::Slash,     KeyCodes::N,
    KeyCodes::M,         KeyCodes::Period,    KeyCodes::Tab,
    KeyCodes::Space,     KeyCodes::Grave,     KeyCodes::Backspace,
    KeyCodes::Escape,    KeyCodes::LeftArrow, KeyCodes::RightArrow,
    KeyCodes::DownArrow, KeyCodes::UpArrow,
};

// Which scan code has each position, over every code an X server can send and some beyond.
QHash<int, unsigned> g_owner;

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    for (unsigned code = 0; code < 4096; ++code) {
        const int position = KeyCodes::fromNativeScanCode(code);
        if (position == KeyCodes::Unknown)
            continue;
        fuzzCheck(!g_owner.contains(position), "no two scan codes share a position",
                  QString::number(code));
        g_owner.insert(position, code);
    }
    fuzzCheck(g_owner.size() == kPositions.size(), "every position has a scan code");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    quint32 code = 0;
    int key = 0;
    std::memcpy(&code, data, std::min(size, sizeof code));
    if (size > sizeof code)
        std::memcpy(&key, data + sizeof code, std::min(size - sizeof code, sizeof key));

    const int position = KeyCodes::fromNativeScanCode(code);
    fuzzCheck(position == KeyCodes::Unknown || kPositions.contains(position),
              "a scan code maps to a known position or none", QString::number(code));
    if (position != KeyCodes::Unknown)
        fuzzCheck(g_owner.value(position) == code, "a position has one scan code",
                  QString::number(code));

    // An event goes by its scan code when it has one, else by its key's US meaning. It comes
    // from a keyboard of our own: without an application, Qt's default one is never freed.
    static const QInputDevice keyboard(QStringLiteral("fuzz"), 1,
                                       QInputDevice::DeviceType::Keyboard);
    const QKeyEvent event(QEvent::KeyPress, key, Qt::NoModifier, code, 0, 0, {}, false, 1,
                          &keyboard);
    const int fromEvent = KeyCodes::fromEvent(event);
    if (code != 0)
        fuzzCheck(fromEvent == position, "an event maps as its scan code does",
                  QString::number(code));
    else
        fuzzCheck(fromEvent == KeyCodes::Unknown || kPositions.contains(fromEvent),
                  "a key maps to a known position or none", QString::number(key));
    return 0;
}
