// The rate ladder from any rate: a step down never goes below 0.1, a step up always goes up,
// and a walk of nudges from 1× stays on the rungs, where one step up and one down come back.
#include "fuzzcheck.h"
#include "playbacksession.h"

#include <cmath>
#include <cstdint>
#include <cstring>

namespace {

// Far above any rate a player can play (mpv's top speed is 100×); up here the ladder's steps of
// a quarter stay distinct from the rate itself in 32-bit floating point.
constexpr float kLadderTop = 10000.0f;

QString text(float rate)
{
    return QString::number(double(rate), 'g', 9);
}

bool isRung(float rate)
{
    static const float kLowRungs[] = {0.1f, 0.25f, 0.5f, 0.75f, 0.8f, 0.85f,
                                      0.9f, 1.0f,  1.1f, 1.15f, 1.2f, 1.25f};
    for (float rung : kLowRungs) {
        if (rate == rung)
            return true;
    }
    return rate > 1.25f && rate * 4.0f == std::floor(rate * 4.0f);
}

void checkStepsFrom(float rate)
{
    if (std::isnan(rate))
        return; // no rate of the session is ever NaN: setters keep it out
    const float slower = PlaybackSession::nextSlower(rate);
    fuzzCheck(slower >= 0.1f, "a step down never goes below 0.1", text(rate));
    fuzzCheck(std::round(slower * 100.0f) / 100.0f == slower || std::isinf(slower),
              "a step down lands on hundredths", text(rate));
    if (std::abs(rate) <= kLadderTop) {
        const float faster = PlaybackSession::nextFaster(rate);
        fuzzCheck(faster > rate, "a step up goes up",
                  text(rate) + QLatin1String(" → ") + text(faster));
        fuzzCheck(slower < rate || slower == 0.1f, "a step down goes down or stays at 0.1",
                  text(rate) + QLatin1String(" → ") + text(slower));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    float start = 1.0f;
    std::memcpy(&start, data, std::min(size, sizeof start));
    checkStepsFrom(start);

    // The remaining bytes walk the ladder from 1×: low bit set up, clear down; every fourth
    // byte a reset.
    float rate = 1.0f;
    for (size_t i = sizeof start; i < size; ++i) {
        if (data[i] % 4 == 3)
            rate = 1.0f;
        else
            rate =
                data[i] & 1 ? PlaybackSession::nextFaster(rate) : PlaybackSession::nextSlower(rate);
        fuzzCheck(isRung(rate), "a walk from 1× stays on the rungs", text(rate));
        checkStepsFrom(rate);
        fuzzCheck(PlaybackSession::nextSlower(PlaybackSession::nextFaster(rate)) == rate,
                  "up then down comes back", text(rate));
        if (rate != 0.1f)
            fuzzCheck(PlaybackSession::nextFaster(PlaybackSession::nextSlower(rate)) == rate,
                      "down then up comes back", text(rate));
    }
    return 0;
}
