// GLib first: its headers use Qt's keyword `signals` as a name.
#include <gio/gdesktopappinfo.h>
#include <gio/gio.h>

#include "defaultapps.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QSaveFile>
#include <QStandardPaths>

#ifndef LUNELO_INSTALLED_EXECUTABLE
#define LUNELO_INSTALLED_EXECUTABLE "/usr/bin/lunelo"
#endif

namespace {

const QString kDesktopId = QStringLiteral("org.lunelo.Lunelo.desktop");

QString fromGChar(const char *text)
{
    return text ? QString::fromUtf8(text) : QString();
}

// The executable a desktop entry runs, resolved through PATH like the desktop does.
std::optional<QString> executableOf(GAppInfo *app)
{
    QString command = fromGChar(g_app_info_get_executable(app));
    // GIO hands back the first word of Exec as written, quotes and all.
    if (command.size() >= 2 && command.startsWith(QLatin1Char('"')) &&
        command.endsWith(QLatin1Char('"')))
        command = command.mid(1, command.size() - 2);
    if (command.isEmpty())
        return std::nullopt;
    const QString path =
        QFileInfo(command).isAbsolute() ? command : QStandardPaths::findExecutable(command);
    if (path.isEmpty())
        return command;
    const QString canonical = QFileInfo(path).canonicalFilePath();
    return canonical.isEmpty() ? path : canonical;
}

class GioDefaultApps final : public DefaultApps {
public:
    QString ownId() const override { return kDesktopId; }

    QString ownExecutable() const override
    {
        return QFileInfo(QCoreApplication::applicationFilePath()).canonicalFilePath();
    }

    QString installedExecutable() const override
    {
        return QStringLiteral(LUNELO_INSTALLED_EXECUTABLE);
    }

    std::optional<QString> defaultHandler(const QString &mimeType) const override
    {
        GAppInfo *app = g_app_info_get_default_for_type(mimeType.toUtf8().constData(), FALSE);
        if (!app)
            return std::nullopt;
        const QString id = fromGChar(g_app_info_get_id(app));
        g_object_unref(app);
        return id;
    }

    bool setDefaultHandler(const QString &mimeType, const QString &desktopId) override
    {
        GDesktopAppInfo *app = g_desktop_app_info_new(desktopId.toUtf8().constData());
        if (!app)
            return false;
        GError *error = nullptr;
        const bool ok = g_app_info_set_as_default_for_type(G_APP_INFO(app),
                                                           mimeType.toUtf8().constData(), &error);
        if (error)
            g_error_free(error);
        g_object_unref(app);
        return ok;
    }

    std::optional<QString> applicationFor(const QString &mimeType) const override
    {
        // What the desktop's own tools answer: xdg-mime, then the entry it names.
        QProcess query;
        query.start(QStringLiteral("xdg-mime"),
                    {QStringLiteral("query"), QStringLiteral("default"), mimeType});
        if (!query.waitForFinished(10000) || query.exitCode() != 0)
            return std::nullopt;
        const QString id = QString::fromUtf8(query.readAllStandardOutput()).trimmed();
        if (id.isEmpty())
            return std::nullopt;
        GDesktopAppInfo *app = g_desktop_app_info_new(id.toUtf8().constData());
        if (!app)
            return std::nullopt;
        std::optional<QString> executable = executableOf(G_APP_INFO(app));
        g_object_unref(app);
        return executable;
    }

    bool claim(const QString &mimeType) override
    {
        QProcess claim;
        claim.start(QStringLiteral("xdg-mime"), {QStringLiteral("default"), kDesktopId, mimeType});
        return claim.waitForFinished(10000) && claim.exitStatus() == QProcess::NormalExit &&
               claim.exitCode() == 0;
    }

    bool hasDesktopEntry() const override
    {
        GDesktopAppInfo *app = g_desktop_app_info_new(kDesktopId.toUtf8().constData());
        if (!app)
            return false;
        g_object_unref(app);
        return true;
    }

    bool writeDesktopEntry() override
    {
        const QString folder =
            QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
            QStringLiteral("/applications");
        if (!QDir().mkpath(folder))
            return false;
        QSaveFile file(folder + QLatin1Char('/') + kDesktopId);
        if (!file.open(QIODevice::WriteOnly))
            return false;
        // Exec takes a plain path as it is; one with spaces or shell characters is quoted,
        // with the characters special inside quotes escaped.
        QString exec = ownExecutable();
        static const QRegularExpression plain(QStringLiteral(R"(^[A-Za-z0-9/._+-]+$)"));
        if (!plain.match(exec).hasMatch()) {
            for (const QChar special :
                 {QLatin1Char('\\'), QLatin1Char('"'), QLatin1Char('`'), QLatin1Char('$')})
                exec.replace(special, QStringLiteral("\\") + special);
            exec = QLatin1Char('"') + exec + QLatin1Char('"');
        }
        const QString entry = QStringLiteral("[Desktop Entry]\n"
                                             "Type=Application\n"
                                             "Name=Lunelo\n"
                                             "Icon=org.lunelo.Lunelo\n"
                                             "Exec=%1 %U\n"
                                             "Terminal=false\n"
                                             "Categories=AudioVideo;Video;Player;\n"
                                             "MimeType=%2;\n")
                                  .arg(exec, videoMimeTypes().join(QLatin1Char(';')));
        file.write(entry.toUtf8());
        if (!file.commit())
            return false;
        // Let the desktop notice the new entry.
        QProcess::execute(QStringLiteral("update-desktop-database"), {folder});
        return true;
    }
};

} // namespace

const QStringList &videoMimeTypes()
{
    static const QStringList types{
        QStringLiteral("video/mp4"),        QStringLiteral("video/quicktime"),
        QStringLiteral("video/x-m4v"),      QStringLiteral("video/x-msvideo"),
        QStringLiteral("video/x-matroska"), QStringLiteral("video/webm"),
        QStringLiteral("video/mpeg"),       QStringLiteral("video/mp2t"),
        QStringLiteral("video/3gpp"),
    };
    return types;
}

std::unique_ptr<DefaultApps> DefaultApps::create()
{
    return std::make_unique<GioDefaultApps>();
}
