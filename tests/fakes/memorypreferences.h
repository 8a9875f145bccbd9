#pragma once

#include "preferences.h"

#include <QHash>
#include <QVariant>

#include <mutex>

// Preferences held in memory, for tests that need no file. Any thread, like the real store.
class MemoryPreferences final : public Preferences {
public:
    bool boolValue(const QString &key) const override
    {
        const QVariant v = value(key);
        return v.typeId() == QMetaType::Bool && v.toBool();
    }
    void setBool(const QString &key, bool value) override { insert(key, value); }

    std::optional<QString> stringValue(const QString &key) const override
    {
        const QVariant v = value(key);
        if (v.typeId() != QMetaType::QString)
            return std::nullopt;
        return v.toString();
    }
    void setString(const QString &key, const QString &value) override { insert(key, value); }

    std::optional<QByteArray> dataValue(const QString &key) const override
    {
        const QVariant v = value(key);
        if (v.typeId() != QMetaType::QByteArray)
            return std::nullopt;
        return v.toByteArray();
    }
    void setData(const QString &key, const QByteArray &value) override { insert(key, value); }

    QHash<QString, QVariant> values;

private:
    QVariant value(const QString &key) const
    {
        std::lock_guard lock(m_mutex);
        return values.value(key);
    }
    void insert(const QString &key, const QVariant &value)
    {
        std::lock_guard lock(m_mutex);
        values.insert(key, value);
    }
    mutable std::mutex m_mutex;
};
