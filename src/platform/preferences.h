#pragma once

#include <QByteArray>
#include <QString>

#include <memory>
#include <optional>

// The user's preferences store: a handful of named values that outlive the process. Any thread.
// Reads answer from memory and never block. A write is read back at once and reaches the disk
// soon after, without the caller waiting for it (a stalled disk holds up no one); writes reach
// it in order and atomically: a crash never leaves a half-written store behind.
class Preferences {
public:
    virtual ~Preferences() = default;

    // False when the key is absent or holds something other than a boolean.
    [[nodiscard]] virtual bool boolValue(const QString &key) const = 0;
    virtual void setBool(const QString &key, bool value) = 0;

    [[nodiscard]] virtual std::optional<QString> stringValue(const QString &key) const = 0;
    virtual void setString(const QString &key, const QString &value) = 0;

    [[nodiscard]] virtual std::optional<QByteArray> dataValue(const QString &key) const = 0;
    virtual void setData(const QString &key, const QByteArray &value) = 0;
};

// The application's store: $XDG_CONFIG_HOME/Lunelo/Lunelo.conf on Linux.
std::unique_ptr<Preferences> createStandardPreferences();
