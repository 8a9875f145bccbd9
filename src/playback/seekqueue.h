#pragma once

#include <functional>
#include <optional>

// The seek queue: at most one seek runs on the player and only the newest target waits, so a
// fast drag becomes a chain of quick approximate seeks that ends where the drag stopped, while
// exact requests (skips, frame steps, the release of the scrubber) go out at once. Knows nothing
// of players: it hands each seek to `send` and is told when the seek in flight completed.
// One thread; not re-entrant from `send`.
class SeekQueue {
public:
    // Sends a seek to `seconds`; exact lands on the frame, otherwise the nearest key frame.
    using Send = std::function<void(double seconds, bool exact)>;

    explicit SeekQueue(Send send)
        : m_send(std::move(send))
    {
    }

    // Asks for the playhead at `seconds`. An exact request goes out at once; an approximate one
    // waits for the seek in flight, in place of any target that waited before it.
    void seek(double seconds, bool exact);
    // Runs `drained` once, when a completion finds no target waiting; replaces an action not
    // run yet.
    void whenDrained(std::function<void()> drained) { m_drained = std::move(drained); }
    // The seek in flight, sent `exact` or not, completed: the waiting target goes out the same
    // way, or the queue has drained.
    void completed(bool exact);
    // Forgets the seek in flight, the waiting target and the drained action, unrun.
    void clear();

private:
    void issue(bool exact);
    void runDrained();

    Send m_send;
    bool m_isInFlight = false;
    std::optional<double> m_pending;
    std::function<void()> m_drained;
};
