#pragma once

#include <QObject>
#include <QStringList>

#include <functional>
#include <memory>

class DefaultApps;

// Checks and claims the desktop's default-player role for video. Stateless: every answer is
// asked of the desktop at the time. The content types are named as on macOS and map to the
// desktop's MIME types.
namespace DefaultHandler {

// The seven content types claimed through the registry, in order.
[[nodiscard]] const QStringList &typeIds();
// The MIME types a content type stands for; none for a type the desktop does not know.
[[nodiscard]] QStringList mimeTypesFor(const QString &typeId);

// Blocking (they ask GIO and run xdg-mime): call them off the GUI thread.
[[nodiscard]] bool isDefault(DefaultApps &apps, const QString &typeId);
// The default test: this application opens MPEG-4 movies, or QuickTime movies.
[[nodiscard]] bool isDefaultPlayer(DefaultApps &apps);
bool claimAll(DefaultApps &apps);
bool claimModern(DefaultApps &apps);

// The same, on a worker thread; `done` runs on `context`'s thread unless `context` is gone.
void testAsync(std::shared_ptr<DefaultApps> apps, QObject *context, std::function<void(bool)> done);
void claimModernAsync(std::shared_ptr<DefaultApps> apps, QObject *context,
                      std::function<void(bool)> done);

} // namespace DefaultHandler
