#pragma once

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <sys/stat.h>

// A folder on a FUSE file system (bindfs) whose server the test can stop, as a network share's
// server stops answering: while it is stopped, every call on path() waits. The files put in
// source() show under path().
class StalledShare {
public:
    ~StalledShare()
    {
        resume();
        QProcess::execute(QStringLiteral("fusermount3"), {QStringLiteral("-uz"), path()});
        if (!m_server.waitForFinished(5000))
            m_server.kill();
        m_server.waitForFinished(5000);
    }

    // False where FUSE cannot mount (no bindfs, no /dev/fuse): the test then skips.
    bool mount()
    {
        QDir(m_root.path()).mkpath(QStringLiteral("source"));
        QDir(m_root.path()).mkpath(QStringLiteral("mount"));
        m_server.start(QStringLiteral("bindfs"), {QStringLiteral("-f"), source(), path()});
        m_server.waitForStarted();
        const auto device = [](const QString &p) {
            struct stat st {};
            return ::stat(QFile::encodeName(p).constData(), &st) == 0 ? st.st_dev : 0;
        };
        return QTest::qWaitFor(
                   [&] { return device(path()) != device(m_root.path()) || !running(); }, 10000) &&
               running();
    }

    [[nodiscard]] QString source(const char *name = "") const
    {
        return m_root.filePath(QStringLiteral("source/") + QLatin1String(name));
    }
    [[nodiscard]] QString path(const char *name = "") const
    {
        return m_root.filePath(QStringLiteral("mount/") + QLatin1String(name));
    }

    void stop() { ::kill(pid_t(m_server.processId()), SIGSTOP); }
    void resume()
    {
        if (running())
            ::kill(pid_t(m_server.processId()), SIGCONT);
    }

private:
    [[nodiscard]] bool running() const { return m_server.state() == QProcess::Running; }

    QTemporaryDir m_root;
    QProcess m_server;
};
