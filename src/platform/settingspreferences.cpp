#include "preferences.h"

#include <QDateTime>
#include <QFile>
#include <QHash>
#include <QSettings>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace {

// How long the end of the process waits for the last writes to reach a slow disk.
constexpr auto kExitWait = std::chrono::seconds(5);

// Writes values to the file on a thread of its own, so that a slow or stalled disk (a home
// folder on a network share) never holds up the caller. Values are written in the order they
// were set, the newest of each key winning when several wait; every write goes through a
// temporary file renamed over the old one, so the file is always whole.
class Writer {
public:
    explicit Writer(QString fileName)
        : m_state(std::make_shared<State>())
    {
        m_thread = std::thread([state = m_state, fileName = std::move(fileName)] {
            QSettings settings(fileName, QSettings::IniFormat);
            settings.setAtomicSyncRequired(true);
            std::unique_lock lock(state->mutex);
            for (;;) {
                state->wake.wait(lock,
                                 [&] { return !state->pending.isEmpty() || state->stopping; });
                if (state->pending.isEmpty())
                    break;
                const QList<std::pair<QString, QVariant>> batch = std::exchange(state->pending, {});
                lock.unlock();
                for (const auto &[key, value] : batch)
                    settings.setValue(key, value);
                settings.sync();
                lock.lock();
            }
            state->finished = true;
            state->wake.notify_all();
        });
    }

    ~Writer()
    {
        std::unique_lock lock(m_state->mutex);
        m_state->stopping = true;
        m_state->wake.notify_all();
        // A disk that does not answer keeps its last writes; the process ends without them.
        if (m_state->wake.wait_for(lock, kExitWait, [&] { return m_state->finished; })) {
            lock.unlock();
            m_thread.join();
        } else {
            m_thread.detach();
        }
    }

    void write(const QString &key, const QVariant &value)
    {
        std::lock_guard lock(m_state->mutex);
        m_state->pending.append({key, value});
        m_state->wake.notify_all();
    }

private:
    struct State {
        std::mutex mutex;
        std::condition_variable wake;
        QList<std::pair<QString, QVariant>> pending;
        bool stopping = false;
        bool finished = false;
    };

    std::shared_ptr<State> m_state;
    std::thread m_thread;
};

// QSettings in the native format: the organisation and application names set at start-up
// decide the file. The file is read once, at construction; from then on values are answered
// from memory and every write goes to the file through the writer, soon after the call.
//
// A damaged file (garbage, a cut-off write, values of the wrong type) is read for what it holds:
// a value that cannot be read as its type reads as absent, so its default applies. QSettings
// writes the values it could read back over such a file at the next write, which leaves a
// well-formed file; what it could not read is lost then, so a file it could not parse whole is
// first copied aside, as "<file>.damaged-<time>", for the user to look at.
class SettingsPreferences final : public Preferences {
public:
    SettingsPreferences()
        : m_writer(load())
    {
    }

    [[nodiscard]] bool boolValue(const QString &key) const override
    {
        const QVariant v = value(key);
        // INI files store booleans as text; anything but a clear true or false is absent.
        if (v.typeId() == QMetaType::Bool)
            return v.toBool();
        const QString text = v.toString();
        return text == QLatin1String("true");
    }
    void setBool(const QString &key, bool value) override { write(key, value); }

    [[nodiscard]] std::optional<QString> stringValue(const QString &key) const override
    {
        const QVariant v = value(key);
        if (!v.isValid() || v.typeId() != QMetaType::QString)
            return std::nullopt;
        return v.toString();
    }
    void setString(const QString &key, const QString &value) override { write(key, value); }

    [[nodiscard]] std::optional<QByteArray> dataValue(const QString &key) const override
    {
        const QVariant v = value(key);
        if (v.typeId() != QMetaType::QByteArray)
            return std::nullopt;
        return v.toByteArray();
    }
    void setData(const QString &key, const QByteArray &value) override { write(key, value); }

private:
    // Reads the whole file into memory; the file's name.
    QString load()
    {
        QSettings settings;
        // Sections are parsed as they are first read: read them all, so the status is the
        // whole file's.
        for (const QString &key : settings.allKeys())
            m_values.insert(key, settings.value(key));
        if (settings.status() == QSettings::FormatError) {
            const QString stamp =
                QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMdd'T'HHmmss'Z'"));
            QFile::copy(settings.fileName(),
                        settings.fileName() + QStringLiteral(".damaged-") + stamp);
        }
        return settings.fileName();
    }

    QVariant value(const QString &key) const
    {
        std::lock_guard lock(m_mutex);
        return m_values.value(key);
    }

    void write(const QString &key, const QVariant &value)
    {
        {
            std::lock_guard lock(m_mutex);
            m_values.insert(key, value);
        }
        m_writer.write(key, value);
    }

    mutable std::mutex m_mutex;
    QHash<QString, QVariant> m_values;
    Writer m_writer;
};

} // namespace

std::unique_ptr<Preferences> createStandardPreferences()
{
    return std::make_unique<SettingsPreferences>();
}
