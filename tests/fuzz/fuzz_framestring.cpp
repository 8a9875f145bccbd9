// The rectangle text of saved window frames, as a damaged preferences file may hold it: any text
// reads as a rectangle of finite numbers, writing and reading it again settles after one round,
// and the player frame made from it is always one the window can take.
#include "framestring.h"
#include "fuzzcheck.h"
#include "windowframes.h"

#include <QtGlobal>

#include <cmath>
#include <cstdint>

namespace {

bool isFinite(const QRectF &r)
{
    return std::isfinite(r.x()) && std::isfinite(r.y()) && std::isfinite(r.width()) &&
           std::isfinite(r.height());
}

QString describe(const QRectF &r)
{
    return rectString(r);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    // The text as UTF-8 (how the file holds it); an odd first byte reads the rest as UTF-16.
    const auto *chars = reinterpret_cast<const char *>(data);
    const QString text = size > 0 && (data[0] & 1)
                             ? QString::fromUtf16(reinterpret_cast<const char16_t *>(data + 1),
                                                  qsizetype(size - 1) / 2)
                             : QString::fromUtf8(chars, qsizetype(size));

    const QRectF read = rectFromString(text);
    fuzzCheck(isFinite(read), "a read rectangle is finite", describe(read));

    // Twelve significant digits are written: after one round the text is stable.
    const QRectF once = rectFromString(rectString(read));
    const QRectF twice = rectFromString(rectString(once));
    fuzzCheck(once == twice, "the text form settles after one round",
              describe(once) + QLatin1String(" / ") + describe(twice));

    // The frame the player window gets from it fits the window's limits and is finite.
    const QRectF visible(0, 25, 1920, 1055);
    const QRectF frame = WindowFrames::player(flipped(read, 1080), visible).frame;
    fuzzCheck(isFinite(frame), "the player frame is finite", describe(frame));
    fuzzCheck(frame.width() >= WindowFrames::kPlayerMinimum.width() &&
                  frame.height() >= WindowFrames::kPlayerMinimum.height() &&
                  frame.width() <= WindowFrames::kPlayerMaximum.width() &&
                  frame.height() <= WindowFrames::kPlayerMaximum.height(),
              "the player frame is within the window's limits", describe(frame));
    fuzzCheck(frame.intersects(visible), "the player frame is on the screen", describe(frame));
    return 0;
}
