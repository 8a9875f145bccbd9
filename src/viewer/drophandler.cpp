#include "drophandler.h"

#include "folderplaylist.h"
#include "playbacksession.h"

#include <QMimeDatabase>

namespace {

const QString kNotAVideo = QStringLiteral("Isso não é um vídeo que o Lunelo consiga abrir.");

bool isAudiovisual(const QString &mimeName)
{
    return mimeName.startsWith(QLatin1String("video/")) ||
           mimeName.startsWith(QLatin1String("audio/"));
}

} // namespace

void DropHandler::setSession(PlaybackSession *session)
{
    if (m_session == session)
        return;
    m_session = session;
    emit sessionChanged();
}

bool DropHandler::isVideo(const QUrl &url)
{
    const QString name = url.fileName();
    const QString extension = FolderPlaylist::extension(name);
    if (PlaybackSession::videoExtensions().contains(extension))
        return true;
    if (extension.isEmpty())
        return false;
    // By extension only: the file's contents are the engine's to judge.
    const QMimeType type = QMimeDatabase().mimeTypeForFile(name, QMimeDatabase::MatchExtension);
    if (!type.isValid() || type.isDefault())
        return false;
    if (isAudiovisual(type.name()))
        return true;
    const QStringList ancestors = type.allAncestors();
    return std::any_of(ancestors.begin(), ancestors.end(), isAudiovisual);
}

bool DropHandler::handleDrop(const QList<QUrl> &urls, const QString &text)
{
    QUrl location;
    if (!urls.isEmpty()) {
        location = urls.first();
    } else if (!text.isEmpty()) {
        QString path = text;
        while (path.endsWith(QLatin1Char('\n')) || path.endsWith(QLatin1Char('\r')))
            path.chop(1);
        location = QUrl::fromLocalFile(path);
    } else {
        return false;
    }
    // Accepted from here on; a location that is no local file is dropped silently.
    if (!m_session || !location.isLocalFile())
        return true;
    if (isVideo(location))
        m_session->open(location);
    else
        m_session->setErrorMessage(kNotAVideo);
    return true;
}
