#include "luneloapp.h"

#include "appdelegate.h"
#include "commands.h"
#include "defaultapps.h"
#include "diskjobs.h"
#include "filepanels.h"
#include "folderaccess.h"
#include "keyrouter.h"
#include "mprisservice.h"
#include "mpvengine.h"
#include "preferences.h"
#include "screensaver.h"
#include "singleinstance.h"
#include "trace.h"
#include "windowconfigurator.h"

#include <QCommandLineParser>
#include <QDBusConnection>
#include <QDir>
#include <QGuiApplication>
#include <QQmlEngine>
#include <QQuickView>
#include <QtQml/QQmlExtensionPlugin>

Q_IMPORT_QML_PLUGIN(LuneloPlugin)

namespace {

// Logs the session's state changes for tests and benchmarks (see Trace).
void traceSession(PlaybackSession &session)
{
    if (!Trace::enabled())
        return;
    QObject::connect(&session, &PlaybackSession::urlChanged, &session,
                     [&session] { Trace::event("url", session.url().toLocalFile()); });
    QObject::connect(&session, &PlaybackSession::isReadyChanged, &session, [&session] {
        if (session.isReady())
            Trace::event("ready");
    });
    QObject::connect(&session, &PlaybackSession::durationChanged, &session, [&session] {
        Trace::event("duration", QString::number(session.duration(), 'f', 3));
    });
    QObject::connect(&session, &PlaybackSession::isPlayingChanged, &session, [&session] {
        Trace::event(session.isPlaying() ? "playing" : "paused",
                     QString::number(session.currentTime(), 'f', 3));
    });
    QObject::connect(&session, &PlaybackSession::videoSizeChanged, &session, [&session] {
        const QSizeF s = session.videoSize();
        Trace::event("video-size", QStringLiteral("%1x%2").arg(s.width()).arg(s.height()));
    });
    QObject::connect(&session, &PlaybackSession::errorMessageChanged, &session,
                     [&session] { Trace::event("error", session.errorMessage()); });
    QObject::connect(&session, &PlaybackSession::isMutedChanged, &session,
                     [&session] { Trace::event(session.isMuted() ? "muted" : "unmuted"); });
    QObject::connect(&session, &PlaybackSession::rateChanged, &session,
                     [&session] { Trace::event("rate", QString::number(session.rate())); });
    QObject::connect(&session, &PlaybackSession::jumped, &session, [&session] {
        Trace::event("jump", QString::number(session.currentTime(), 'f', 3));
    });
}

} // namespace

struct LuneloApp::Parts {
    std::unique_ptr<Preferences> preferences = createStandardPreferences();
    std::unique_ptr<FolderAccess> folderAccess = createFolderAccess();
    std::unique_ptr<FilePanels> panels = createFilePanels();
    // After the services its jobs use, so that it ends before them.
    std::shared_ptr<DiskJobs> diskJobs = createDiskJobs();
    MpvEngine engine{MpvEngine::Options{.drawsVideo = true, .audioOutput = {}}, {}, diskJobs};
    Commands commands;
    AppDelegate delegate{PlaybackSession::Services{engine, *preferences, folderAccess.get(),
                                                   panels.get(), diskJobs.get()},
                         commands, DefaultApps::create()};
    KeyRouter keys{delegate.session(), delegate.onboarding(), delegate.presentation(), commands};
    std::unique_ptr<ScreenSaver> screenSaver = ScreenSaver::create();
    MprisService mpris{delegate.session(), delegate};
    QQmlEngine qml;
    std::unique_ptr<QQuickView> view;
    std::unique_ptr<WindowConfigurator> configurator;
};

LuneloApp::LuneloApp(SingleInstance &instance, const QList<QUrl> &launchFiles)
    : m_parts(std::make_unique<Parts>())
{
    Parts &p = *m_parts;
    AppDelegate &delegate = p.delegate;
    PlaybackSession &session = delegate.session();
    traceSession(session);

    // The screen stays awake while a video plays, and only then.
    QObject::connect(
        &session, &PlaybackSession::isPlayingChanged, p.screenSaver.get(),
        [&session, saver = p.screenSaver.get()] { saver->setInhibited(session.isPlaying()); });
    p.mpris.publish(QDBusConnection::sessionBus());

    // The file first: its access is settled on the disk while the window is made, and the
    // view then builds the picture before anything over it.
    delegate.openUrls(launchFiles);

    // No style is chosen: the QML imports the Basic controls by name, so their libraries load
    // with the chrome, after the first picture.
    p.view = std::make_unique<QQuickView>(&p.qml, nullptr);
    p.view->setResizeMode(QQuickView::SizeRootObjectToView);
    p.view->setInitialProperties({
        {QStringLiteral("session"), QVariant::fromValue(&delegate.session())},
        {QStringLiteral("commands"), QVariant::fromValue(&p.commands)},
        {QStringLiteral("presentation"), QVariant::fromValue(&delegate.presentation())},
        {QStringLiteral("onboarding"), QVariant::fromValue(&delegate.onboarding())},
    });
    p.view->setSource(QUrl(QStringLiteral("qrc:/Lunelo/ContentView.qml")));

    // No frame from the window manager: the top bar is the title bar.
    p.view->setFlags(Qt::Window | Qt::FramelessWindowHint);
    p.configurator = std::make_unique<WindowConfigurator>(delegate.session(), delegate.onboarding(),
                                                          *p.preferences);
    p.configurator->attach(p.view.get());
    p.view->show();

    // In front of every view and shortcut, for the life of the process.
    QCoreApplication::instance()->installEventFilter(&p.keys);
    delegate.applicationDidFinishLaunching();
    QObject::connect(&instance, &SingleInstance::openRequested, &delegate, &AppDelegate::openUrls);
    QObject::connect(&instance, &SingleInstance::reopenRequested, &delegate, [this] {
        m_parts->delegate.applicationShouldHandleReopen(
            m_parts->view->isVisible() &&
            !m_parts->view->windowStates().testFlag(Qt::WindowMinimized));
    });
}

LuneloApp::~LuneloApp() = default;

QList<QUrl> filesFromArguments(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.addPositionalArgument(QStringLiteral("files"), QStringLiteral("Videos to open."));
    parser.parse(arguments);
    QList<QUrl> files;
    for (const QString &argument : parser.positionalArguments()) {
        const QUrl url(argument);
        if (url.isLocalFile())
            files << url;
        else
            files << QUrl::fromLocalFile(QDir::current().absoluteFilePath(argument));
    }
    return files;
}
