// Sibling videos and folder access: every step lists the open file's folder again, so files
// added or removed in between are seen; where the process is sandboxed the folder needs a grant,
// asked for once in a folder panel and remembered as a bookmark under the folder's identity.
#include "playbacksession.h"

#include "diskjobs.h"
#include "filepanels.h"
#include "folderaccess.h"
#include "folderplaylist.h"
#include "preferences.h"

#include <QPointer>
#include <QTimer>

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
    if (m_isOpening || m_isStepping) {
        // The disk has not answered yet: a held arrow adds up to one step, never a train of
        // opens, and never opens a file the user has already moved past.
        m_pendingSteps += direction;
        return;
    }
    if (isSandboxed() && !m_accessedFolder) {
        stepOnceGranted(direction);
        return;
    }
    m_isStepping = true;
    const quint64 generation = m_generation;
    m_diskJobs.run(
        this,
        [file = m_url, direction] {
            return FolderNavigator::find(file, direction, videoExtensions());
        },
        [this, generation, direction](const FolderNavigator::Sibling &found) {
            if (generation != m_generation)
                return; // another file was opened, or this one closed, meanwhile
            m_isStepping = false;
            siblingFound(found, direction);
        });
}

void PlaybackSession::siblingFound(const FolderNavigator::Sibling &found, int direction)
{
    if (const int more = std::exchange(m_pendingSteps, 0)) {
        // Asked for again while the disk was busy: one step for all, from the same file.
        if (direction + more != 0)
            openSibling(direction + more);
        return;
    }
    switch (found.outcome) {
    case FolderNavigator::Sibling::Outcome::Unlistable:
        stepOnceGranted(direction);
        break;
    case FolderNavigator::Sibling::Outcome::None:
        break;
    case FolderNavigator::Sibling::Outcome::Found:
        if (found.isReadable) {
            open(found.target);
            break;
        }
        requestFolderAccess(FolderPlaylist::folderOf(m_url),
                            [this, self = QPointer(this), target = found.target](bool granted) {
                                if (granted && self)
                                    open(target);
                            });
        break;
    }
}

// Asks for the open file's folder; the step is tried again once it is granted.
void PlaybackSession::stepOnceGranted(int direction)
{
    requestFolderAccess(FolderPlaylist::folderOf(m_url),
                        [this, self = QPointer(this), direction](bool granted) {
                            if (granted && self)
                                openSibling(direction);
                        });
}

// Steps asked for while the open file's access was being settled.
void PlaybackSession::resumeSteps()
{
    if (const int steps = std::exchange(m_pendingSteps, 0))
        openSibling(steps);
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

// Away from the GUI thread: identities and bookmarks touch the file system.
PlaybackSession::AccessPlan PlaybackSession::planAccess(const QUrl &file,
                                                        const std::optional<QUrl> &heldFolder,
                                                        FolderAccess *access,
                                                        const Preferences &preferences)
{
    AccessPlan plan;
    plan.file = file;
    if (!access)
        return plan;
    const QUrl folder = FolderPlaylist::folderOf(file);
    const QString identity = FolderPlaylist::identity(folder);
    plan.keepsFolder = heldFolder && FolderPlaylist::identity(*heldFolder) == identity;
    if (!plan.keepsFolder) {
        // The grant remembered for the folder, if any.
        const std::optional<QByteArray> bookmark =
            preferences.dataValue(kFolderBookmarkPrefix + identity);
        const std::optional<FolderAccess::Resolved> resolved =
            bookmark ? access->resolveBookmark(*bookmark) : std::nullopt;
        if (resolved && resolved->isStale) {
            plan.freshBookmark = access->createBookmark(resolved->url);
            plan.freshKey = bookmarkKey(resolved->url);
        }
        if (resolved && access->startAccessing(resolved->url))
            plan.restoredFolder = resolved->url;
    }
    plan.isFileAccessed = access->startAccessing(file);
    return plan;
}

void PlaybackSession::activateAccess(const AccessPlan &plan)
{
    if (!plan.keepsFolder) {
        stopFolderAccess();
        m_accessedFolder = plan.restoredFolder;
    }
    if (plan.freshBookmark)
        m_preferences.setData(*plan.freshKey, *plan.freshBookmark);
    stopFileAccess();
    if (plan.isFileAccessed)
        m_accessedUrl = plan.file;
}

// The accesses of a plan that came too late: another file was opened meanwhile.
void PlaybackSession::releaseAccess(const AccessPlan &plan)
{
    if (!m_folderAccess)
        return;
    if (plan.restoredFolder)
        m_folderAccess->stopAccessing(*plan.restoredFolder);
    if (plan.isFileAccessed)
        m_folderAccess->stopAccessing(plan.file);
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

// What the folder panel's choice came to.
struct PlaybackSession::Grant {
    QUrl folder;
    bool isFolder = false; // the folder asked for, by identity
    bool isAccessed = false;
    std::optional<QByteArray> bookmark;
    QString key;
};

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
    // Whether the user chose that folder, and the access and bookmark of it: from the disk.
    const quint64 generation = m_generation;
    m_diskJobs.run(
        this,
        [chosen = *chosen, folder, access = m_folderAccess] {
            Grant grant;
            grant.folder = chosen;
            grant.isFolder = FolderPlaylist::identity(chosen) == FolderPlaylist::identity(folder);
            grant.isAccessed = grant.isFolder && access && access->startAccessing(chosen);
            if (grant.isAccessed) {
                grant.bookmark = access->createBookmark(chosen);
                grant.key = bookmarkKey(chosen);
            }
            return grant;
        },
        [this, generation, done = std::move(done)](const Grant &grant) {
            if (generation == m_generation)
                grantFolder(grant, done);
            else if (grant.isAccessed)
                m_folderAccess->stopAccessing(grant.folder); // the user has moved on
        });
}

void PlaybackSession::grantFolder(const Grant &grant, const std::function<void(bool)> &done)
{
    if (!grant.isFolder) {
        setErrorMessage(
            QStringLiteral("Selecione a pasta que contém os vídeos para navegar entre eles."));
        done(false);
        return;
    }
    if (!grant.isAccessed) {
        setErrorMessage(QStringLiteral("Não foi possível manter o acesso à pasta de vídeos."));
        done(false);
        return;
    }
    stopFolderAccess();
    m_accessedFolder = grant.folder;
    if (grant.bookmark)
        m_preferences.setData(grant.key, *grant.bookmark);
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
