#pragma once

// The ladder of playback rates a nudge climbs, one rung at a time: 0.1, 0.25, 0.5, 0.75, 0.8,
// 0.85, 0.9, 1, 1.1, 1.15, 1.2, 1.25, then every 0.25 without an upper limit. A rate off the
// ladder moves to the rung it would pass next. 32-bit floats rounded to hundredths, so that every
// rung is exactly the float its literal makes. Stateless; any thread.
namespace RateLadder {

[[nodiscard]] float nextFaster(float rate);
[[nodiscard]] float nextSlower(float rate);

} // namespace RateLadder
