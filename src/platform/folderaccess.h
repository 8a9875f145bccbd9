#pragma once

#include <QByteArray>
#include <QUrl>

#include <memory>
#include <optional>

// Access to files and folders the user handed over, where the platform confines the process to
// them (a sandbox), and bookmarks that carry a granted folder across launches. Any thread.
// startAccessing() and resolveBookmark() may look at the file system (one lookup), which can
// block on a stalled share: the session calls them away from the GUI thread.
class FolderAccess {
public:
    // A bookmark turned back into a location.
    struct Resolved {
        QUrl url;
        // The bookmark still works but should be replaced by a fresh one of `url`.
        bool isStale = false;
    };

    virtual ~FolderAccess() = default;

    // Whether the process is confined to what the user handed over. Fixed for the process.
    [[nodiscard]] virtual bool isSandboxed() const = 0;

    // Starts access to the file or folder at `url`; false when the platform refuses it. Every
    // start that succeeded is balanced by exactly one stopAccessing() of the same location.
    virtual bool startAccessing(const QUrl &url) = 0;
    virtual void stopAccessing(const QUrl &url) = 0;

    // Opaque data that finds `url` again in a later process; nothing when it cannot be made.
    [[nodiscard]] virtual std::optional<QByteArray> createBookmark(const QUrl &url) = 0;
    // The location `bookmark` denotes; nothing when the data is unreadable or the location gone.
    [[nodiscard]] virtual std::optional<Resolved> resolveBookmark(const QByteArray &bookmark) = 0;
};

// Whether the process runs in Flatpak's sandbox, where only the desktop's own (portal) choosers
// reach files outside it. Linux only.
[[nodiscard]] bool runsInFlatpak();

// This platform's folder access. Linux: outside Flatpak nothing is confined, access always
// starts and a bookmark is the folder's path; inside Flatpak the process is sandboxed and a
// folder is reachable once the user chose it in the (portal's) folder chooser.
std::unique_ptr<FolderAccess> createFolderAccess();
