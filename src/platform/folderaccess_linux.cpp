#include "folderaccess.h"

#include <QDir>
#include <QFileInfo>

namespace {

// A bookmark is the location's absolute path in UTF-8: paths are what a Linux desktop keeps to
// find a folder again, and a folder that was moved is simply gone.
class LinuxFolderAccess final : public FolderAccess {
public:
    explicit LinuxFolderAccess(bool isSandboxed)
        : m_isSandboxed(isSandboxed)
    {
    }

    [[nodiscard]] bool isSandboxed() const override { return m_isSandboxed; }

    bool startAccessing(const QUrl &url) override
    {
        // Flatpak has nothing to start: the document portal exposes what the user chose, so the
        // grant holds exactly when the location can be read.
        return !m_isSandboxed || QFileInfo(url.toLocalFile()).isReadable();
    }

    void stopAccessing(const QUrl &url) override { Q_UNUSED(url) }

    [[nodiscard]] std::optional<QByteArray> createBookmark(const QUrl &url) override
    {
        const QString path = url.toLocalFile();
        if (path.isEmpty() || !QDir::isAbsolutePath(path))
            return std::nullopt;
        return QDir::cleanPath(path).toUtf8();
    }

    [[nodiscard]] std::optional<Resolved> resolveBookmark(const QByteArray &bookmark) override
    {
        const QString path = QString::fromUtf8(bookmark);
        if (!QDir::isAbsolutePath(path) || !QFileInfo(path).isDir())
            return std::nullopt;
        return Resolved{QUrl::fromLocalFile(path), false};
    }

private:
    bool m_isSandboxed = false;
};

} // namespace

bool runsInFlatpak()
{
    // Flatpak mounts this file into every sandbox it runs.
    return QFileInfo::exists(QStringLiteral("/.flatpak-info"));
}

std::unique_ptr<FolderAccess> createFolderAccess()
{
    return std::make_unique<LinuxFolderAccess>(runsInFlatpak());
}
