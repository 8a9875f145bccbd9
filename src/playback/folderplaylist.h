#pragma once

#include <QList>
#include <QSet>
#include <QString>
#include <QUrl>

#include <optional>

// A folder's videos in the order the file manager shows them, and the identity of a file
// location. Stateless; any thread.
namespace FolderPlaylist {

// The locations of `listing` whose extension, in lower case, is in `extensions`, sorted by name
// the way a file manager does: natural (clip2 before clip10), case-insensitive, in the user's
// locale. Names that compare equal keep their order in `listing`. Only the extension decides:
// whether an entry is a file, a folder or a link is not looked at.
[[nodiscard]] QList<QUrl> videos(const QList<QUrl> &listing, const QSet<QString> &extensions);

// A key that two locations of the same file share: the path with "." and ".." resolved, the
// symbolic links of its existing part resolved, in lower case. A path that does not exist still
// gets a key (its missing components follow the resolved existing part). Touches the file
// system: one lookup per missing component and one path resolution.
[[nodiscard]] QString identity(const QUrl &location);

// A folder's entries, by name, in the order the file system lists them.
struct Listing {
    QStringList names;
    QSet<QString> links; // names of the entries that are symbolic links
};

// The entries of `folder`, hidden ones left out, without descending into subfolders; nothing
// when the folder cannot be read. Blocks on the file system: one directory read.
[[nodiscard]] std::optional<Listing> list(const QUrl &folder);

// The locations of the entries of `listing`, which lists `folder`.
[[nodiscard]] QList<QUrl> locations(const Listing &listing, const QUrl &folder);

// The video one step after (`direction` 1) or before (-1) `file` among the videos of `listing`
// (which lists `folder`), wrapping around: the same as finding `file` in videos() with
// indexOf() and stepping, but found in one pass over the names, without sorting them or making
// a location of each. Nothing when there are fewer than two videos or `file` is not among them.
[[nodiscard]] std::optional<QUrl> neighbour(const QUrl &file, const Listing &listing,
                                            const QUrl &folder, const QSet<QString> &extensions,
                                            int direction);

// The index of the first of `videos` (entries of `folder`, whose `links` came with its listing)
// that has the identity of `file`; -1 when there is none. Resolves only the links' paths.
[[nodiscard]] qsizetype indexOf(const QUrl &file, const QList<QUrl> &videos, const QUrl &folder,
                                const QSet<QString> &links);

// The folder that holds `file`.
[[nodiscard]] inline QUrl folderOf(const QUrl &file)
{
    return file.adjusted(QUrl::RemoveFilename | QUrl::StripTrailingSlash);
}

// The lower-case extension of a file name: the text after its last dot; empty without one.
[[nodiscard]] QString extension(const QString &fileName);

} // namespace FolderPlaylist
