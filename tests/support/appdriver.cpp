#include "appdriver.h"

#include <QDir>
#include <QGuiApplication>
#include <QPixmap>
#include <QScreen>
#include <QSettings>
#include <QTest>

namespace {

// Whether the tests run on a Wayland compositor (tests/run-wayland.sh) rather than X.
bool isWayland()
{
    return qEnvironmentVariableIsSet("WAYLAND_DISPLAY");
}

// What tests/run-wayland.sh has Weston show where no window is.
constexpr QRgb kWestonBackground = 0xff133757;

// The compositor's whole output, as weston-screenshooter saves it into its working folder.
QImage westonScreenshot()
{
    QTemporaryDir folder;
    QProcess shooter;
    shooter.setWorkingDirectory(folder.path());
    shooter.start(QStringLiteral("weston-screenshooter"), QStringList());
    if (!shooter.waitForFinished(10000))
        return {};
    const QStringList shots = QDir(folder.path()).entryList({QStringLiteral("*.png")});
    return shots.isEmpty()
               ? QImage()
               : QImage(folder.filePath(shots.first())).convertToFormat(QImage::Format_RGB32);
}

// The bounding box of what is not the background: the one window there is.
QRect windowIn(const QImage &screen)
{
    QRect box;
    for (int y = 0; y < screen.height(); ++y) {
        const auto *line = reinterpret_cast<const QRgb *>(screen.constScanLine(y));
        for (int x = 0; x < screen.width(); ++x) {
            if ((line[x] | 0xff000000) == kWestonBackground)
                continue;
            int last = screen.width() - 1;
            while ((line[last] | 0xff000000) == kWestonBackground)
                --last;
            box |= QRect(x, y, last - x + 1, 1);
            break;
        }
    }
    return box;
}

} // namespace

AppDriver::AppDriver(const QString &home, Launch launch)
    : m_home(home.isEmpty() ? m_tempHome.path() : home)
{
    for (const char *sub : {".config/Lunelo", ".local/share", ".cache", ".local/state", "run"})
        QDir(m_home).mkpath(QString::fromLatin1(sub));
    if (home.isEmpty() && launch == Launch::Later) {
        QFile config(configFile());
        if (config.open(QIODevice::WriteOnly))
            config.write("[General]\nonboardingCompleted=true\n");
    }
    QFile::setPermissions(m_home + QStringLiteral("/run"),
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    m_process.setProcessChannelMode(QProcess::ForwardedOutputChannel);
    QObject::connect(&m_process, &QProcess::readyReadStandardError, [this] { readTrace(); });
}

AppDriver::~AppDriver()
{
    stop();
}

QString AppDriver::configFile() const
{
    return m_home + QStringLiteral("/.config/Lunelo/Lunelo.conf");
}

void AppDriver::setPreference(const QString &key, const QVariant &value)
{
    QSettings(configFile(), QSettings::IniFormat).setValue(key, value);
}

QProcessEnvironment AppDriver::environment() const
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("HOME"), m_home);
    env.insert(QStringLiteral("XDG_CONFIG_HOME"), m_home + QStringLiteral("/.config"));
    env.insert(QStringLiteral("XDG_DATA_HOME"), m_home + QStringLiteral("/.local/share"));
    env.insert(QStringLiteral("XDG_CACHE_HOME"), m_home + QStringLiteral("/.cache"));
    env.insert(QStringLiteral("XDG_STATE_HOME"), m_home + QStringLiteral("/.local/state"));
    env.insert(QStringLiteral("XDG_RUNTIME_DIR"), m_home + QStringLiteral("/run"));
    env.insert(QStringLiteral("GSETTINGS_BACKEND"), QStringLiteral("keyfile"));
    env.insert(QStringLiteral("LUNELO_TRACE"), QStringLiteral("1"));
    env.remove(QStringLiteral("QT_QPA_PLATFORM"));
    return env;
}

void AppDriver::reduceMotion()
{
    const QString folder = m_home + QStringLiteral("/.config/glib-2.0/settings");
    QDir().mkpath(folder);
    QFile keyfile(folder + QStringLiteral("/keyfile"));
    if (keyfile.open(QIODevice::WriteOnly))
        keyfile.write("[org/gnome/desktop/interface]\nenable-animations=false\n");
}

bool AppDriver::start(const QStringList &arguments)
{
    m_trace.clear();
    m_partial.clear();
    m_window = 0;
    m_process.setProcessEnvironment(environment());
    m_process.start(QString::fromLocal8Bit(qgetenv("LUNELO_BINARY")), arguments);
    return m_process.waitForStarted(10000);
}

int AppDriver::waitForExit(int timeoutMs)
{
    if (m_process.state() != QProcess::NotRunning &&
        !QTest::qWaitFor([this] { return m_process.state() == QProcess::NotRunning; }, timeoutMs))
        return -1;
    readTrace();
    return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
}

