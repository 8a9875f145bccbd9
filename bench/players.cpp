#include "players.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QThread>

#include <cmath>
#include <cstdio>
#include <ctime>
#include <unistd.h>

namespace Bench {

double now()
{
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return double(ts.tv_sec) + double(ts.tv_nsec) / 1e9;
}

bool waitUntil(const std::function<bool()> &done, int timeoutMs)
{
    QElapsedTimer timer;
    timer.start();
    while (!done()) {
        if (timer.elapsed() > timeoutMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 2);
        QThread::usleep(1000);
    }
    return true;
}

void waitFor(int ms)
{
    waitUntil([] { return false; }, ms);
}

double cpuSeconds(qint64 pid)
{
    QFile file(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!file.open(QIODevice::ReadOnly))
        return NAN;
    const QByteArray line = file.readAll();
    // After the command name in parentheses: state is field 3, utime 14 and stime 15.
    const QList<QByteArray> fields = line.mid(line.lastIndexOf(')') + 2).split(' ');
    if (fields.size() < 13)
        return NAN;
    const double ticks = double(sysconf(_SC_CLK_TCK));
    return (fields[11].toDouble() + fields[12].toDouble()) / ticks;
}

qint64 peakResidentKiB(qint64 pid)
{
    QFile file(QStringLiteral("/proc/%1/status").arg(pid));
    if (!file.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : file.readAll().split('\n')) {
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').first().toLongLong();
    }
    return -1;
}

bool xdotool(const QStringList &arguments)
{
    return QProcess::execute(QStringLiteral("xdotool"), arguments) == 0;
}

// The largest visible window of process `pid`: its content area on screen.
static QRect windowOf(qint64 pid)
{
    QProcess search;
    search.start(QStringLiteral("xdotool"),
                 {QStringLiteral("search"), QStringLiteral("--onlyvisible"),
                  QStringLiteral("--pid"), QString::number(pid)});
    search.waitForFinished(5000);
    QRect best;
    for (const QByteArray &id : search.readAllStandardOutput().split('\n')) {
        if (id.trimmed().isEmpty())
            continue;
        QProcess info;
        info.start(QStringLiteral("xwininfo"), {QStringLiteral("-id"), QString::fromLatin1(id)});
        info.waitForFinished(5000);
        QHash<QString, int> values;
        for (const QString &line : QString::fromUtf8(info.readAllStandardOutput()).split('\n')) {
            const qsizetype colon = line.lastIndexOf(QLatin1Char(':'));
            if (colon > 0)
                values.insert(line.left(colon).trimmed(), line.mid(colon + 1).trimmed().toInt());
        }
        const QRect r(values.value(QStringLiteral("Absolute upper-left X")),
                      values.value(QStringLiteral("Absolute upper-left Y")),
                      values.value(QStringLiteral("Width")),
                      values.value(QStringLiteral("Height")));
        if (r.width() * r.height() > best.width() * best.height())
            best = r;
    }
    return best;
}

Player::~Player() = default;

QRect Player::contentArea()
{
    if (m_contentArea.isEmpty())
        m_contentArea = windowOf(pid());
    return m_contentArea;
}

void Player::stop()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.terminate();
    if (!m_process.waitForFinished(5000)) {
        m_process.kill();
        m_process.waitForFinished(5000);
    }
}

// ---- Lunelo ----

LuneloPlayer::LuneloPlayer(QString binary, QString home)
    : m_binary(std::move(binary))
    , m_home(std::move(home))
{
    m_process.setProcessChannelMode(QProcess::SeparateChannels);
    m_process.setStandardOutputFile(QProcess::nullDevice());
    QObject::connect(&m_process, &QProcess::readyReadStandardError, [this] { readTrace(); });
}

