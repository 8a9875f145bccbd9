#include "defaulthandler.h"

#include "defaultapps.h"

#include <QMetaObject>
#include <QPointer>

#include <thread>

namespace DefaultHandler {
namespace {

const QString kMpeg4 = QStringLiteral("public.mpeg-4");
const QString kQuickTime = QStringLiteral("com.apple.quicktime-movie");
const QString kM4v = QStringLiteral("com.apple.m4v-video");

// Runs `work` on a thread of its own and hands its answer back to `context`.
void runAsync(std::shared_ptr<DefaultApps> apps, QObject *context, bool (*work)(DefaultApps &),
              std::function<void(bool)> done)
{
    QPointer<QObject> target(context);
    std::thread([apps = std::move(apps), target, work, done = std::move(done)] {
        const bool answer = work(*apps);
        if (target)
            QMetaObject::invokeMethod(
                target,
                [target, done, answer] {
                    if (target)
                        done(answer);
                },
                Qt::QueuedConnection);
    }).detach();
}

} // namespace

const QStringList &typeIds()
{
    static const QStringList ids{
        QStringLiteral("public.movie"),
        kMpeg4,
        kQuickTime,
        kM4v,
        QStringLiteral("public.avi"),
        QStringLiteral("public.mpeg"),
        QStringLiteral("public.mpeg-2-video"),
    };
    return ids;
}

QStringList mimeTypesFor(const QString &typeId)
{
    static const QList<std::pair<QString, QString>> single{
        {kMpeg4, QStringLiteral("video/mp4")},
        {kQuickTime, QStringLiteral("video/quicktime")},
        {kM4v, QStringLiteral("video/x-m4v")},
        {QStringLiteral("public.avi"), QStringLiteral("video/x-msvideo")},
        {QStringLiteral("public.mpeg"), QStringLiteral("video/mpeg")},
        {QStringLiteral("public.mpeg-2-video"), QStringLiteral("video/mpeg")},
    };
    if (typeId == QLatin1String("public.movie"))
        return videoMimeTypes(); // every video type the desktop entry declares
    for (const auto &[id, mime] : single) {
        if (id == typeId)
            return {mime};
    }
    return {};
}

bool isDefault(DefaultApps &apps, const QString &typeId)
{
    const QStringList mimes = mimeTypesFor(typeId);
    if (mimes.isEmpty())
        return false;
    const QString &mime = mimes.first();
    // Exactly our id: a registry answer in another letter case names another entry.
    if (apps.defaultHandler(mime) == apps.ownId())
        return true;
    const std::optional<QString> app = apps.applicationFor(mime);
    if (!app)
        return false;
    // This very program, or the installed copy of it when this one runs from elsewhere.
    return *app == apps.ownExecutable() || *app == apps.installedExecutable();
}

bool isDefaultPlayer(DefaultApps &apps)
{
    return isDefault(apps, kMpeg4) || isDefault(apps, kQuickTime);
}

bool claimAll(DefaultApps &apps)
{
    if (!apps.hasDesktopEntry())
        apps.writeDesktopEntry();
    for (const QString &id : typeIds()) {
        for (const QString &mime : mimeTypesFor(id))
            apps.setDefaultHandler(mime, apps.ownId()); // a refusal does not stop the others
    }
    return isDefaultPlayer(apps);
}

bool claimModern(DefaultApps &apps)
{
    if (isDefaultPlayer(apps))
        return true;
    if (claimAll(apps))
        return true;
    // The desktop's own claim, one type after the other; a failure goes on to the next.
    for (const QString &id : {kMpeg4, kQuickTime, kM4v}) {
        for (const QString &mime : mimeTypesFor(id))
            apps.claim(mime);
    }
    return isDefaultPlayer(apps);
}

void testAsync(std::shared_ptr<DefaultApps> apps, QObject *context, std::function<void(bool)> done)
{
    runAsync(std::move(apps), context, &isDefaultPlayer, std::move(done));
}

void claimModernAsync(std::shared_ptr<DefaultApps> apps, QObject *context,
                      std::function<void(bool)> done)
{
    runAsync(std::move(apps), context, &claimModern, std::move(done));
}

} // namespace DefaultHandler
