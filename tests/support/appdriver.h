#pragma once

#include <QImage>
#include <QProcess>
#include <QRect>
#include <QStringList>
#include <QTemporaryDir>
#include <QVariant>

// Drives the built lunelo binary as a user would: started with its own temporary home and XDG
// folders (so it never touches real preferences), watched through its trace log, poked with real
// X input events from xdotool, and looked at through screenshots of the screen. Tests that use
// it run inside tests/run-x.sh, or tests/run-wayland.sh: there the window is found and looked at
// in screenshots of the compositor's output (weston-screenshooter), and nothing can send input
// from outside (a headless Weston has no seat), so the members marked "X only" do nothing useful.
class AppDriver {
public:
    enum class Launch {
        // The introduction was completed before: the player shows at once.
        Later,
        // A first launch, with no preferences at all.
        First,
    };

    // `home` may be shared between launches to test what survives a relaunch; a new one gets
    // preferences for `launch`.
    explicit AppDriver(const QString &home = {}, Launch launch = Launch::Later);
    ~AppDriver();

    [[nodiscard]] QString home() const { return m_home; }
    // Turns GNOME's animations off (enable-animations) for the next start: the application
    // reads its settings from a keyfile in the home, never from the machine's own.
    void reduceMotion();
    [[nodiscard]] QString configFile() const; // the preferences file
    // Writes a preference before the launch, as an earlier run would have left it.
    void setPreference(const QString &key, const QVariant &value);
    [[nodiscard]] QProcessEnvironment environment() const;

    bool start(const QStringList &arguments = {});
    // Waits for the process to end by itself; its exit code, or -1 on timeout or crash.
    int waitForExit(int timeoutMs = 10000);
    void stop();
    [[nodiscard]] bool isRunning() const;
    [[nodiscard]] qint64 processId() const { return m_process.processId(); }

    // Trace lines since start, without the prefix: "<event> <detail>".
    [[nodiscard]] QStringList trace() const { return m_trace; }
    // Waits for a trace event whose line starts with `prefix`, at or after line `from`; the index
    // of the line, or -1 on timeout.
    int waitForTrace(const QString &prefix, int timeoutMs = 20000, int from = 0);
    [[nodiscard]] int traceCount() const { return int(m_trace.size()); }

    // The player window, found by the process id (0 until it is mapped). X only. The wait is
    // long: under the sanitizers, on a busy machine, a first launch takes several seconds.
    WId window(int timeoutMs = 30000);
    // Where the window is on the screen.
    [[nodiscard]] QRect windowGeometry();
    // Waits until the window has faded in and shows on the screen at `size`.
    bool waitForWindowSize(QSize size, int timeoutMs = 10000);
    // X only.
    void resizeWindow(int width, int height);
    // Raises the player window and gives it the keyboard. X only.
    void activate();
    // Moves the pointer to `inWindow`, in the window's coordinates, and clicks `button` there.
    // X only.
    void click(QPoint inWindow, int button = 1);
    // The window's content as the screen shows it.
    [[nodiscard]] QImage grabWindow();

    // Runs xdotool with `arguments`; its standard output. X only.
    static QString xdotool(const QStringList &arguments, int timeoutMs = 10000);

private:
    void readTrace();

    QTemporaryDir m_tempHome;
    QString m_home;
    QProcess m_process;
    QStringList m_trace;
    QByteArray m_partial;
    WId m_window = 0;
};
