#pragma once

#include <QtGlobal>

#include <functional>
#include <memory>

// Runs a task once after a delay unless it is cancelled first: the timers of the chrome and the
// rate toast. GUI thread only; tasks run from the event loop. Tests replace it with a scheduler
// whose clock they move themselves.
class TaskScheduler {
public:
    using TaskId = quint64;

    virtual ~TaskScheduler() = default;
    virtual TaskId schedule(double seconds, std::function<void()> task) = 0;
    // Cancelling a task that ran or was cancelled already does nothing.
    virtual void cancel(TaskId id) = 0;

    // On Qt's monotonic timers.
    static std::shared_ptr<TaskScheduler> system();
};
