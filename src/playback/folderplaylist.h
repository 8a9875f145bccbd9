#pragma once

#include <QList>
#include <QSet>
#include <QString>
#include <QUrl>

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

// The lower-case extension of a file name: the text after its last dot; empty without one.
[[nodiscard]] QString extension(const QString &fileName);

} // namespace FolderPlaylist
