#pragma once

#include <QObject>

#include <functional>
#include <memory>
#include <utility>

// Runs work that may block on the file system (a stalled network share, a pipe without a
// writer, a slow disk) away from the GUI thread, and hands its result back to the GUI thread.
// The GUI thread never waits for a job: a job that never returns holds up nothing but itself.
class DiskJobs {
public:
    virtual ~DiskJobs() = default;

    // Runs `job` away from the calling thread; then, on the GUI thread and from its event loop,
    // the function the job returned, unless `receiver` was destroyed by then. GUI thread only,
    // like `receiver`. The job must not touch the GUI thread's state: it works on copies, and on
    // services that allow any thread (preferences, folder access).
    virtual void start(QObject *receiver, std::function<std::function<void()>()> job) = 0;

    // `work` away from the calling thread, then `then(result of work)` as start() says.
    template<typename Work, typename Then> void run(QObject *receiver, Work work, Then then)
    {
        start(receiver,
              [work = std::move(work), then = std::move(then)]() mutable -> std::function<void()> {
                  return [result = work(), then = std::move(then)]() mutable {
                      then(std::move(result));
                  };
              });
    }
};

// Jobs that run at once, on the calling thread, results included: for tests and tools that need
// nothing else to go on meanwhile. Shared, stateless.
DiskJobs &inlineDiskJobs();

// Jobs on a pool of threads, as many as there are jobs at once (a few dozen at most): a job
// stuck on a share that stopped answering keeps its thread, and the next job gets another. On
// destruction waits a moment for running jobs, then leaves those still stuck behind.
std::unique_ptr<DiskJobs> createDiskJobs();
