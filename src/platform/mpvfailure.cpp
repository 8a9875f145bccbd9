#include "mpvfailure.h"

#include <QFile>
#include <QFileInfo>

#include <mpv/client.h>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// How text files that list other media begin (playlists, streaming manifests, edit lists).
// Such a file named like a video is refused, never followed; the user learns what it is.
constexpr const char *kPlaylistSignatures[] = {
    "#EXTM3U", "[playlist]", "# mpv EDL", "ffconcat version", "<MPD",
};

bool looksLikePlaylist(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    QByteArray head = file.read(512);
    if (head.startsWith("\xEF\xBB\xBF"))
        head.remove(0, 3);
    const QByteArray start = head.trimmed().left(32).toLower();
    for (const char *signature : kPlaylistSignatures) {
        const QByteArray s = QByteArray(signature).toLower();
        // A DASH manifest's root element follows an XML declaration.
        if (s.startsWith('<') ? head.toLower().contains(s) : start.startsWith(s))
            return true;
    }
    return false;
}

} // namespace

MediaError playlistError()
{
    return {MediaError::Code::UnsupportedSource,
            QStringLiteral("Este arquivo é uma lista de reprodução, não um vídeo.")};
}

MediaError specialFileError()
{
    return {MediaError::Code::UnsupportedSource,
            QStringLiteral("Este é um arquivo especial do sistema (pipe, soquete ou dispositivo), "
                           "não um vídeo.")};
}

bool isSpecialFile(const QString &path)
{
    struct stat info {};
    return ::stat(QFile::encodeName(path).constData(), &info) == 0 &&
           (S_ISFIFO(info.st_mode) || S_ISSOCK(info.st_mode) || S_ISCHR(info.st_mode) ||
            S_ISBLK(info.st_mode));
}

MediaError describeFailure(const QString &path, int mpvError)
{
    using Code = MediaError::Code;
    if (path.isEmpty())
        return {Code::UnsupportedSource,
                QStringLiteral("Este endereço não é um arquivo de vídeo.")};
    // Permission first: a file in a folder the process may not enter does not seem to exist.
    const QByteArray native = QFile::encodeName(path);
    const int fd = ::open(native.constData(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0 && (errno == EACCES || errno == EPERM))
        return {Code::NoPermissionToRead, QStringLiteral("Sem permissão para ler este vídeo.")};
    if (fd >= 0)
        ::close(fd);
    const QFileInfo info(path);
    if (!info.exists())
        return {Code::FileNotFound,
                QStringLiteral("O vídeo não foi encontrado. Ele pode ter sido movido ou apagado.")};
    if (info.isDir()) // named like a video, met among a folder's videos
        return {Code::UnsupportedSource,
                QStringLiteral("Esta é uma pasta, não um arquivo de vídeo.")};
    switch (mpvError) {
    case MPV_ERROR_UNKNOWN_FORMAT:
        if (looksLikePlaylist(path))
            return playlistError();
        return {Code::UnrecognizedFormat,
                QStringLiteral("O formato deste arquivo não é reconhecido.")};
    case MPV_ERROR_NOTHING_TO_PLAY:
        return {Code::NothingToPlay,
                QStringLiteral("Este arquivo não tem imagem nem som que o Lunelo consiga "
                               "reproduzir.")};
    default:
        return {Code::Unknown, QStringLiteral("Não foi possível abrir este vídeo.")};
    }
}