bool LuneloPlayer::start(const QString &file)
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("HOME"), m_home);
    env.insert(QStringLiteral("XDG_CONFIG_HOME"), m_home + QStringLiteral("/.config"));
    env.insert(QStringLiteral("XDG_DATA_HOME"), m_home + QStringLiteral("/.local/share"));
    env.insert(QStringLiteral("XDG_CACHE_HOME"), m_home + QStringLiteral("/.cache"));
    env.insert(QStringLiteral("XDG_RUNTIME_DIR"), m_home + QStringLiteral("/run"));
    env.insert(QStringLiteral("LUNELO_TRACE"), QStringLiteral("1"));
    // The introduction done, and the player's window where mpv's is, measured from the
    // bottom-left corner of the screen.
    const QString config = m_home + QStringLiteral("/.config/Lunelo/Lunelo.conf");
    QDir().mkpath(QFileInfo(config).path());
    QFile settings(config);
    if (!settings.open(QIODevice::WriteOnly))
        return false;
    settings.write(QStringLiteral("[General]\nonboardingCompleted=true\nplayerWindowFrame=\"{{%1, "
                                  "%2}, {%3, %4}}\"\n")
                       .arg(kWindow.x())
                       .arg(1024 - kWindow.bottom() - 1)
                       .arg(kWindow.width())
                       .arg(kWindow.height())
                       .toUtf8());
    settings.close();
    m_process.setProcessEnvironment(env);
    m_events.clear();
    m_partial.clear();
    m_contentArea = {};
    m_firstFrameAt = 0;
    m_startedAt = now();
    m_process.start(m_binary, {file});
    return m_process.waitForStarted(10000);
}

void LuneloPlayer::readTrace()
{
    m_partial += m_process.readAllStandardError();
    qsizetype newline;
    while ((newline = m_partial.indexOf('\n')) >= 0) {
        const QString line = QString::fromUtf8(m_partial.left(newline));
        m_partial.remove(0, newline + 1);
        static const bool echo = qEnvironmentVariableIsSet("LUNELO_BENCH_VERBOSE");
        if (echo)
            std::fprintf(stderr, "lunelo: %s\n", qPrintable(line));
        if (!line.startsWith(QLatin1String("lunelo-trace ")))
            continue;
        const QStringList parts = line.split(QLatin1Char(' '));
        if (parts.size() < 3)
            continue;
        m_events.push_back({parts[1].toDouble(), parts[2], parts.mid(3).join(QLatin1Char(' '))});
    }
}

int LuneloPlayer::waitEvent(const QString &name, int from, int timeoutMs,
                            const std::function<bool(const Event &)> &accept)
{
    int found = -1;
    waitUntil(
        [&] {
            readTrace();
            for (int i = from; i < m_events.size(); ++i) {
                if (m_events[i].name == name && (!accept || accept(m_events[i]))) {
                    found = i;
                    return true;
                }
            }
            return !isRunning();
        },
        timeoutMs);
    return found;
}

bool LuneloPlayer::waitFirstFrame(int timeoutMs)
{
    const int i = waitEvent(QStringLiteral("first-frame"), 0, timeoutMs);
    if (i < 0)
        return false;
    m_firstFrameAt = m_events[i].time;
    // The window must be in place before anything is measured: after its fade-in.
    return waitEvent(QStringLiteral("window-shown"), 0, timeoutMs) >= 0;
}

bool LuneloPlayer::zoomTo16()
{
    for (int press = 0; press < 20; ++press) {
        const int mark = int(m_events.size());
        xdotool({QStringLiteral("key"), QStringLiteral("ctrl+equal")});
        const int i = waitEvent(QStringLiteral("zoom"), mark, 5000);
        if (i < 0)
            return false;
        if (m_events[i].detail.section(QLatin1Char(' '), 0, 0).toDouble() >= 15.999)
            return true;
    }
    return false;
}

bool LuneloPlayer::pause()
{
    const int mark = int(m_events.size());
    xdotool({QStringLiteral("key"), QStringLiteral("space")});
    return waitEvent(QStringLiteral("paused"), mark, 5000) >= 0;
}

