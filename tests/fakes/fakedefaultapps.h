#pragma once

#include "defaultapps.h"

#include <QHash>
#include <QStringList>

#include <atomic>
#include <mutex>

// A desktop whose default applications the test sets and whose claims it scripts and records.
// Claims may come from a worker thread, hence the lock.
class FakeDefaultApps final : public DefaultApps {
public:
    QString ownId() const override { return QStringLiteral("org.lunelo.Lunelo.desktop"); }
    QString ownExecutable() const override { return QStringLiteral("/build/lunelo"); }
    QString installedExecutable() const override { return QStringLiteral("/usr/bin/lunelo"); }
    std::optional<QString> defaultHandler(const QString &mime) const override
    {
        return find(registry, mime);
    }
    std::optional<QString> applicationFor(const QString &mime) const override
    {
        return find(desktop, mime);
    }
    bool setDefaultHandler(const QString &mime, const QString &id) override
    {
        return take(registry, registryRefuses, mime, id);
    }
    bool claim(const QString &mime) override
    {
        return take(desktop, desktopRefuses, mime, ownExecutable());
    }
    bool hasDesktopEntry() const override { return entryWritten; }
    bool writeDesktopEntry() override { return entryWritten = true; }

    // The MIME types claimed, in the registry or from the desktop, since the last call.
    QStringList takeClaims()
    {
        std::lock_guard lock(mutex);
        return std::exchange(claims, {});
    }

    QHash<QString, QString> registry; // MIME type → desktop id
    QHash<QString, QString> desktop;  // MIME type → executable
    bool registryRefuses = false;
    bool desktopRefuses = false;
    std::atomic_bool entryWritten = true;

private:
    std::optional<QString> find(const QHash<QString, QString> &map, const QString &mime) const
    {
        std::lock_guard lock(mutex);
        return map.contains(mime) ? std::optional(map.value(mime)) : std::nullopt;
    }
    bool take(QHash<QString, QString> &map, bool refuses, const QString &mime, const QString &to)
    {
        std::lock_guard lock(mutex);
        claims << mime;
        if (!refuses)
            map.insert(mime, to);
        return !refuses;
    }

    QStringList claims;
    mutable std::mutex mutex;
};
