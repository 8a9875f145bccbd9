// When the chrome shows and hides, on a clock the test moves.
#include "chromevisibility.h"
#include "commands.h"
#include "testsupport.h"

#include <QTest>
#include <QThread>

#include <map>

namespace {

// A scheduler on a clock the test moves: tasks run when `advance` passes their time, in order.
class ManualScheduler final : public TaskScheduler {
public:
    double now = 0;

    TaskId schedule(double seconds, std::function<void()> task) override
    {
        m_tasks[{now + seconds, ++m_lastId}] = std::move(task);
        return m_lastId;
    }
    void cancel(TaskId id) override
    {
        std::erase_if(m_tasks, [id](const auto &task) { return task.first.second == id; });
    }
    void advance(double seconds)
    {
        const double until = now + seconds;
        while (!m_tasks.empty() && m_tasks.begin()->first.first <= until + 1e-9) {
            auto task = m_tasks.extract(m_tasks.begin());
            now = task.key().first;
            task.mapped()();
        }
        now = until;
    }

private:
    std::map<std::pair<double, TaskId>, std::function<void()>> m_tasks;
    TaskId m_lastId = 0;
};

} // namespace

class TestChromeVisibility : public QObject {
    Q_OBJECT

private slots:
    // The player appears at 0 s; the pointer far from the bottom band (y 504 … 600).
    void visibility_data()
    {
        const auto row = textColumns("script", "changes");
        row("input shows it for 1.1 s, one timer", "+0.3 input +0.3 input +5", "hidden~@1.7");
        row("the band holds it", "near300,550 +30 near320,560 near300,300 +1", "hidden~@30.14");
        row("top edge of the band", "near10,504 +5", "");
        row("just above", "near10,503.99 +5", "hidden~@1.1");
        row("not a number", "nearnan,550 +5", "hidden~@1.1");
        row("hovering the bar holds it, leaving the view lets go",
            "+2 bar1 +10 near300,580 leave +1", "hidden~@1.1 shown~@2 hidden~@12.14");
        row("the popover holds it", "volume1 +5 volume0 +1", "hidden~@5.35");
        row("the popover alone switches the bars at once", "+2 volume1 +1 volume0",
            "hidden~@1.1 shown@2 hidden@3");
        row("the toast outlasts the last nudge", "nudge +0.5 nudge +5",
            "toast@0 hidden~@1.6 notoast@1.6");
        row("zoom commands leave it alone", "+2 zoom +5", "hidden~@1.1");
    }

    void visibility()
    {
        QFETCH(QString, script);
        QFETCH(QString, changes);
        const auto clock = std::make_shared<ManualScheduler>();
        Commands commands;
        ChromeVisibility chrome;
        chrome.setScheduler(clock);
        chrome.setCommands(&commands);
        chrome.showForInput();
        QStringList log;
        const auto at = [&] { return '@' + QString::number(clock->now); };
        connect(&chrome, &ChromeVisibility::chromeVisibleChanged, this, [&] {
            log << (chrome.chromeVisible() ? "shown" : "hidden") +
                       QString(chrome.fading() ? "~" : "") + at();
        });
        connect(&chrome, &ChromeVisibility::ratePulseChanged, this,
                [&] { log << (chrome.ratePulse() ? "toast" : "notoast") + at(); });
        for (const QString &step : script.split(' ')) {
            if (step.startsWith('+'))
                clock->advance(step.mid(1).toDouble());
            else if (step == "input")
                chrome.showForInput();
            else if (const QStringList n = step.mid(4).split(','); step.startsWith("near"))
                chrome.updateBarProximity(QPointF(n[0].toDouble(), n.value(1).toDouble()), 600);
            else if (step.startsWith("bar"))
                chrome.setHoveringBar(step.endsWith('1'));
            else if (step.startsWith("volume"))
                chrome.setShowVolume(step.endsWith('1'));
            else if (step == "leave")
                chrome.pointerLeftView();
            else if (step == "nudge")
                commands.post(Commands::Command::RateNudged);
            else if (step == "zoom")
                commands.post(Commands::Command::ZoomIn);
        }
        QCOMPARE(log.join(' '), changes);
    }

    // Qt's timers: a task cancelled once it was due, its timeout on the way, never runs.
    void cancelledTimerTasksNeverRun()
    {
        const std::shared_ptr<TaskScheduler> scheduler = TaskScheduler::system();
        int cancelledRuns = 0, keptRuns = 0;
        const TaskScheduler::TaskId cancelled = scheduler->schedule(0, [&] { ++cancelledRuns; });
        scheduler->schedule(0, [&] { ++keptRuns; });
        QThread::msleep(5);
        scheduler->cancel(cancelled);
        QTRY_COMPARE(keptRuns, 1);
        QCOMPARE(cancelledRuns, 0);
    }
};

QTEST_GUILESS_MAIN(TestChromeVisibility)
#include "tst_chromevisibility.moc"
