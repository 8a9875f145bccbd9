#pragma once

#include "preferences.h"

#include <QHash>
#include <QVariant>

#include <mutex>

// Preferences held in memory, for tests that need no file. Any thread, like the real store; a
// value of another type reads as absent.
class MemoryPreferences final : public Preferences {
public:
    bool boolValue(const QString &key) const override { return get<bool>(key).value_or(false); }
    void setBool(const QString &key, bool value) override { set(key, value); }
    std::optional<QString> stringValue(const QString &key) const override
    {
        return get<QString>(key);
    }
    void setString(const QString &key, const QString &value) override { set(key, value); }
    std::optional<QByteArray> dataValue(const QString &key) const override
    {
        return get<QByteArray>(key);
    }
    void setData(const QString &key, const QByteArray &value) override { set(key, value); }

    QHash<QString, QVariant> values;

private:
    template<typename T> std::optional<T> get(const QString &key) const
    {
        std::lock_guard lock(m_mutex);
        const QVariant v = values.value(key);
        return v.typeId() == qMetaTypeId<T>() ? std::optional(v.value<T>()) : std::nullopt;
    }
    void set(const QString &key, const QVariant &value)
    {
        std::lock_guard lock(m_mutex);
        values.insert(key, value);
    }
    mutable std::mutex m_mutex;
};
