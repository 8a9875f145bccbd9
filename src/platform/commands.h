#pragma once

#include <QObject>
#include <QString>

// The application's command notifications: parts post a name, observers react. GUI thread only;
// delivery is synchronous, in the order observers connected.
namespace CommandName {
inline const QString zoomIn = QStringLiteral("Lunelo.zoomIn");
inline const QString zoomOut = QStringLiteral("Lunelo.zoomOut");
inline const QString zoomReset = QStringLiteral("Lunelo.zoomReset");
inline const QString requestClosePreview = QStringLiteral("Lunelo.requestClosePreview");
inline const QString rateNudged = QStringLiteral("Lunelo.rateNudged");
} // namespace CommandName

class Commands : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    Q_INVOKABLE void post(const QString &name) { emit posted(name); }

signals:
    void posted(const QString &name);
};
