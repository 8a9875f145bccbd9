#pragma once

#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>

// The desktop's default applications for MIME types. Two ways in, as on every desktop: the
// registry of default handlers (GIO) and the desktop's own claim (xdg-mime). Either may be
// slow (they read and write files, and run a program): call them off the GUI thread.
class DefaultApps {
public:
    virtual ~DefaultApps() = default;

    // This application's desktop id ("org.lunelo.Lunelo.desktop").
    [[nodiscard]] virtual QString ownId() const = 0;
    // The executable of this process, and where an installed copy of it lives.
    [[nodiscard]] virtual QString ownExecutable() const = 0;
    [[nodiscard]] virtual QString installedExecutable() const = 0;

    // The registry: the desktop id of the default handler of `mimeType`, if any.
    [[nodiscard]] virtual std::optional<QString> defaultHandler(const QString &mimeType) const = 0;
    // Makes `desktopId` the default handler; false when the registry refused.
    virtual bool setDefaultHandler(const QString &mimeType, const QString &desktopId) = 0;

    // The desktop: the executable of the application that opens `mimeType`, if any.
    [[nodiscard]] virtual std::optional<QString> applicationFor(const QString &mimeType) const = 0;
    // Makes this application the one that opens `mimeType`; false on failure.
    virtual bool claim(const QString &mimeType) = 0;

    // Where this application's desktop entry is: installed, or written for the user.
    [[nodiscard]] virtual bool hasDesktopEntry() const = 0;
    // Writes a desktop entry for this executable into the user's applications folder.
    virtual bool writeDesktopEntry() = 0;

    // GIO and xdg-mime on this desktop.
    static std::unique_ptr<DefaultApps> create();
};

// The MIME types of the eleven video extensions, as the desktop entry declares them.
[[nodiscard]] const QStringList &videoMimeTypes();
