#include "drophandler.h"

#include "folderplaylist.h"
#include "playbacksession.h"

#include <QMimeDatabase>

#include <algorithm>

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
    // By extension only: the file's contents are the engine's to judge. An extension may name
    // several types; any of them will do.
    const QList<QMimeType> types = QMimeDatabase().mimeTypesForFileName(name);
    return std::any_of(types.begin(), types.end(), [](const QMimeType &type) {
        const QStringList ancestors = type.allAncestors();
        return isAudiovisual(type.name()) ||
               std::any_of(ancestors.begin(), ancestors.end(), isAudiovisual);
    });
}

QUrl DropHandler::fileLocation(const QList<QUrl> &urls, const QString &text)
{
    if (!urls.isEmpty())
        return urls.first().isLocalFile() ? urls.first() : QUrl();
    QString path = text;
    while (path.endsWith(QLatin1Char('\n')) || path.endsWith(QLatin1Char('\r')))
        path.chop(1);
    if (path.startsWith(QLatin1String("file:")))
        return QUrl(path).isLocalFile() ? QUrl(path) : QUrl();
    return path.startsWith(QLatin1Char('/')) ? QUrl::fromLocalFile(path) : QUrl();
}

bool DropHandler::handleDrop(const QList<QUrl> &urls, const QString &text)
{
    const QUrl location = fileLocation(urls, text);
    if (location.isEmpty())
        return false;
    if (!m_session)
        return true;
    if (isVideo(location))
        m_session->open(location);
    else
        m_session->setErrorMessage(kNotAVideo);
    return true;
}
