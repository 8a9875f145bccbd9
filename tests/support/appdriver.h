#pragma once

#include <QHash>
#include <QImage>
#include <QPoint>
#include <QProcess>
#include <QRect>
#include <QRegularExpression>
#include <QStringList>
#include <QTemporaryDir>
#include <QVariant>

// Points of the player window at 800 × 600 showing asym.mp4 (1920 × 1080, grey, a red block
// over its top-left 480 × 270 pixels) fitted in rows 75 to 525, in the window's coordinates.
// RedBlock and BlueBlock are inside the fitted picture's blocks (the blue one at the bottom
// right); BesideRedBlock is grey when fitted, red once zoomed 2× about RedBlock; UpperRight is
// 200 points right of and 100 above the centre; AbovePicture and BelowPicture are black, just
// outside the picture's first and last rows (PictureTop, PictureBottom); ControlBar is black
// beside the picture, the bar's fill when the chrome shows; TitleStrip is the top edge, above
// the top bar; TurnedRedBlock and TurnedBlueBlock are the blocks of the picture turned a quarter
// counter-clockwise.
inline const QHash<QString, QPoint> kPlaces{
    {"PictureCentre", {400, 300}}, {"RedBlock", {100, 131}},      {"BesideRedBlock", {290, 190}},
    {"BlueBlock", {700, 480}},     {"UpperRight", {600, 200}},    {"AbovePicture", {400, 71}},
    {"PictureTop", {400, 78}},     {"PictureBottom", {400, 521}}, {"BelowPicture", {400, 528}},
    {"ControlBar", {30, 560}},     {"TitleStrip", {300, 10}},     {"TurnedRedBlock", {250, 580}},
    {"TurnedBlueBlock", {550, 20}}};

// Drives the built lunelo binary as a user would: started with its own temporary home and XDG
// folders (so it never touches real preferences), watched through its trace log, poked with real
// X input events from xdotool at named places of its window, and looked at on the screen. Input
// and screen need X (tests/run-x.sh); under tests/run-wayland.sh only starting and tracing work.
class AppDriver {
public:
    // `home` may be shared between launches to test what survives a relaunch; a new one has the
    // introduction completed unless `firstLaunch`.
    explicit AppDriver(const QString &home = {}, bool firstLaunch = false);
    ~AppDriver() { stop(); }

    [[nodiscard]] QString home() const { return m_home; }
    // Writes a preference before the launch, as an earlier run would have left it.
    void setPreference(const QString &key, const QVariant &value);
    [[nodiscard]] QProcessEnvironment environment() const;

    bool start(const QStringList &arguments = {});
    // Waits for the process to end by itself; its exit code, or -1 on timeout or crash.
    int waitForExit(int timeoutMs = 10000);
    void stop();

    // Trace lines since start, without the prefix and time: "<event> <detail>".
    [[nodiscard]] QStringList trace() const { return m_trace; }
    [[nodiscard]] int traceCount() const { return int(m_trace.size()); }
    // Waits for a trace line matching `line` (or starting with `prefix`) at or after line `from`;
    // its index, or -1 on timeout or when the process ended.
    int waitForTrace(const QRegularExpression &line, int timeoutMs = 20000, int from = 0);
    int waitForTrace(const QString &prefix, int timeoutMs = 20000, int from = 0)
    {
        return waitForTrace(QRegularExpression('^' + QRegularExpression::escape(prefix)), timeoutMs,
                            from);
    }

    // The player window once it has faded in (0 until then). The wait is long: under the
    // sanitizers, on a busy machine, a first launch takes several seconds.
    WId window(int timeoutMs = 30000);
    [[nodiscard]] QRect windowGeometry();
    // Waits until the window's frame on the screen is `frame` (only its size when `frame` is at
    // the origin).
    bool waitForFrame(QRect frame, int timeoutMs = 10000);
    // Runs xdotool `script` ("mousemove RedBlock click 3"), each place name in it replaced by
    // that place's position on the screen; "window" by the player window.
    void act(const QString &script);
    // Whether every "<Place>=<Colour>" of `expected` shows in `image` of the window; colours:
    // Black, Grey, Red, Blue, Panel (the control bar's fill) and Checker (a one-pixel
    // checkerboard drawn at 8 screen pixels a pixel).
    [[nodiscard]] static bool looks(const QImage &image, const QString &expected);
    // Waits until `expected` shows on the screen.
    bool shows(const QString &expected, int timeoutMs = 10000);

    // Runs `command` (a program and its arguments); its standard output.
    static QString run(const QStringList &command, int timeoutMs = 10000);

private:
    void readTrace();

    QTemporaryDir m_tempHome;
    QString m_home;
    QProcess m_process;
    QStringList m_trace;
    QByteArray m_partial;
    WId m_window = 0;
};