int LuneloPlayer::waitSeek(int from, const QString &kind)
{
    return waitEvent(QStringLiteral("seek"), from, 10000,
                     [&](const Event &e) { return e.detail.endsWith(kind); });
}

std::optional<double> LuneloPlayer::perform(Op op)
{
    static const QHash<Op, QString> keys{
        {Op::SkipForward, QStringLiteral("Right")},
        {Op::SkipBack, QStringLiteral("Left")},
        {Op::StepForward, QStringLiteral("period")},
        {Op::StepBack, QStringLiteral("comma")},
    };
    const int mark = int(m_events.size());
    xdotool({QStringLiteral("key"), keys.value(op)});
    const int sent = waitSeek(mark, QString());
    if (sent < 0)
        return std::nullopt;
    return m_events[sent].time;
}

bool LuneloPlayer::pressRepeatedly(const QString &key, int count, int delayMs)
{
    return QProcess::startDetached(QStringLiteral("xdotool"),
                                   {QStringLiteral("key"), QStringLiteral("--repeat"),
                                    QString::number(count), QStringLiteral("--delay"),
                                    QString::number(delayMs), key});
}

std::optional<Player::Release> LuneloPlayer::scrub(double to, double seconds,
                                                   const std::function<void()> &poll)
{
    // The scrubber of the control bar, as ControlBar.qml lays it out in kWindow: the bar 16
    // points in from the window's edges and 44 high; in its row, after the play button (22) and
    // the time (46), 12 apart, the slider, and after it seven fixed items, 238 wide.
    const QRect area = contentArea();
    const int left = area.x() + 16 + 14 + 22 + 12 + 46 + 12;
    const int width = area.width() - 60 - 238 - 8 * 12;
    const int y = area.y() + area.height() - 16 - 22;
    const int handle = 6; // half the handle's width
    const auto xAt = [&](double fraction) {
        return left + handle + int(std::lround(fraction * (width - 2 * handle)));
    };
    // The pointer over the bar shows the chrome (or keeps it shown). The chrome starts shown,
    // and only its changes are traced: no line yet means it has not hidden.
    xdotool({QStringLiteral("mousemove"), QString::number(xAt(0)), QString::number(y)});
    const bool shown = waitUntil(
        [this] {
            readTrace();
            for (auto e = m_events.crbegin(); e != m_events.crend(); ++e) {
                if (e->name == QLatin1String("chrome"))
                    return e->detail.startsWith(QLatin1String("shown"));
            }
            return true;
        },
        5000);
    if (!shown)
        return std::nullopt;
    waitFor(300); // the bar's fade-in

    // One xdotool for the whole drag: a move every 16 ms.
    const double duration = m_events.isEmpty() ? 0 : [&] {
        for (const Event &e : std::as_const(m_events)) {
            if (e.name == QLatin1String("duration"))
                return e.detail.toDouble();
        }
        return 0.0;
    }();
    if (duration <= 0)
        return std::nullopt;
    const int steps = int(seconds / 0.016);
    QStringList chain{QStringLiteral("mousedown"), QStringLiteral("1")};
    for (int i = 1; i <= steps; ++i) {
        chain << QStringLiteral("sleep") << QStringLiteral("0.016") << QStringLiteral("mousemove")
              << QString::number(xAt(to / duration * i / steps)) << QString::number(y);
    }
    chain << QStringLiteral("mouseup") << QStringLiteral("1");
    const int mark = int(m_events.size());
    QProcess drag;
    drag.start(QStringLiteral("xdotool"), chain);
    while (drag.state() != QProcess::NotRunning) {
        poll();
        drag.waitForFinished(1);
        readTrace();
    }
    // The release sends the exact seek.
    const int sent = waitSeek(mark, QStringLiteral(" exact"));
    if (sent < 0)
        return std::nullopt;
    return Release{m_events[sent].time,
                   m_events[sent].detail.section(QLatin1Char(' '), 0, 0).toDouble()};
}

