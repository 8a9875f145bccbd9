#pragma once

// The two players under test, driven from outside in the same X server: Lunelo through real X
// input events (xdotool) and its trace (LUNELO_TRACE), mpv through its JSON IPC socket. Every
// time is CLOCK_MONOTONIC in seconds, the clock of Lunelo's trace.

#include <QElapsedTimer>
#include <QJsonObject>
#include <QLocalSocket>
#include <QProcess>
#include <QRect>
#include <QString>
#include <QTemporaryDir>

#include <functional>
#include <optional>

namespace Bench {

[[nodiscard]] double now();
// Runs the event loop until `done` holds or `timeoutMs` passed; whether it holds.
bool waitUntil(const std::function<bool()> &done, int timeoutMs);
void waitFor(int ms);

// The process's CPU time so far, user and system, all threads; seconds.
[[nodiscard]] double cpuSeconds(qint64 pid);
// The process's peak resident memory so far (VmHWM); KiB.
[[nodiscard]] qint64 peakResidentKiB(qint64 pid);

// Runs xdotool with `arguments`; whether it succeeded.
bool xdotool(const QStringList &arguments);

// Frames the engine dropped: late for display, or skipped before decoding.
struct Drops {
    qint64 late = 0;
    qint64 decoder = 0;
    [[nodiscard]] qint64 total() const { return late + decoder; }
};

// The window every player gets: its content area on the screen.
inline constexpr QRect kWindow{0, 0, 1280, 720};

class Player {
public:
    enum class Op {
        SkipForward, // exact seek 10 s ahead
        SkipBack,    // exact seek 10 s back
        StepForward, // one frame ahead, paused
        StepBack,    // one frame back, paused
    };

    virtual ~Player();
    [[nodiscard]] virtual QString name() const = 0;

    // Starts the player on `file`, playing, in a window of kWindow's size.
    virtual bool start(const QString &file) = 0;
    // When the process was started, and when it showed the file's first picture (0 if not yet).
    [[nodiscard]] double startedAt() const { return m_startedAt; }
    virtual bool waitFirstFrame(int timeoutMs) = 0;
    [[nodiscard]] double firstFrameAt() const { return m_firstFrameAt; }

    virtual bool zoomTo16() = 0;
    virtual bool pause() = 0;
    // Asks for `op`, paused; when the player took the request (seconds, the clock of now()).
    virtual std::optional<double> perform(Op op) = 0;
    // Where a scrub ended: when it was released, and the exact target the player then sought.
    struct Release {
        double at = 0;
        double target = 0;
    };
    // Drags through the file from 0 to `to` seconds over `seconds`, as a scrubber would, while
    // `poll` runs as often as it can; then releases.
    virtual std::optional<Release> scrub(double to, double seconds,
                                         const std::function<void()> &poll) = 0;
    virtual std::optional<Drops> drops() = 0;

    // Where the picture of kWindow shows on screen.
    [[nodiscard]] virtual QRect contentArea();
    [[nodiscard]] qint64 pid() const { return m_process.processId(); }
    [[nodiscard]] bool isRunning() const { return m_process.state() != QProcess::NotRunning; }
    void stop();

protected:
    QProcess m_process;
    double m_startedAt = 0;
    double m_firstFrameAt = 0;
    QRect m_contentArea;
};

// Lunelo, with its own temporary home and preferences (the introduction done, the window's frame
// set to kWindow), watched through its trace.
class LuneloPlayer final : public Player {
public:
    LuneloPlayer(QString binary, QString home);
    [[nodiscard]] QString name() const override { return QStringLiteral("Lunelo"); }
    bool start(const QString &file) override;
    bool waitFirstFrame(int timeoutMs) override;
    bool zoomTo16() override;
    bool pause() override;
    std::optional<double> perform(Op op) override;
    std::optional<Release> scrub(double to, double seconds,
                                 const std::function<void()> &poll) override;
    std::optional<Drops> drops() override;
    // Presses `key` `count` times, `delayMs` apart, as a held key repeats, without waiting.
    bool pressRepeatedly(const QString &key, int count, int delayMs);

private:
    struct Event {
        double time;
        QString name;
        QString detail;
    };
    void readTrace();
    // The index of the first event named `name` at or after `from` for which `accept` holds.
    int waitEvent(const QString &name, int from, int timeoutMs,
                  const std::function<bool(const Event &)> &accept = {});
    // The first seek of `kind` traced at or after event `from`: its index.
    int waitSeek(int from, const QString &kind);

    QString m_binary;
    QString m_home;
    QByteArray m_partial;
    QList<Event> m_events;
};

// The mpv player as it comes: mpv --no-config --vo=gpu --gpu-sw --ao=null, in a window of
// kWindow's size, driven through its IPC socket.
class MpvPlayer final : public Player {
public:
    explicit MpvPlayer(QString socketFolder);
    [[nodiscard]] QString name() const override { return QStringLiteral("mpv"); }
    bool start(const QString &file) override;
    bool waitFirstFrame(int timeoutMs) override;
    bool zoomTo16() override;
    bool pause() override;
    std::optional<double> perform(Op op) override;
    std::optional<Release> scrub(double to, double seconds,
                                 const std::function<void()> &poll) override;
    std::optional<Drops> drops() override;

private:
    struct Event {
        double time;
        QJsonObject message;
    };
    bool connectIpc();
    void readIpc();
    void readOutput();
    // Sends a command; its request id.
    int send(const QJsonArray &command);
    std::optional<QJsonObject> request(const QJsonArray &command, int timeoutMs = 5000);
    int waitEvent(const QString &event, int from, int timeoutMs,
                  const std::function<bool(const QJsonObject &)> &accept = {});

    QString m_socketPath;
    QLocalSocket m_ipc;
    QByteArray m_partial;
    QList<Event> m_events;
    int m_nextRequest = 1;
};

} // namespace Bench
