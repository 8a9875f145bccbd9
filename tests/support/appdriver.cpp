#include "appdriver.h"

#include "testsupport.h"

#include <algorithm>
#include <array>

#include <QDir>
#include <QGuiApplication>
#include <QPixmap>
#include <QScreen>
#include <QSettings>
#include <QTest>

namespace {

// Whether `image` shows `colour` at `at`: Black, Grey, Red, Blue, Panel (the dark fill of the
// control bar) or Checker (a one-pixel checkerboard drawn at 8 screen pixels a pixel).
bool looksLike(const QImage &image, QPoint at, const QString &colour)
{
    static const QHash<QString, std::array<int, 4>> kColours{
        {"Black", {0, 0, 0, 24}},
        {"Grey", {128, 128, 128, 20}},
        {"Red", {255, 0, 0, 60}},
        {"Blue", {0, 0, 255, 60}},
        {"Panel", {36, 36, 37, 24}}}; // and how far each may be off
    if (kColours.contains(colour)) {
        const auto [r, g, b, by] = kColours[colour];
        const QRgb c = image.pixel(at);
        return qAbs(qRed(c) - r) < by && qAbs(qGreen(c) - g) < by && qAbs(qBlue(c) - b) < by;
    }
    // Rows through the middle of a row of pixels alternate light and dark every 8 screen
    // pixels; a picture drawn from fewer pixels is grey there.
    for (int y = at.y(); y < at.y() + 16; ++y) {
        int contrast = 0;
        for (int x = at.x() - 100; x < at.x() + 100; ++x)
            contrast += qAbs(qGray(image.pixel(x, y)) - qGray(image.pixel(x + 8, y)));
        if (contrast > 70 * 200)
            return true;
    }
    return false;
}

} // namespace

AppDriver::AppDriver(const QString &home, bool firstLaunch)
    : m_home(home.isEmpty() ? m_tempHome.path() : home)
{
    for (const char *sub : {".config/Lunelo", ".local/share", ".cache", ".local/state", "run"})
        QDir(m_home).mkpath(QString::fromLatin1(sub));
    if (home.isEmpty() && !firstLaunch)
        setPreference(QStringLiteral("onboardingCompleted"), true);
    QFile::setPermissions(m_home + "/run", QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    m_process.setProcessChannelMode(QProcess::ForwardedOutputChannel);
    QObject::connect(&m_process, &QProcess::readyReadStandardError, [this] { readTrace(); });
}

void AppDriver::setPreference(const QString &key, const QVariant &value)
{
    QSettings(m_home + "/.config/Lunelo/Lunelo.conf", QSettings::IniFormat).setValue(key, value);
}

QProcessEnvironment AppDriver::environment() const
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    for (const QString pair :
         {"HOME=", "XDG_CONFIG_HOME=/.config", "XDG_DATA_HOME=/.local/share",
          "XDG_CACHE_HOME=/.cache", "XDG_STATE_HOME=/.local/state", "XDG_RUNTIME_DIR=/run"})
        env.insert(pair.section('=', 0, 0), m_home + pair.section('=', 1));
    env.insert(QStringLiteral("GSETTINGS_BACKEND"), QStringLiteral("keyfile"));
    env.insert(QStringLiteral("LUNELO_TRACE"), QStringLiteral("1"));
    env.remove(QStringLiteral("QT_QPA_PLATFORM"));
    return env;
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
    if (!QTest::qWaitFor([this] { return m_process.state() == QProcess::NotRunning; }, timeoutMs))
        return -1;
    readTrace();
    return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
}

void AppDriver::stop()
{
    m_process.terminate(); // nothing when it ended by itself
    if (!m_process.waitForFinished(5000))
        m_process.kill();
    m_process.waitForFinished(5000);
}

