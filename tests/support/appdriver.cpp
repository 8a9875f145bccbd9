#include "appdriver.h"

#include "testsupport.h"

#include <algorithm>

#include <QDir>
#include <QGuiApplication>
#include <QMetaEnum>
#include <QPixmap>
#include <QScreen>
#include <QSettings>
#include <QTest>

namespace {

// Colours by their components and how far each may be off; Checker is checked apart.
constexpr int kColours[][4] = {
    {0, 0, 0, 24}, {128, 128, 128, 20}, {255, 0, 0, 60}, {0, 0, 255, 60}, {36, 36, 37, 24}};

bool looksLike(const QImage &image, QPoint at, Colour colour)
{
    if (colour != Colour::Checker) {
        const auto [r, g, b, by] = kColours[int(colour)];
        const QRgb c = image.pixel(at);
        return qAbs(qRed(c) - r) < by && qAbs(qGreen(c) - g) < by && qAbs(qBlue(c) - b) < by;
    }
    // Rows through the middle of a row of pixels alternate light and dark every 8 screen
    // pixels (rows between two rows of pixels average to grey); the steps between are ramps.
    for (int y = at.y(); y < at.y() + 16; ++y) {
        int contrast = 0, ramps = 0;
        for (int x = at.x() - 100; x < at.x() + 100; ++x) {
            const int v = qGray(image.pixel(x, y));
            contrast += qAbs(v - qGray(image.pixel(x + 8, y)));
            ramps += v > 60 && v < 190;
        }
        if (contrast > 70 * 200 && ramps > 40)
            return true;
    }
    return false;
}

template<typename E> E named(const QString &name)
{
    return E(QMetaEnum::fromType<E>().keyToValue(name.toLatin1().constData()));
}

} // namespace

AppDriver::AppDriver(const QString &home, Launch launch)
    : m_home(home.isEmpty() ? m_tempHome.path() : home)
{
    for (const char *sub : {".config/Lunelo", ".local/share", ".cache", ".local/state", "run"})
        QDir(m_home).mkpath(QString::fromLatin1(sub));
    if (home.isEmpty() && launch == Launch::Later)
        setPreference(QStringLiteral("onboardingCompleted"), true);
    QFile::setPermissions(m_home + "/run", QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    m_process.setProcessChannelMode(QProcess::ForwardedOutputChannel);
    QObject::connect(&m_process, &QProcess::readyReadStandardError, [this] { readTrace(); });
}

void AppDriver::setPreference(const QString &key, const QVariant &value)
{
    QSettings(configFile(), QSettings::IniFormat).setValue(key, value);
}

QProcessEnvironment AppDriver::environment() const
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    const std::pair<const char *, const char *> folders[] = {{"HOME", ""},
                                                             {"XDG_CONFIG_HOME", "/.config"},
                                                             {"XDG_DATA_HOME", "/.local/share"},
                                                             {"XDG_CACHE_HOME", "/.cache"},
                                                             {"XDG_STATE_HOME", "/.local/state"},
                                                             {"XDG_RUNTIME_DIR", "/run"}};
    for (const auto &[variable, folder] : folders)
        env.insert(QString::fromLatin1(variable), m_home + QString::fromLatin1(folder));
    env.insert(QStringLiteral("GSETTINGS_BACKEND"), QStringLiteral("keyfile"));
    env.insert(QStringLiteral("LUNELO_TRACE"), QStringLiteral("1"));
    env.remove(QStringLiteral("QT_QPA_PLATFORM"));
    return env;
}

void AppDriver::reduceMotion()
{
    QDir(m_home).mkpath(QStringLiteral(".config/glib-2.0/settings"));
    QFile keyfile(m_home + "/.config/glib-2.0/settings/keyfile");
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
    if (!QTest::qWaitFor([this] { return !isRunning(); }, timeoutMs))
        return -1;
    readTrace();
    return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
}

void AppDriver::stop()
{
    if (!isRunning())
        return;
    m_process.terminate();
    if (!m_process.waitForFinished(5000)) {
        m_process.kill();
        m_process.waitForFinished(5000);
    }
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
            return found >= 0 || !isRunning();
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
    }
    return QString::fromUtf8(p.readAllStandardOutput()).trimmed();
}

WId AppDriver::window(int timeoutMs)
{
    // Not while the window still fades in: its frame is still moving.
    if (m_window || waitForTrace(QStringLiteral("window-shown"), timeoutMs) < 0)
        return m_window;
    (void)QTest::qWaitFor(
        [&] {
            m_window = xdotool({QStringLiteral("search"), QStringLiteral("--onlyvisible"),
                                QStringLiteral("--pid"), QString::number(processId())},
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
    QProcess p;
    p.start(QStringLiteral("xwininfo"), {QStringLiteral("-id"), QString::number(window())});
    p.waitForFinished(5000);
    QHash<QString, int> values;
    for (const QString &line : QString::fromUtf8(p.readAllStandardOutput()).split('\n'))
        values.insert(line.section(':', 0, -2).trimmed(), line.section(':', -1).toInt());
    return {values.value(QStringLiteral("Absolute upper-left X")),
            values.value(QStringLiteral("Absolute upper-left Y")),
            values.value(QStringLiteral("Width")), values.value(QStringLiteral("Height"))};
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
    QStringList arguments;
    for (const QString &word : script.split(' ', Qt::SkipEmptyParts)) {
        bool isPlace = false;
        const int place = QMetaEnum::fromType<Place>().keyToValue(word.toLatin1(), &isPlace);
        const QPoint at = origin + (isPlace ? point(Place(place)) : QPoint());
        arguments << (isPlace ? QStringList{QString::number(at.x()), QString::number(at.y())}
                              : QStringList{word});
    }
    xdotool(arguments);
}

void AppDriver::click(QPoint inWindow, int button)
{
    const QPoint at = windowGeometry().topLeft() + inWindow;
    xdotool({QStringLiteral("mousemove"), QString::number(at.x()), QString::number(at.y()),
             QStringLiteral("click"), QString::number(button)});
}

QImage AppDriver::grabWindow()
{
    const QRect r = windowGeometry();
    return QGuiApplication::primaryScreen()
        ->grabWindow(0, r.x(), r.y(), r.width(), r.height())
        .toImage()
        .convertToFormat(QImage::Format_RGB32);
}

bool AppDriver::looks(const QImage &image, const QString &expected)
{
    const QStringList pairs = expected.split(' ', Qt::SkipEmptyParts);
    return std::all_of(pairs.begin(), pairs.end(), [&](const QString &pair) {
        return looksLike(image, point(named<Place>(pair.section('=', 0, 0))),
                         named<Colour>(pair.section('=', 1)));
    });
}

bool AppDriver::shows(const QString &expected, int timeoutMs)
{
    QImage shot;
    const bool shown =
        QTest::qWaitFor([&] { return looks(shot = grabWindow(), expected); }, timeoutMs);
    saveShot(shot, QString(expected).replace(' ', '_'));
    return shown;
}
