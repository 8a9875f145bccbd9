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

    // The file location a drag carries: its first URL, or the path its text names (an absolute
    // path or a file URL); empty when it carries none, such as a web address or a word of text.
    Q_INVOKABLE static QUrl fileLocation(const QList<QUrl> &urls, const QString &text);

    // Takes a drop of `urls` or `text`. False when it carries no file location (it is refused);
    // otherwise the drop is accepted, video or not.
    Q_INVOKABLE bool handleDrop(const QList<QUrl> &urls, const QString &text);

    // A video by its extension, or by a type the desktop's MIME database gives that extension
    // (any video or audio type; "clip.ts" is also a translation file).
    [[nodiscard]] static bool isVideo(const QUrl &url);

signals:
    void sessionChanged();

private:
    QPointer<PlaybackSession> m_session;
};
