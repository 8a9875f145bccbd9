#pragma once

#include "preferences.h"

#include <QHash>
#include <QVariant>

// Preferences held in memory, for tests that need no file.
class MemoryPreferences final : public Preferences {
public:
    bool boolValue(const QString &key) const override
    {
        const QVariant v = values.value(key);
        return v.typeId() == QMetaType::Bool && v.toBool();
    }
    void setBool(const QString &key, bool value) override { values.insert(key, value); }

    std::optional<QString> stringValue(const QString &key) const override
    {
        const QVariant v = values.value(key);
        if (v.typeId() != QMetaType::QString)
            return std::nullopt;
        return v.toString();
    }
    void setString(const QString &key, const QString &value) override { values.insert(key, value); }

    std::optional<QByteArray> dataValue(const QString &key) const override
    {
        const QVariant v = values.value(key);
        if (v.typeId() != QMetaType::QByteArray)
            return std::nullopt;
        return v.toByteArray();
    }
    void setData(const QString &key, const QByteArray &value) override
    {
        values.insert(key, value);
    }

    QHash<QString, QVariant> values;
};
