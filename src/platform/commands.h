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
    // The names, for views that post them.
    Q_PROPERTY(QString zoomIn MEMBER m_zoomIn CONSTANT FINAL)
    Q_PROPERTY(QString zoomOut MEMBER m_zoomOut CONSTANT FINAL)
    Q_PROPERTY(QString zoomReset MEMBER m_zoomReset CONSTANT FINAL)

public:
    using QObject::QObject;

    Q_INVOKABLE void post(const QString &name) { emit posted(name); }

signals:
    void posted(const QString &name);

private:
    const QString m_zoomIn = CommandName::zoomIn;
    const QString m_zoomOut = CommandName::zoomOut;
    const QString m_zoomReset = CommandName::zoomReset;
};
