#pragma once

#include <QImage>
#include <QObject>
#include <QPoint>
#include <QProcess>
#include <QRect>
#include <QRegularExpression>
#include <QStringList>
#include <QTemporaryDir>
#include <QVariant>

namespace AppPlaces {
Q_NAMESPACE
// Points of the player window at 800 × 600 showing asym.mp4 (1920 × 1080, grey, a red block
// over its top-left 480 × 270 pixels) fitted in rows 75 to 525, in the window's coordinates.
enum class Place {
    PictureCentre,
    RedBlock,         // inside the fitted picture's red block
    BesideRedBlock,   // grey when fitted; red once zoomed 2× about RedBlock
    BlueBlock,        // inside the fitted picture's blue block, at the bottom right
    UpperRight,       // 200 points right of and 100 above the centre
    AbovePicture,     // black, just above the fitted picture
    PictureTop,       // the picture's first rows
    PictureBottom,    // its last rows
    BelowPicture,     // black, just below it
    ControlBar,       // black beside the picture; the bar's fill when the chrome shows
    TitleStrip,       // the top edge, above the top bar
    MenuButton,       // in the top bar, before the close button
    OpenMenu,         // inside the application menu when it is open
    TurnedRedBlock,   // the red block of the picture turned a quarter counter-clockwise
    TurnedBlueBlock,  // and its blue block
    SkipIntroduction, // the introduction's "Pular e só usar o player", in its 460 × 580 window
};
Q_ENUM_NS(Place)
inline constexpr QPoint kPlaces[] = {
    {400, 300}, {100, 131}, {290, 190}, {700, 480}, {600, 200}, {400, 71},  {400, 78}, {400, 521},
    {400, 528}, {30, 560},  {300, 10},  {744, 24},  {680, 100}, {250, 580}, {550, 20}, {230, 543}};
// What a place shows. Panel: the dark fill of the control bar or the menu. Checker: a
// one-pixel checkerboard drawn at 8 screen pixels a pixel, with linear filtering.
enum class Colour {
    Black,
    Grey,
    Red,
    Blue,
    Panel,
    Checker
};
Q_ENUM_NS(Colour)
} // namespace AppPlaces
using AppPlaces::Colour;
using AppPlaces::Place;

// Drives the built lunelo binary as a user would: started with its own temporary home and XDG
// folders (so it never touches real preferences), watched through its trace log, poked with real
// X input events from xdotool at named places of its window, and looked at on the screen. Input
// and screen need X (tests/run-x.sh); under tests/run-wayland.sh only starting and tracing work.
class AppDriver {
public:
    enum class Launch {
        Later, // the introduction was completed before: the player shows at once
        First, // no preferences at all
    };

    // `home` may be shared between launches to test what survives a relaunch; a new one gets
    // preferences for `launch`.
    explicit AppDriver(const QString &home = {}, Launch launch = Launch::Later);
    ~AppDriver() { stop(); }

    [[nodiscard]] QString home() const { return m_home; }
    // Turns GNOME's animations off for the next start (a keyfile in the home, never the machine's).
    void reduceMotion();
    [[nodiscard]] QString configFile() const { return m_home + "/.config/Lunelo/Lunelo.conf"; }
    // Writes a preference before the launch, as an earlier run would have left it.
    void setPreference(const QString &key, const QVariant &value);
    [[nodiscard]] QProcessEnvironment environment() const;

    bool start(const QStringList &arguments = {});
    // Waits for the process to end by itself; its exit code, or -1 on timeout or crash.
    int waitForExit(int timeoutMs = 10000);
    void stop();
    [[nodiscard]] bool isRunning() const { return m_process.state() != QProcess::NotRunning; }
    [[nodiscard]] qint64 processId() const { return m_process.processId(); }

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
    void resizeWindow(int width, int height)
    {
        xdotool({"windowsize", QString::number(window()), QString::number(width),
                 QString::number(height)});
        (void)waitForFrame(QRect(0, 0, width, height), 5000);
    }
    // Raises the player window and gives it the keyboard.
    void activate() { xdotool({"windowactivate", "--sync", QString::number(window())}); }
    [[nodiscard]] static QPoint point(Place place) { return AppPlaces::kPlaces[int(place)]; }
    // Runs xdotool `script` ("mousemove RedBlock click 3"), each place name in it replaced by
    // that place's position on the screen.
    void act(const QString &script);
    void click(QPoint inWindow, int button = 1);
    [[nodiscard]] QImage grabWindow();
    // Whether every "<Place>=<Colour>" of `expected` shows in `image` of the window.
    [[nodiscard]] static bool looks(const QImage &image, const QString &expected);
    // Waits until `expected` shows on the screen.
    bool shows(const QString &expected, int timeoutMs = 10000);

    // Runs xdotool with `arguments`; its standard output.
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