void AppDriver::stop()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.terminate();
    if (!m_process.waitForFinished(5000)) {
        m_process.kill();
        m_process.waitForFinished(5000);
    }
}

bool AppDriver::isRunning() const
{
    return m_process.state() != QProcess::NotRunning;
}

void AppDriver::readTrace()
{
    m_partial += m_process.readAllStandardError();
    qsizetype newline;
    while ((newline = m_partial.indexOf('\n')) >= 0) {
        const QString line = QString::fromUtf8(m_partial.left(newline));
        m_partial.remove(0, newline + 1);
        static const QString prefix = QStringLiteral("lunelo-trace ");
        if (!line.startsWith(prefix)) {
            if (qEnvironmentVariableIsSet("LUNELO_TEST_VERBOSE"))
                qDebug().noquote() << "lunelo:" << line;
            continue;
        }
        // Drop the prefix and the timestamp.
        const qsizetype space = line.indexOf(QLatin1Char(' '), prefix.size());
        m_trace << line.mid(space + 1);
    }
}

int AppDriver::waitForTrace(const QString &prefix, int timeoutMs, int from)
{
    int found = -1;
    (void)QTest::qWaitFor(
        [&] {
            readTrace();
            for (int i = from; i < m_trace.size(); ++i) {
                if (m_trace[i].startsWith(prefix)) {
                    found = i;
                    return true;
                }
            }
            return !isRunning();
        },
        timeoutMs);
    return found;
}

QString AppDriver::xdotool(const QStringList &arguments, int timeoutMs)
{
    QProcess p;
    p.start(QStringLiteral("xdotool"), arguments);
    if (!p.waitForFinished(timeoutMs)) {
        p.kill();
        p.waitForFinished();
        return {};
    }
    return QString::fromUtf8(p.readAllStandardOutput()).trimmed();
}

WId AppDriver::window(int timeoutMs)
{
    if (m_window)
        return m_window;
    // Not while the window still fades in: its frame is still moving.
    if (waitForTrace(QStringLiteral("window-shown"), timeoutMs) < 0)
        return 0;
    (void)QTest::qWaitFor(
        [&] {
            const QString out =
                xdotool({QStringLiteral("search"), QStringLiteral("--onlyvisible"),
                         QStringLiteral("--pid"), QString::number(m_process.processId())},
                        2000);
            const QStringList ids = out.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
            if (!ids.isEmpty())
                m_window = ids.last().toULongLong();
            return m_window != 0;
        },
        timeoutMs);
    return m_window;
}

QRect AppDriver::windowGeometry()
{
    if (isWayland())
        return windowIn(westonScreenshot());
    // xwininfo, not xdotool: xdotool reports the position of a reparented window off by its
    // window manager's title bar.
    QProcess p;
    p.start(QStringLiteral("xwininfo"), {QStringLiteral("-id"), QString::number(window())});
    p.waitForFinished(5000);
    QHash<QString, int> values;
    for (const QString &line : QString::fromUtf8(p.readAllStandardOutput()).split('\n')) {
        const qsizetype colon = line.lastIndexOf(QLatin1Char(':'));
        if (colon > 0)
            values.insert(line.left(colon).trimmed(), line.mid(colon + 1).trimmed().toInt());
    }
    return {values.value(QStringLiteral("Absolute upper-left X")),
            values.value(QStringLiteral("Absolute upper-left Y")),
            values.value(QStringLiteral("Width")), values.value(QStringLiteral("Height"))};
}

bool AppDriver::waitForWindowSize(QSize size, int timeoutMs)
{
    if (waitForTrace(QStringLiteral("window-shown"), timeoutMs) < 0 ||
        (!isWayland() && !window(timeoutMs)))
        return false;
    return QTest::qWaitFor([&] { return windowGeometry().size() == size; }, timeoutMs);
}

void AppDriver::resizeWindow(int width, int height)
{
    xdotool({QStringLiteral("windowsize"), QString::number(window()), QString::number(width),
             QString::number(height)});
    (void)QTest::qWaitFor([&] { return windowGeometry().size() == QSize(width, height); }, 5000);
}

void AppDriver::activate()
{
    xdotool(
        {QStringLiteral("windowactivate"), QStringLiteral("--sync"), QString::number(window())});
}

void AppDriver::click(QPoint inWindow, int button)
{
    const QPoint origin = windowGeometry().topLeft();
    xdotool({QStringLiteral("mousemove"), QString::number(origin.x() + inWindow.x()),
             QString::number(origin.y() + inWindow.y()), QStringLiteral("click"),
             QString::number(button)});
}

QImage AppDriver::grabWindow()
{
    if (isWayland()) {
        const QImage screen = westonScreenshot();
        return screen.copy(windowIn(screen));
    }
    const QRect r = windowGeometry();
    return QGuiApplication::primaryScreen()
        ->grabWindow(0, r.x(), r.y(), r.width(), r.height())
        .toImage()
        .convertToFormat(QImage::Format_RGB32);
}
