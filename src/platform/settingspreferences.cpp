#include "preferences.h"

#include <QDateTime>
#include <QFile>
#include <QSettings>

namespace {

// QSettings in the native format: the organisation and application names set at start-up
// decide the file. Every write is synced at once, so a value is on disk when the call returns,
// and goes through a temporary file renamed over the old one, so the file is always whole.
//
// A damaged file (garbage, a cut-off write, values of the wrong type) is read for what it holds:
// a value that cannot be read as its type reads as absent, so its default applies. QSettings
// writes the values it could read back over such a file at the next write, which leaves a
// well-formed file; what it could not read is lost then, so a file it could not parse whole is
// first copied aside, as "<file>.damaged-<time>", for the user to look at.
class SettingsPreferences final : public Preferences {
public:
    SettingsPreferences()
    {
        m_settings.setAtomicSyncRequired(true);
        keepDamagedFile();
    }

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
    void keepDamagedFile()
    {
        // Sections are parsed as they are first read: read them all, so the status is the
        // whole file's.
        (void)m_settings.allKeys();
        if (m_settings.status() != QSettings::FormatError)
            return;
        const QString file = m_settings.fileName();
        const QString stamp =
            QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMdd'T'HHmmss'Z'"));
        QFile::copy(file, file + QStringLiteral(".damaged-") + stamp);
    }

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
