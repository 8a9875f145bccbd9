#include "renderharness.h"

#include "testsupport.h"

#include <QDeadlineTimer>
#include <QQuickItem>
#include <QTest>

#include <clocale>

RenderHarness::RenderHarness(QSize windowSize, qint64 reversalBytes)
    : m_engine(MpvEngine::Options{
          .drawsVideo = true, .audioOutput = "null", .reversalBytes = reversalBytes})
    , m_session(PlaybackSession::Services{m_recorder, m_preferences})
{
    // As in the application: libmpv draws through OpenGL and reads numbers the C way.
    QQuickWindow::setGraphicsApi(QSGRendererInterface::OpenGL);
    std::setlocale(LC_NUMERIC, "C");

    m_view = std::make_unique<QQuickView>();
    m_view->setColor(Qt::black);
    m_view->resize(windowSize);
    QObject::connect(&m_session, &PlaybackSession::playerChanged, m_view.get(),
                     [this] { showPlayer(); });
    QObject::connect(&m_session, &PlaybackSession::videoSizeChanged, m_view.get(), [this] {
        if (m_surface)
            m_surface->setVideoSize(m_session.videoSize());
    });
    QObject::connect(m_view.get(), &QWindow::widthChanged, m_view.get(), [this] {
        if (m_surface)
            m_surface->setSize(m_view->size());
    });
    QObject::connect(m_view.get(), &QWindow::heightChanged, m_view.get(), [this] {
        if (m_surface)
            m_surface->setSize(m_view->size());
    });
    m_view->show();
    // Nothing loads before the window is on screen: the engine starts a file once its picture
    // surface has drawn.
    if (!QTest::qWaitForWindowExposed(m_view.get()))
        qWarning("The test window was never shown.");
}

RenderHarness::~RenderHarness()
{
    // The surface and its renderer go first, while the player they draw still exists.
    m_view.reset();
}

void RenderHarness::showPlayer()
{
    // One surface per player, as the player view makes them.
    if (m_surface) {
        m_surface->setVisible(false);
        m_surface->deleteLater();
    }
    m_surface = nullptr;
    if (!m_session.player())
        return;
    auto *surface = new PictureSurface(m_view->contentItem());
    surface->setSize(m_view->size());
    surface->setPlayer(m_session.player());
    surface->setVideoSize(m_session.videoSize());
    m_surface = surface;
}

bool RenderHarness::openAndWaitReady(const QString &path, int timeoutMs)
{
    m_session.open(QUrl::fromLocalFile(path));
    return QTest::qWaitFor(
        [this] { return m_session.isReady() && !m_session.videoSize().isEmpty(); }, timeoutMs);
}

bool RenderHarness::waitForSeeksSettled(int timeoutMs)
{
    const QDeadlineTimer deadline(timeoutMs);
    for (;;) {
        const QPointer<RecordingPlayer> recorded = player();
        if (!recorded)
            return true;
        if (!QTest::qWaitFor([&] { return !recorded || recorded->seeksSettled(); },
                             int(deadline.remainingTime())))
            return false;
        if (!recorded)
            return true;
        // The session learns of a completion from the event loop and may send its next target.
        const size_t sent = recorded->seeks().size();
        settle();
        if (recorded && recorded->seeks().size() == sent)
            return true;
    }
}

QImage RenderHarness::grab()
{
    return m_view->grabWindow();
}

QRectF RenderHarness::pictureRect(const QImage &image) const
{
    if (!m_surface)
        return {};
    const QRectF inWindow = m_surface->mapRectToScene(m_surface->pictureRect());
    const double scale = double(image.width()) / m_view->width();
    return QRectF(inWindow.topLeft() * scale, inWindow.size() * scale);
}

int RenderHarness::shownFrame()
{
    const QImage image = grab();
    return readFrameCounter(image, pictureRect(image));
}