void AppDriver::readTrace()
{
    m_partial += m_process.readAllStandardError();
    for (qsizetype newline; (newline = m_partial.indexOf('\n')) >= 0;) {
        const QString line = QString::fromUtf8(m_partial.left(newline));
        m_partial.remove(0, newline + 1);
        if (line.startsWith(QLatin1String("lunelo-trace ")))
            m_trace << line.section(QLatin1Char(' '), 2); // without the prefix and the time
        else if (qEnvironmentVariableIsSet("LUNELO_TEST_VERBOSE"))
            qDebug().noquote() << "lunelo:" << line;
    }
}

int AppDriver::waitForTrace(const QRegularExpression &line, int timeoutMs, int from)
{
    int found = -1;
    (void)QTest::qWaitFor(
        [&] {
            readTrace();
            for (int i = from; i < m_trace.size() && found < 0; ++i)
                found = line.match(m_trace[i]).hasMatch() ? i : -1;
            return found >= 0 || m_process.state() == QProcess::NotRunning;
        },
        timeoutMs);
    return found;
}

QString AppDriver::run(const QStringList &command, int timeoutMs)
{
    QProcess p; // killed when it outlives the wait
    p.start(command.first(), command.mid(1));
    p.waitForFinished(timeoutMs);
    return QString::fromUtf8(p.readAllStandardOutput()).trimmed();
}

WId AppDriver::window(int timeoutMs)
{
    // Not while the window still fades in: its frame is still moving.
    if (m_window || waitForTrace(QStringLiteral("window-shown"), timeoutMs) < 0)
        return m_window;
    (void)QTest::qWaitFor(
        [&] {
            m_window = run({QStringLiteral("xdotool"), "search", "--onlyvisible", "--pid",
                            QString::number(m_process.processId())},
                           2000)
                           .section(QLatin1Char('\n'), -1)
                           .toULongLong();
            return m_window != 0;
        },
        timeoutMs);
    return m_window;
}

QRect AppDriver::windowGeometry()
{
    // xwininfo, not xdotool: xdotool reports the position of a reparented window off by its
    // window manager's title bar.
    const QString info = run({QStringLiteral("xwininfo"), "-id", QString::number(window())});
    const auto value = [&](const char *name) {
        return info.section(QLatin1String(name) + ':', 1).section('\n', 0, 0).trimmed().toInt();
    };
    return {value("Absolute upper-left X"), value("Absolute upper-left Y"), value("Width"),
            value("Height")};
}

bool AppDriver::waitForFrame(QRect frame, int timeoutMs)
{
    return window(timeoutMs) && QTest::qWaitFor(
                                    [&] {
                                        const QRect r = windowGeometry();
                                        return frame.topLeft().isNull() ? r.size() == frame.size()
                                                                        : r == frame;
                                    },
                                    timeoutMs);
}

void AppDriver::act(const QString &script)
{
    const QPoint origin = windowGeometry().topLeft();
    QStringList arguments{QStringLiteral("xdotool")};
    for (const QString &word : script.split(' ', Qt::SkipEmptyParts)) {
        const QPoint at = origin + kPlaces.value(word);
        if (kPlaces.contains(word))
            arguments << QString::number(at.x()) << QString::number(at.y());
        else
            arguments << (word == QLatin1String("window") ? QString::number(window()) : word);
    }
    run(arguments);
}

bool AppDriver::looks(const QImage &image, const QString &expected)
{
    const QStringList pairs = expected.split(' ', Qt::SkipEmptyParts);
    return std::all_of(pairs.begin(), pairs.end(), [&](const QString &pair) {
        return looksLike(image, kPlaces.value(pair.section('=', 0, 0)), pair.section('=', 1));
    });
}

bool AppDriver::shows(const QString &expected, int timeoutMs)
{
    QImage shot;
    const bool shown = QTest::qWaitFor(
        [&] {
            const QRect r = windowGeometry();
            shot = QGuiApplication::primaryScreen()
                       ->grabWindow(0, r.x(), r.y(), r.width(), r.height())
                       .toImage()
                       .convertToFormat(QImage::Format_RGB32);
            return looks(shot, expected);
        },
        timeoutMs);
    saveShot(shot, QString(expected).replace(' ', '_'));
    return shown;
}
