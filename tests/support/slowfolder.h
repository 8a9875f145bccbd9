#pragma once

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

// A folder on a file system that stops answering on request (tests/support/slowfs.c, over
// FUSE): the files put in source() are seen under path(); while the gate is closed, the calls
// named at mount() wait, as on a network share that stopped answering.
class SlowFolder {
public:
    ~SlowFolder()
    {
        openGate();
        if (m_process.state() == QProcess::NotRunning)
            return;
        QProcess::execute(QStringLiteral("fusermount3"), {QStringLiteral("-uz"), path()});
        if (!m_process.waitForFinished(5000))
            m_process.kill();
        m_process.waitForFinished(5000);
    }

    // Mounts the folder, its `calls` ("readdir,open") held at the gate; false where slowfs was
    // not built or FUSE cannot mount (the test then skips).
    bool mount(const QString &calls)
    {
        const QString slowfs = QString::fromLocal8Bit(qgetenv("LUNELO_SLOWFS"));
        if (slowfs.isEmpty() || !QFile::exists(QStringLiteral("/dev/fuse")))
            return false;
        QDir(m_root.path()).mkpath(QStringLiteral("source"));
        QDir(m_root.path()).mkpath(QStringLiteral("mount"));
        QString delays;
        for (const QString &call : calls.split(QLatin1Char(',')))
            delays += call + QStringLiteral("=0,");
        delays.chop(1);
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start(slowfs, {QStringLiteral("-d"), delays, QStringLiteral("-g"), gate(),
                                 QStringLiteral("-l"), log(), source(), path()});
        return QTest::qWaitFor([&] { return isMounted() || !isRunning(); }, 10000) && isMounted();
    }

    [[nodiscard]] QString source(const QString &name = {}) const
    {
        return m_root.filePath(QStringLiteral("source/") + name);
    }
    [[nodiscard]] QString path(const QString &name = {}) const
    {
        return m_root.filePath(QStringLiteral("mount/") + name);
    }

    // Closed: the calls wait. Open: they go on.
    void closeGate() { QFile(gate()).open(QIODevice::WriteOnly); }
    void openGate() { QFile::remove(gate()); }

    // How many calls `call` are waiting at the gate now.
    [[nodiscard]] int held(const QString &call) const
    {
        QFile file(log());
        if (!file.open(QIODevice::ReadOnly))
            return 0;
        const QByteArray lines = file.readAll();
        const QByteArray op = call.toUtf8();
        return int(lines.count("wait " + op + ' ') - lines.count("pass " + op + ' '));
    }

private:
    [[nodiscard]] QString gate() const { return m_root.filePath(QStringLiteral("gate")); }
    [[nodiscard]] QString log() const { return m_root.filePath(QStringLiteral("log")); }
    [[nodiscard]] bool isRunning() const { return m_process.state() != QProcess::NotRunning; }
    [[nodiscard]] bool isMounted() const
    {
        struct stat root {
        }, mount{};
        return ::stat(QFile::encodeName(m_root.path()).constData(), &root) == 0 &&
               ::stat(QFile::encodeName(path()).constData(), &mount) == 0 &&
               root.st_dev != mount.st_dev;
    }

    QTemporaryDir m_root;
    QProcess m_process;
};
