#pragma once

#include "diskjobs.h"

#include <QPointer>

#include <deque>

// A disk that answers when the test says so: every job waits until the test runs it, and its
// result is delivered at once.
class HeldDiskJobs final : public DiskJobs {
public:
    void start(QObject *receiver, std::function<std::function<void()>()> job) override
    {
        m_held.push_back({receiver, std::move(job)});
    }
    // Runs the oldest job waiting, and then those it started, until none waits.
    void runAll()
    {
        while (!m_held.empty()) {
            auto [receiver, job] = std::move(m_held.front());
            m_held.pop_front();
            if (const std::function<void()> then = job(); receiver)
                then();
        }
    }

private:
    std::deque<std::pair<QPointer<QObject>, std::function<std::function<void()>()>>> m_held;
};
