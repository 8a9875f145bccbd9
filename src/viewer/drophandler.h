#pragma once

#include <QObject>
#include <QPointer>
#include <QUrl>
#include <QtQml/qqmlregistration.h>

#include "playbacksession.h"

// Files dropped on the player window: the first one opens when it is a video, anything else
// is refused with a message while the open video keeps playing. GUI thread only.
class DropHandler : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(PlaybackSession *session READ session WRITE setSession NOTIFY sessionChanged FINAL)

public:
    using QObject::QObject;

    [[nodiscard]] PlaybackSession *session() const { return m_session; }
    void setSession(PlaybackSession *session);

    // Takes a drop of `urls` (the first one counts) or, without any, of `text` naming a path.
    // False when there is nothing to take; otherwise the drop is accepted, video or not.
    Q_INVOKABLE bool handleDrop(const QList<QUrl> &urls, const QString &text);

    // A video by its extension, or by the type the desktop's MIME database gives it (any video
    // or audio type).
    [[nodiscard]] static bool isVideo(const QUrl &url);

signals:
    void sessionChanged();

private:
    QPointer<PlaybackSession> m_session;
};
