#include "taskscheduler.h"

#include <QTimer>

#include <unordered_map>

namespace {

class TimerScheduler final : public TaskScheduler {
public:
    TaskId schedule(double seconds, std::function<void()> task) override
    {
        const TaskId id = ++m_lastId;
        auto *timer = new QTimer;
        timer->setSingleShot(true);
        timer->setTimerType(Qt::PreciseTimer);
        QObject::connect(timer, &QTimer::timeout, timer, [this, id, task = std::move(task)] {
            // A timeout already queued when the task was cancelled still arrives: it is gone.
            if (finish(id))
                task();
        });
        m_timers.emplace(id, timer);
        timer->start(int(std::lround(seconds * 1000.0)));
        return id;
    }

    void cancel(TaskId id) override { finish(id); }

    ~TimerScheduler() override
    {
        for (auto &[id, timer] : m_timers)
            delete timer;
    }

private:
    // Stops the task's timer and forgets it; false when it ran or was cancelled already.
    bool finish(TaskId id)
    {
        const auto it = m_timers.find(id);
        if (it == m_timers.end())
            return false;
        it->second->stop();
        it->second->deleteLater();
        m_timers.erase(it);
        return true;
    }

    TaskId m_lastId = 0;
    std::unordered_map<TaskId, QTimer *> m_timers;
};

} // namespace

std::shared_ptr<TaskScheduler> TaskScheduler::system()
{
    return std::make_shared<TimerScheduler>();
}