std::optional<Drops> LuneloPlayer::drops()
{
    readTrace();
    Drops drops;
    for (const Event &e : std::as_const(m_events)) {
        if (e.name == QLatin1String("frame-drops")) {
            drops.late = e.detail.section(QLatin1Char(' '), 0, 0).toLongLong();
            drops.decoder = e.detail.section(QLatin1Char(' '), 1, 1).toLongLong();
        }
    }
    return drops;
}

// ---- mpv ----

MpvPlayer::MpvPlayer(QString socketFolder)
    : m_socketPath(socketFolder + QStringLiteral("/mpv.sock"))
{
    m_process.setProcessChannelMode(QProcess::MergedChannels);
    QObject::connect(&m_process, &QProcess::readyReadStandardOutput, [this] { readOutput(); });
    QObject::connect(&m_ipc, &QLocalSocket::readyRead, [this] { readIpc(); });
}

bool MpvPlayer::start(const QString &file)
{
    QFile::remove(m_socketPath);
    m_events.clear();
    m_partial.clear();
    m_contentArea = {};
    m_firstFrameAt = 0;
    m_ipc.abort();
    const QStringList arguments{
        QStringLiteral("--no-config"),
        QStringLiteral("--vo=gpu"),
        QStringLiteral("--gpu-sw"),
        QStringLiteral("--no-border"),
        QStringLiteral("--ao=null"),
        QStringLiteral("--geometry=%1x%2+%3+%4")
            .arg(kWindow.width())
            .arg(kWindow.height())
            .arg(kWindow.x())
            .arg(kWindow.y()),
        QStringLiteral("--input-ipc-server=") + m_socketPath,
        // Printed once the first picture after loading is on screen.
        QStringLiteral("--term-playing-msg=lunelo-bench-playing"),
        file,
    };
    m_startedAt = now();
    m_process.start(QStringLiteral("mpv"), arguments);
    return m_process.waitForStarted(10000);
}

void MpvPlayer::readOutput()
{
    const QByteArray out = m_process.readAllStandardOutput();
    if (m_firstFrameAt == 0 && out.contains("lunelo-bench-playing"))
        m_firstFrameAt = now();
}

bool MpvPlayer::waitFirstFrame(int timeoutMs)
{
    if (!waitUntil([this] { return m_firstFrameAt > 0 || !isRunning(); }, timeoutMs) ||
        m_firstFrameAt == 0)
        return false;
    return connectIpc();
}

bool MpvPlayer::connectIpc()
{
    if (m_ipc.state() == QLocalSocket::ConnectedState)
        return true;
    const bool connected = waitUntil(
        [this] {
            m_ipc.connectToServer(m_socketPath);
            return m_ipc.waitForConnected(100);
        },
        5000);
    if (!connected)
        return false;
    send({QStringLiteral("observe_property"), 1, QStringLiteral("time-pos")});
    return true;
}

void MpvPlayer::readIpc()
{
    const double at = now();
    m_partial += m_ipc.readAll();
    qsizetype newline;
    while ((newline = m_partial.indexOf('\n')) >= 0) {
        static const bool echo = qEnvironmentVariableIsSet("LUNELO_BENCH_VERBOSE");
        if (echo)
            std::fprintf(stderr, "mpv: %.6f %s\n", at, m_partial.left(newline).constData());
        const QJsonObject message = QJsonDocument::fromJson(m_partial.left(newline)).object();
        m_partial.remove(0, newline + 1);
        m_events.push_back({at, message});
    }
}

int MpvPlayer::send(const QJsonArray &command)
{
    const int id = m_nextRequest++;
    static const bool echo = qEnvironmentVariableIsSet("LUNELO_BENCH_VERBOSE");
    if (echo)
        std::fprintf(stderr, "mpv: %.6f sent %s\n", now(),
                     QJsonDocument(command).toJson(QJsonDocument::Compact).constData());
    const QJsonObject message{{QStringLiteral("command"), command},
                              {QStringLiteral("request_id"), id}};
    m_ipc.write(QJsonDocument(message).toJson(QJsonDocument::Compact) + '\n');
    m_ipc.flush();
    return id;
}

