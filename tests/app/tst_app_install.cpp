// Installed into a temporary prefix, Lunelo is a well-formed desktop application: its entry and
// software-centre description validate, and once it is the default video player of a temporary
// desktop, opening videos there starts the installed binary and hands later ones to it.
#include "appdriver.h"
#include "playbacksession.h"
#include "testsupport.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDirIterator>
#include <QMimeDatabase>
#include <QSvgRenderer>
#include <QTest>

#include <csignal>

namespace {

const QString kAppId = QStringLiteral("org.lunelo.Lunelo");

// Runs a command to its end; its exit code (-1 when it did not end normally) and output.
std::pair<int, QString>
run(const QString &program, const QStringList &arguments,
    const QProcessEnvironment &env = QProcessEnvironment::systemEnvironment())
{
    QProcess process;
    process.setProcessEnvironment(env);
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    const bool ended =
        process.waitForFinished(60000) && process.exitStatus() == QProcess::NormalExit;
    return {ended ? process.exitCode() : -1, QString::fromUtf8(process.readAll())};
}

// The processes running the binary at `path`.
QList<qint64> processesOf(const QString &path)
{
    QList<qint64> found;
    QDirIterator it(QStringLiteral("/proc"), QDir::Dirs | QDir::NoDotAndDotDot);
    while (it.hasNext()) {
        bool isNumber = false;
        const qint64 pid = it.next().section(QLatin1Char('/'), -1).toLongLong(&isNumber);
        if (isNumber && QFile::symLinkTarget(it.filePath() + QStringLiteral("/exe")) == path)
            found << pid;
    }
    return found;
}

// The trace lines that the launched players wrote to `file`, without prefix and time.
QStringList traceIn(const QString &file)
{
    QFile f(file);
    if (!f.open(QIODevice::ReadOnly))
        return {};
    QStringList lines;
    for (const QByteArray &line : f.readAll().split('\n')) {
        if (line.startsWith("lunelo-trace "))
            lines << QString::fromUtf8(line).section(QLatin1Char(' '), 2);
    }
    return lines;
}

} // namespace

class TestAppInstall : public QObject {
    Q_OBJECT

private slots:
    void initTestCase()
    {
        const auto [code, output] =
            run(qEnvironmentVariable("CMAKE_COMMAND"),
                {QStringLiteral("--install"), qEnvironmentVariable("LUNELO_BUILD_DIR"),
                 QStringLiteral("--prefix"), m_prefix.path()});
        QVERIFY2(code == 0, qPrintable(output));
        m_binary = QFileInfo(m_prefix.filePath(QStringLiteral("bin/lunelo"))).canonicalFilePath();
    }

    void cleanupTestCase()
    {
        for (const qint64 pid : processesOf(m_binary))
            ::kill(pid_t(pid), SIGTERM);
    }

    void filesLieInTheirStandardPlacesAndValidate()
    {
        const QString share = m_prefix.filePath(QStringLiteral("share"));
        const QString entry = share + QStringLiteral("/applications/") + kAppId + ".desktop";
        const QString metainfo = share + QStringLiteral("/metainfo/") + kAppId + ".metainfo.xml";
        const QString icon = share + "/icons/hicolor/scalable/apps/" + kAppId + ".svg";
        QVERIFY(QFileInfo(m_binary).isExecutable());

        const auto desktop = run(QStringLiteral("desktop-file-validate"), {entry});
        QVERIFY2(desktop == std::pair(0, QString()), qPrintable(desktop.second));
        const auto appstream = run(QStringLiteral("appstreamcli"),
                                   {QStringLiteral("validate"), QStringLiteral("--no-net"),
                                    QStringLiteral("--strict"), metainfo});
        QVERIFY2(appstream.first == 0, qPrintable(appstream.second));

        QSvgRenderer renderer(icon);
        QVERIFY(renderer.isValid());
        QCOMPARE(renderer.defaultSize(), QSize(128, 128));

        // The entry opens every file the player counts as video, by its desktop MIME type.
        QFile file(entry);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QString text = QString::fromUtf8(file.readAll());
        QVERIFY(text.contains(QStringLiteral("\nExec=lunelo %U\n")));
        QVERIFY(text.contains(QStringLiteral("\nIcon=") + kAppId + "\n"));
        const QStringList types = text.section(QStringLiteral("\nMimeType="), 1)
                                      .section('\n', 0, 0)
                                      .split(';', Qt::SkipEmptyParts);
        for (const QString &extension : PlaybackSession::videoExtensions()) {
            const QString type =
                QMimeDatabase()
                    .mimeTypeForFile("video." + extension, QMimeDatabase::MatchExtension)
                    .name();
            QVERIFY2(types.contains(type), qPrintable(extension + " is " + type));
        }
    }

    void openingVideosOnTheDesktopReachesOneInstalledPlayer()
    {
        AppDriver home; // only for its temporary home and XDG folders
        QProcessEnvironment env = home.environment();
        env.insert(QStringLiteral("XDG_DATA_DIRS"),
                   m_prefix.filePath(QStringLiteral("share")) + QStringLiteral(":/usr/share"));
        env.insert(QStringLiteral("PATH"), m_prefix.filePath(QStringLiteral("bin")) + ':' +
                                               env.value(QStringLiteral("PATH")));

        const auto [code, output] =
            run(QStringLiteral("gio"),
                {QStringLiteral("mime"), QStringLiteral("video/mp4"), kAppId + ".desktop"}, env);
        QVERIFY2(code == 0, qPrintable(output));

        const QString trace = home.home() + QStringLiteral("/trace.log");
        const auto open = [&](const QString &clip) {
            QProcess gio;
            gio.setProcessEnvironment(env);
            gio.setStandardErrorFile(trace, QIODevice::Append); // the player inherits it
            gio.start(QStringLiteral("gio"), {QStringLiteral("open"), testMedia(clip)});
            return gio.waitForFinished(30000) && gio.exitCode() == 0;
        };
        const auto traced = [&](const QString &line) {
            return QTest::qWaitFor([&] { return traceIn(trace).contains(line); }, 20000);
        };

        QVERIFY(open(QStringLiteral("clip.mp4")));
        QVERIFY(traced("url " + testMedia(QStringLiteral("clip.mp4"))));
        QVERIFY(traced(QStringLiteral("first-frame")));
        QDBusConnectionInterface *bus = QDBusConnection::sessionBus().interface();
        const qint64 pid = bus->servicePid(kAppId).value();
        QCOMPARE(processesOf(m_binary), QList<qint64>{pid});

        QVERIFY(open(QStringLiteral("asym.mp4")));
        QVERIFY(traced("url " + testMedia(QStringLiteral("asym.mp4"))));
        QTRY_COMPARE(processesOf(m_binary), QList<qint64>{pid});
        // The second video shows in the same window.
        QTRY_COMPARE(traceIn(trace).count(QStringLiteral("first-frame")), 2);

        QDBusConnection::sessionBus().call(QDBusMessage::createMethodCall(
            QStringLiteral("org.mpris.MediaPlayer2.lunelo"),
            QStringLiteral("/org/mpris/MediaPlayer2"), QStringLiteral("org.mpris.MediaPlayer2"),
            QStringLiteral("Quit")));
        QTRY_VERIFY_WITH_TIMEOUT(processesOf(m_binary).isEmpty(), 10000);
    }

private:
    QTemporaryDir m_prefix;
    QString m_binary;
};

QTEST_MAIN(TestAppInstall)
#include "tst_app_install.moc"
