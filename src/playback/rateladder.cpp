#include "rateladder.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>

namespace {

// A stretch of the ladder between two rungs. With a step, a nudge moves by the step within it;
// without one, it goes straight to the rung at the far end.
struct Span {
    float low;
    float high;
    float step;
    bool isFloor; // stepping down never goes below `low` (only the open top stretch)
};

constexpr Span kLadder[] = {
    {0.1f, 0.1f, 0, false}, // everything below the lowest rung
    {0.1f, 0.25f, 0, false},
    {0.25f, 0.5f, 0, false},
    {0.5f, 0.75f, 0, false},
    {0.75f, 0.9f, 0.05f, false}, // 0.8, 0.85
    {0.9f, 1.0f, 0, false},
    {1.0f, 1.1f, 0, false},                                       // 1.05 is no rung
    {1.1f, 1.25f, 0.05f, false},                                  // 1.15, 1.2
    {1.25f, std::numeric_limits<float>::infinity(), 0.25f, true}, // 1.5, 1.75, …
};

// The first stretch that `reaches` the rate; the open top one for what reaches none (infinity,
// not a number).
template<typename Reaches> const Span &spanOf(Reaches reaches)
{
    const Span *found = std::find_if(std::begin(kLadder), std::end(kLadder), reaches);
    return found == std::end(kLadder) ? std::end(kLadder)[-1] : *found;
}

// Halves away from zero, as std::round does.
float hundredths(float rate)
{
    return std::round(rate * 100.0f) / 100.0f;
}

} // namespace

// Going up compares with less-than and going down with at-most, so a rate exactly on a rung
// moves to the next rung either way.
float RateLadder::nextFaster(float rate)
{
    const float c = hundredths(rate);
    const Span &span = spanOf([c](const Span &s) { return c < s.high; });
    return span.step > 0 ? hundredths(c + span.step) : span.high;
}

float RateLadder::nextSlower(float rate)
{
    const float c = hundredths(rate);
    const Span &span = spanOf([c](const Span &s) { return c <= s.high; });
    if (span.step == 0)
        return span.low;
    const float lower = hundredths(c - span.step);
    return span.isFloor ? std::max(lower, span.low) : lower;
}
