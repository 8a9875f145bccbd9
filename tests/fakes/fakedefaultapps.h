#pragma once

#include "defaultapps.h"

#include <QHash>
#include <QStringList>

#include <atomic>
#include <mutex>

// A desktop whose default applications the test sets and whose claims it scripts. Every call
// is recorded. Claims may come from a worker thread, hence the lock.
class FakeDefaultApps final : public DefaultApps {
public:
    QString ownId() const override { return QStringLiteral("org.lunelo.Lunelo.desktop"); }
    QString ownExecutable() const override { return QStringLiteral("/build/lunelo"); }
    QString installedExecutable() const override { return QStringLiteral("/usr/bin/lunelo"); }

    std::optional<QString> defaultHandler(const QString &mimeType) const override
    {
        std::lock_guard lock(mutex);
        calls << QStringLiteral("registry? ") + mimeType;
        return registry.contains(mimeType) ? std::optional(registry.value(mimeType)) : std::nullopt;
    }
    bool setDefaultHandler(const QString &mimeType, const QString &desktopId) override
    {
        std::lock_guard lock(mutex);
        calls << QStringLiteral("registry= ") + mimeType;
        if (registryRefuses)
            return false;
        registry.insert(mimeType, desktopId);
        return true;
    }
    std::optional<QString> applicationFor(const QString &mimeType) const override
    {
        std::lock_guard lock(mutex);
        calls << QStringLiteral("desktop? ") + mimeType;
        return desktop.contains(mimeType) ? std::optional(desktop.value(mimeType)) : std::nullopt;
    }
    bool claim(const QString &mimeType) override
    {
        std::lock_guard lock(mutex);
        calls << QStringLiteral("desktop= ") + mimeType;
        if (desktopRefuses)
            return false;
        desktop.insert(mimeType, ownExecutable());
        return true;
    }
    bool hasDesktopEntry() const override { return entryWritten; }
    bool writeDesktopEntry() override
    {
        entryWritten = true;
        return true;
    }

    QStringList takeCalls()
    {
        std::lock_guard lock(mutex);
        return std::exchange(calls, {});
    }

    QHash<QString, QString> registry; // MIME type → desktop id
    QHash<QString, QString> desktop;  // MIME type → executable
    bool registryRefuses = false;
    bool desktopRefuses = false;
    std::atomic_bool entryWritten = true;
    mutable QStringList calls;
    mutable std::mutex mutex;
};
