#include "diskjobs.h"

#include <QMetaObject>
#include <QPointer>
#include <QThreadPool>

#include <mutex>

namespace {

// How long the end of the process waits for jobs still running; one that is stuck on the file
// system may never return, and the process must end anyway.
constexpr int kExitWaitMs = 2000;

class PooledDiskJobs final : public DiskJobs {
public:
    PooledDiskJobs()
    {
        m_relay->home = &m_home;
        m_pool->setMaxThreadCount(32);
        m_pool->setExpiryTimeout(10000);
    }

    ~PooledDiskJobs() override
    {
        {
            std::lock_guard lock(m_relay->mutex);
            m_relay->home = nullptr;
        }
        // Jobs stuck for good keep the pool; nothing reaches it any more.
        if (!m_pool->waitForDone(kExitWaitMs))
            (void)m_pool.release();
    }

    void start(QObject *receiver, std::function<std::function<void()>()> job) override
    {
        QPointer<QObject> guard(receiver);
        m_pool->start([relay = m_relay, guard, job = std::move(job)] {
            std::function<void()> then = job();
            // Under the lock, so that the home cannot go while the result is posted to it.
            std::lock_guard lock(relay->mutex);
            if (!relay->home)
                return;
            QMetaObject::invokeMethod(
                relay->home,
                [guard, then = std::move(then)] {
                    if (guard)
                        then();
                },
                Qt::QueuedConnection);
        });
    }

private:
    // Where results go: an object on the GUI thread that lives as long as this, which the
    // threads reach only under the lock.
    struct Relay {
        std::mutex mutex;
        QObject *home = nullptr;
    };

    QObject m_home;
    std::shared_ptr<Relay> m_relay = std::make_shared<Relay>();
    std::unique_ptr<QThreadPool> m_pool = std::make_unique<QThreadPool>();
};

class InlineDiskJobs final : public DiskJobs {
public:
    void start(QObject *receiver, std::function<std::function<void()>()> job) override
    {
        QPointer<QObject> guard(receiver);
        std::function<void()> then = job();
        if (guard)
            then();
    }
};

} // namespace

DiskJobs &inlineDiskJobs()
{
    static InlineDiskJobs jobs;
    return jobs;
}

std::unique_ptr<DiskJobs> createDiskJobs()
{
    return std::make_unique<PooledDiskJobs>();
}
