#include "renderharness.h"

#include "testsupport.h"

#include <QTest>

#include <clocale>

RenderHarness::RenderHarness(qint64 reversalBytes)
    : m_engine(MpvEngine::Options{
          .drawsVideo = true, .audioOutput = "null", .reversalBytes = reversalBytes})
{
    // As in the application: libmpv draws through OpenGL and reads numbers the C way.
    QQuickWindow::setGraphicsApi(QSGRendererInterface::OpenGL);
    std::setlocale(LC_NUMERIC, "C");
    m_view = std::make_unique<QQuickView>();
    m_view->setColor(Qt::black);
    m_view->resize(640, 480);
    // One surface per player, filling the window, as the player view makes them.
    QObject::connect(&session, &PlaybackSession::playerChanged, m_view.get(), [this] {
        if (m_surface) {
            m_surface->setVisible(false);
            m_surface->deleteLater();
        }
        if (!session.player())
            return;
        m_surface = new PictureSurface(m_view->contentItem());
        m_surface->setSize(m_view->size());
        m_surface->setPlayer(session.player());
        m_surface->setVideoSize(session.videoSize());
    });
    QObject::connect(&session, &PlaybackSession::videoSizeChanged, m_view.get(), [this] {
        if (m_surface)
            m_surface->setVideoSize(session.videoSize());
    });
    m_view->show();
    // Nothing loads before the window is on screen: the engine starts a file once its picture
    // surface has drawn.
    if (!QTest::qWaitForWindowExposed(m_view.get()))
        qWarning("The test window was never shown.");
}

bool RenderHarness::openAndWaitReady(const QString &path)
{
    session.open(QUrl::fromLocalFile(path));
    return QTest::qWaitFor([this] { return session.isReady() && !session.videoSize().isEmpty(); },
                           10000);
}

int RenderHarness::shownFrame()
{
    if (!m_surface)
        return -1;
    const QImage image = m_view->grabWindow();
    const QRectF inWindow = m_surface->mapRectToScene(m_surface->pictureRect());
    const double scale = double(image.width()) / m_view->width();
    return readFrameCounter(image, QRectF(inWindow.topLeft() * scale, inWindow.size() * scale));
}
