#include "preferences.h"

#include <QSettings>

namespace {

// QSettings in the native format: the organisation and application names set at start-up
// decide the file. Every write is synced at once, so a value is on disk when the call returns.
class SettingsPreferences final : public Preferences {
public:
    [[nodiscard]] bool boolValue(const QString &key) const override
    {
        const QVariant v = m_settings.value(key);
        // INI files store booleans as text; anything but a clear true or false is absent.
        if (v.typeId() == QMetaType::Bool)
            return v.toBool();
        const QString text = v.toString();
        return text == QLatin1String("true");
    }
    void setBool(const QString &key, bool value) override { write(key, value); }

    [[nodiscard]] std::optional<QString> stringValue(const QString &key) const override
    {
        const QVariant v = m_settings.value(key);
        if (!v.isValid() || v.typeId() != QMetaType::QString)
            return std::nullopt;
        return v.toString();
    }
    void setString(const QString &key, const QString &value) override { write(key, value); }

    [[nodiscard]] std::optional<QByteArray> dataValue(const QString &key) const override
    {
        const QVariant v = m_settings.value(key);
        if (v.typeId() != QMetaType::QByteArray)
            return std::nullopt;
        return v.toByteArray();
    }
    void setData(const QString &key, const QByteArray &value) override { write(key, value); }

private:
    void write(const QString &key, const QVariant &value)
    {
        m_settings.setValue(key, value);
        m_settings.sync();
    }

    mutable QSettings m_settings;
};

} // namespace

std::unique_ptr<Preferences> createStandardPreferences()
{
    return std::make_unique<SettingsPreferences>();
}