std::optional<QJsonObject> MpvPlayer::request(const QJsonArray &command, int timeoutMs)
{
    const int mark = int(m_events.size());
    const int id = send(command);
    std::optional<QJsonObject> reply;
    waitUntil(
        [&] {
            for (int i = mark; i < m_events.size(); ++i) {
                if (m_events[i].message.value(QStringLiteral("request_id")).toInt() == id) {
                    reply = m_events[i].message;
                    return true;
                }
            }
            return !isRunning();
        },
        timeoutMs);
    return reply;
}

int MpvPlayer::waitEvent(const QString &event, int from, int timeoutMs,
                         const std::function<bool(const QJsonObject &)> &accept)
{
    int found = -1;
    waitUntil(
        [&] {
            for (int i = from; i < m_events.size(); ++i) {
                const QJsonObject &m = m_events[i].message;
                if (m.value(QStringLiteral("event")).toString() == event &&
                    (!accept || accept(m))) {
                    found = i;
                    return true;
                }
            }
            return !isRunning();
        },
        timeoutMs);
    return found;
}

bool MpvPlayer::zoomTo16()
{
    const std::optional<QJsonObject> reply =
        request({QStringLiteral("set_property"), QStringLiteral("video-zoom"), 4});
    return reply && reply->value(QStringLiteral("error")).toString() == QLatin1String("success");
}

bool MpvPlayer::pause()
{
    const std::optional<QJsonObject> reply =
        request({QStringLiteral("set_property"), QStringLiteral("pause"), true});
    return reply && reply->value(QStringLiteral("error")).toString() == QLatin1String("success");
}

std::optional<double> MpvPlayer::perform(Op op)
{
    static const QHash<Op, QJsonArray> commands{
        {Op::SkipForward, {QStringLiteral("seek"), 10, QStringLiteral("relative+exact")}},
        {Op::SkipBack, {QStringLiteral("seek"), -10, QStringLiteral("relative+exact")}},
        {Op::StepForward, {QStringLiteral("frame-step")}},
        {Op::StepBack, {QStringLiteral("frame-back-step")}},
    };
    const double sent = now();
    const std::optional<QJsonObject> reply = request(commands.value(op));
    if (!reply || reply->value(QStringLiteral("error")).toString() != QLatin1String("success"))
        return std::nullopt;
    return sent;
}

std::optional<Player::Release> MpvPlayer::scrub(double to, double seconds,
                                                const std::function<void()> &poll)
{
    // What a drag sends: a key-frame seek every 16 ms, then an exact seek on release.
    const int steps = int(seconds / 0.016);
    const double begin = now();
    for (int i = 1; i <= steps; ++i) {
        const double due = begin + 0.016 * i;
        while (now() < due) {
            poll();
            QCoreApplication::processEvents(QEventLoop::AllEvents, 1);
        }
        send({QStringLiteral("seek"), to * i / steps, QStringLiteral("absolute+keyframes")});
    }
    const double released = now();
    send({QStringLiteral("seek"), to, QStringLiteral("absolute+exact")});
    return Release{released, to};
}

std::optional<Drops> MpvPlayer::drops()
{
    const auto count = [this](const char *property) -> std::optional<qint64> {
        const std::optional<QJsonObject> reply =
            request({QStringLiteral("get_property"), QLatin1String(property)});
        if (!reply || !reply->contains(QStringLiteral("data")))
            return std::nullopt;
        return qint64(reply->value(QStringLiteral("data")).toDouble());
    };
    const std::optional<qint64> late = count("frame-drop-count");
    const std::optional<qint64> decoder = count("decoder-frame-drop-count");
    if (!late || !decoder)
        return std::nullopt;
    return Drops{*late, *decoder};
}

} // namespace Bench
