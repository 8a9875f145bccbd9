#pragma once

#include <QString>

// Event log for tests and benchmarks that watch Lunelo from outside. Off unless the environment
// variable LUNELO_TRACE is set to a non-empty value other than 0; then each event is one line on
// standard error:
//     lunelo-trace <CLOCK_MONOTONIC seconds> <event> [detail]
// A detail stays on its line: a backslash, newline or carriage return in it is written as \\,
// \n or \r (file names may hold all three). Any thread. Costs one branch when off.
namespace Trace {

[[nodiscard]] bool enabled();
void event(const char *name, const QString &detail = {});
// The clock of the log: CLOCK_MONOTONIC, in seconds.
[[nodiscard]] double now();
// An event that happened at `seconds` (from now()), logged later.
void eventAt(double seconds, const char *name, const QString &detail = {});

} // namespace Trace
