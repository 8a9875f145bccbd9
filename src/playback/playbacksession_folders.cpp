// Sibling videos and folder access.
#include "playbacksession.h"

#include <QTimer>

void PlaybackSession::openSibling(int direction)
{
    Q_UNUSED(direction)
}

void PlaybackSession::presentOpenPanel() {}

void PlaybackSession::activateAccess(const QUrl &url)
{
    Q_UNUSED(url)
}

void PlaybackSession::stopAccessing()
{
    m_accessedUrl.reset();
    m_accessedFolder.reset();
}

bool PlaybackSession::restoreFolderBookmark(const QUrl &folder)
{
    Q_UNUSED(folder)
    return false;
}

void PlaybackSession::saveFolderBookmark(const QUrl &folder)
{
    Q_UNUSED(folder)
}

void PlaybackSession::requestFolderAccess(const QUrl &folder, std::function<void(bool)> done)
{
    QTimer::singleShot(0, this, [this, folder, done = std::move(done)]() mutable {
        presentFolderAccessPanel(folder, std::move(done));
    });
}

void PlaybackSession::presentFolderAccessPanel(const QUrl &folder, std::function<void(bool)> done)
{
    Q_UNUSED(folder)
    done(false);
}

bool PlaybackSession::isPermissionError(const std::optional<MediaError> &error)
{
    Q_UNUSED(error)
    return false;
}

bool PlaybackSession::canReadMedia(const QUrl &url) const
{
    Q_UNUSED(url)
    return true;
}
