#pragma once

#include <QSet>
#include <QString>
#include <QUrl>

// Finds the video a step through the open file's folder leads to. Lists the folder again at
// every step, so files added or removed in between are seen. Stateless; blocks on the file
// system (one directory read, a few lookups, one open): any thread but the GUI's.
namespace FolderNavigator {

// What a step found on the disk.
struct Sibling {
    enum class Outcome {
        Unlistable, // the folder could not be read
        None,       // fewer than two videos, or the file is not among them
        Found,
    };
    Outcome outcome = Outcome::None;
    QUrl target;
    bool isReadable = false; // whether the process can open the target
};

// The video `direction` places after (positive) or before (negative) `file` among the videos
// of its folder (those whose extension is in `extensions`, in file-manager order), wrapping
// around at both ends.
[[nodiscard]] Sibling find(const QUrl &file, int direction, const QSet<QString> &extensions);

// Whether the system lets the process read the file. Pipes, sockets and devices named like
// videos are not a matter of access: they count as readable, and the engine says what they are.
[[nodiscard]] bool canReadMedia(const QUrl &url);

} // namespace FolderNavigator
