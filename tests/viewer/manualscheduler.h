#pragma once

#include "taskscheduler.h"

#include <algorithm>
#include <vector>

// A scheduler on a clock the test moves: tasks run when `advance` passes their time, in order.
class ManualScheduler final : public TaskScheduler {
public:
    TaskId schedule(double seconds, std::function<void()> task) override
    {
        m_tasks.push_back({++m_lastId, m_now + seconds, std::move(task)});
        return m_lastId;
    }

    void cancel(TaskId id) override
    {
        std::erase_if(m_tasks, [id](const Task &t) { return t.id == id; });
    }

    void advance(double seconds)
    {
        const double until = m_now + seconds;
        for (;;) {
            auto next =
                std::min_element(m_tasks.begin(), m_tasks.end(),
                                 [](const Task &a, const Task &b) { return a.due < b.due; });
            if (next == m_tasks.end() || next->due > until + 1e-9)
                break;
            m_now = next->due;
            const std::function<void()> run = std::move(next->run);
            m_tasks.erase(next);
            run();
        }
        m_now = until;
    }

    [[nodiscard]] size_t pending() const { return m_tasks.size(); }

private:
    struct Task {
        TaskId id;
        double due;
        std::function<void()> run;
    };
    std::vector<Task> m_tasks;
    TaskId m_lastId = 0;
    double m_now = 0;
};
