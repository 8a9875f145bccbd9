#include "foldernavigator.h"

#include "folderplaylist.h"

#include <QFile>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

FolderNavigator::Sibling FolderNavigator::find(const QUrl &file, int direction,
                                               const QSet<QString> &extensions)
{
    const QUrl folder = FolderPlaylist::folderOf(file);
    const std::optional<FolderPlaylist::Listing> listing = FolderPlaylist::list(folder);
    if (!listing)
        return {Sibling::Outcome::Unlistable, {}, false};
    QUrl target;
    if (direction == 1 || direction == -1) {
        // The keys' single steps, in one pass over the folder.
        const std::optional<QUrl> next =
            FolderPlaylist::neighbour(file, *listing, folder, extensions, direction);
        if (!next)
            return {}; // fewer than two videos, or the file moved or renamed since it was opened
        target = *next;
    } else {
        const QList<QUrl> videos =
            FolderPlaylist::videos(FolderPlaylist::locations(*listing, folder), extensions);
        const qsizetype n = videos.size();
        if (n < 2)
            return {};
        const qsizetype i = FolderPlaylist::indexOf(file, videos, folder, listing->links);
        if (i < 0)
            return {}; // moved or renamed since it was opened
        target = videos[((i + direction) % n + n) % n];
    }
    return {Sibling::Outcome::Found, target, canReadMedia(target)};
}

// Opened without waiting: a pipe would wait for a writer.
bool FolderNavigator::canReadMedia(const QUrl &url)
{
    const QByteArray path = QFile::encodeName(url.toLocalFile());
    struct stat info {};
    if (::stat(path.constData(), &info) == 0 && !S_ISREG(info.st_mode) && !S_ISDIR(info.st_mode))
        return true;
    if (::access(path.constData(), R_OK) != 0)
        return false;
    // Opened as the engine will open it. Something that opens but is no video (a folder named
    // like one) is the engine's to refuse, with its message; only what cannot be opened asks.
    const int fd = ::open(path.constData(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0)
        return false;
    ::close(fd);
    return true;
}
