#pragma once

#include "folderaccess.h"

#include <QHash>
#include <QSet>

// A sandbox in memory, for the grant paths: accesses that start or are refused, bookmarks that
// resolve, go stale or stop resolving, bookmarks that cannot be made. Counts the accesses held per
// path, so a test can see that every start was stopped.
class SimulatedSandbox final : public FolderAccess {
public:
    bool isSandboxed() const override { return sandboxed; }

    bool startAccessing(const QUrl &url) override
    {
        if (refusedStarts.contains(url.toLocalFile()))
            return false;
        ++held[url.toLocalFile()];
        return true;
    }
    void stopAccessing(const QUrl &url) override { --held[url.toLocalFile()]; }

    std::optional<QByteArray> createBookmark(const QUrl &url) override
    {
        return QByteArray::number(++bookmarksMade) + ' ' + url.toLocalFile().toUtf8();
    }

    std::optional<Resolved> resolveBookmark(const QByteArray &bookmark) override
    {
        const qsizetype space = bookmark.indexOf(' ');
        if (space < 0 || unresolvable.contains(bookmark))
            return std::nullopt;
        return Resolved{QUrl::fromLocalFile(QString::fromUtf8(bookmark.mid(space + 1))),
                        stale.contains(bookmark)};
    }

    // Accesses started and not yet stopped, for every path that ever had one.
    [[nodiscard]] bool allStopped() const
    {
        for (const int count : held)
            if (count != 0)
                return false;
        return true;
    }

    bool sandboxed = true;
    QSet<QString> refusedStarts;   // paths whose access does not start
    QSet<QByteArray> stale;        // bookmarks that resolve as stale
    QSet<QByteArray> unresolvable; // bookmarks that no longer resolve
    QHash<QString, int> held;      // path → starts minus stops
    int bookmarksMade = 0;
};
