#include "seekqueue.h"

#include <utility>

void SeekQueue::seek(double seconds, bool exact)
{
    m_pending = seconds;
    issue(exact);
}

void SeekQueue::completed(bool exact)
{
    m_isInFlight = false;
    if (m_pending)
        issue(exact);
    else
        runDrained();
}

void SeekQueue::clear()
{
    m_isInFlight = false;
    m_pending.reset();
    m_drained = nullptr;
}

void SeekQueue::issue(bool exact)
{
    if (m_isInFlight && !exact)
        return;
    if (!m_pending) {
        runDrained();
        return;
    }
    const double target = *std::exchange(m_pending, std::nullopt);
    m_isInFlight = true;
    m_send(target, exact);
}

void SeekQueue::runDrained()
{
    if (std::function<void()> drained = std::exchange(m_drained, nullptr))
        drained();
}
