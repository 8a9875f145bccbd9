// Sibling videos and folder access: every step lists the open file's folder again, so files
// added or removed in between are seen; where the process is sandboxed the folder needs a grant,
// asked for once in a folder panel and remembered as a bookmark under the folder's identity.
#include "playbacksession.h"

#include "filepanels.h"
#include "folderaccess.h"
#include "folderplaylist.h"
#include "preferences.h"

#include <QFile>
#include <QFileInfo>
#include <QPointer>
#include <QTimer>

#include <fcntl.h>
#include <unistd.h>

namespace {

const QString kFolderBookmarkPrefix = QStringLiteral("folderBookmark:");

QString bookmarkKey(const QUrl &folder)
{
    return kFolderBookmarkPrefix + FolderPlaylist::identity(folder);
}

} // namespace

void PlaybackSession::openSibling(int direction)
{
    if (m_url.isEmpty())
        return;
    const QUrl folder = FolderPlaylist::folderOf(m_url);
    auto retry = [this, self = QPointer(this), direction](bool granted) {
        if (granted && self)
            openSibling(direction);
    };
    if (isSandboxed() && !m_accessedFolder) {
        requestFolderAccess(folder, retry);
        return;
    }
    const std::optional<FolderPlaylist::Listing> listing = FolderPlaylist::list(folder);
    if (!listing) {
        requestFolderAccess(folder, retry);
        return;
    }
    QUrl target;
    if (direction == 1 || direction == -1) {
        // The keys' single steps, in one pass over the folder.
        const std::optional<QUrl> next =
            FolderPlaylist::neighbour(m_url, *listing, folder, videoExtensions(), direction);
        if (!next)
            return; // fewer than two videos, or the file moved or renamed since it was opened
        target = *next;
    } else {
        const QList<QUrl> videos =
            FolderPlaylist::videos(FolderPlaylist::locations(*listing, folder), videoExtensions());
        const qsizetype n = videos.size();
        if (n < 2)
            return;
        const qsizetype i = FolderPlaylist::indexOf(m_url, videos, folder, listing->links);
        if (i < 0)
            return; // moved or renamed since it was opened
        target = videos[((i + direction) % n + n) % n];
    }
    if (canReadMedia(target)) {
        open(target);
        return;
    }
    requestFolderAccess(folder, [this, self = QPointer(this), target](bool granted) {
        if (granted && self)
            open(target);
    });
}

bool PlaybackSession::canReadMedia(const QUrl &url) const
{
    const QString path = url.toLocalFile();
    if (!QFileInfo(path).isReadable())
        return false;
    // Opened as the engine will open it. Something that opens but is no video (a folder named
    // like one) is the engine's to refuse, with its message; only a file that cannot be opened
    // asks for its folder. Not blocking: a pipe has no writer to wait for here.
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0)
        return false;
    ::close(fd);
    return true;
}

bool PlaybackSession::isSandboxed() const
{
    return m_folderAccess && m_folderAccess->isSandboxed();
}

void PlaybackSession::presentOpenPanel()
{
    if (!m_panels)
        return;
    const std::optional<QUrl> chosen = m_panels->runModal({
        .choice = FilePanels::Choice::VideoFile,
        .title = QStringLiteral("Abrir vídeo"),
        .prompt = QStringLiteral("Abrir"),
        .message = {},
        .directory = {},
    });
    if (chosen)
        open(*chosen);
}

void PlaybackSession::activateAccess(const QUrl &url)
{
    const QUrl folder = FolderPlaylist::folderOf(url);
    if (!m_accessedFolder) {
        restoreFolderBookmark(folder);
    } else if (FolderPlaylist::identity(*m_accessedFolder) != FolderPlaylist::identity(folder)) {
        stopFolderAccess();
        restoreFolderBookmark(folder);
    }
    stopFileAccess();
    if (m_folderAccess && m_folderAccess->startAccessing(url))
        m_accessedUrl = url;
}

void PlaybackSession::stopAccessing()
{
    stopFileAccess();
    stopFolderAccess();
}

void PlaybackSession::stopFileAccess()
{
    if (!m_accessedUrl)
        return;
    if (m_folderAccess)
        m_folderAccess->stopAccessing(*m_accessedUrl);
    m_accessedUrl.reset();
}

void PlaybackSession::stopFolderAccess()
{
    if (!m_accessedFolder)
        return;
    if (m_folderAccess)
        m_folderAccess->stopAccessing(*m_accessedFolder);
    m_accessedFolder.reset();
}

bool PlaybackSession::restoreFolderBookmark(const QUrl &folder)
{
    if (!m_folderAccess)
        return false;
    const std::optional<QByteArray> bookmark = m_preferences.dataValue(bookmarkKey(folder));
    if (!bookmark)
        return false;
    const std::optional<FolderAccess::Resolved> resolved =
        m_folderAccess->resolveBookmark(*bookmark);
    if (!resolved)
        return false;
    if (resolved->isStale)
        saveFolderBookmark(resolved->url);
    if (!m_folderAccess->startAccessing(resolved->url))
        return false;
    m_accessedFolder = resolved->url;
    return true;
}

void PlaybackSession::saveFolderBookmark(const QUrl &folder)
{
    if (!m_folderAccess)
        return;
    if (const std::optional<QByteArray> bookmark = m_folderAccess->createBookmark(folder))
        m_preferences.setData(bookmarkKey(folder), *bookmark);
}

void PlaybackSession::requestFolderAccess(const QUrl &folder, std::function<void(bool)> done)
{
    // Never inside the key press or the status callback that asked: the panel runs its own
    // event loop. The timer dies with the session, and `done` with it, uncalled.
    QTimer::singleShot(0, this, [this, folder, done = std::move(done)]() mutable {
        presentFolderAccessPanel(folder, std::move(done));
    });
}

void PlaybackSession::presentFolderAccessPanel(const QUrl &folder, std::function<void(bool)> done)
{
    if (!m_panels) {
        done(false);
        return;
    }
    const std::optional<QUrl> chosen = m_panels->runModal({
        .choice = FilePanels::Choice::Folder,
        .title = QStringLiteral("Acesso à pasta"),
        .prompt = QStringLiteral("Permitir"),
        .message = QStringLiteral("Para trocar de vídeo com ↑↓, permita o acesso à pasta."),
        .directory = folder,
    });
    if (!chosen) {
        setErrorMessage(QStringLiteral("Sem acesso à pasta, não dá para abrir o próximo vídeo."));
        done(false);
        return;
    }
    if (FolderPlaylist::identity(*chosen) != FolderPlaylist::identity(folder)) {
        setErrorMessage(
            QStringLiteral("Selecione a pasta que contém os vídeos para navegar entre eles."));
        done(false);
        return;
    }
    if (!m_folderAccess || !m_folderAccess->startAccessing(*chosen)) {
        setErrorMessage(QStringLiteral("Não foi possível manter o acesso à pasta de vídeos."));
        done(false);
        return;
    }
    stopFolderAccess();
    m_accessedFolder = *chosen;
    saveFolderBookmark(*chosen);
    done(true);
}

bool PlaybackSession::isPermissionError(const std::optional<MediaError> &error)
{
    if (!error)
        return false;
    if (error->code == MediaError::Code::NoPermissionToRead)
        return true;
    const QString text = error->description.toLower();
    return text.contains(QLatin1String("permission")) ||
           text.contains(QStringLiteral("permissão")) ||
           text.contains(QLatin1String("not permitted"));
}
