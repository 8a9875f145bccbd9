// A folder's videos and the identity of a location, for any names a folder may hold: the videos
// are exactly the entries with a video extension, each once, in file-manager order; sorting
// them again changes nothing; an identity is a clean, absolute, lower-case path.
#include "folderplaylist.h"
#include "fuzzcheck.h"
#include "playbacksession.h"

#include <QCollator>
#include <QLocale>
#include <QUrl>

#include <cstdint>

namespace {

// Lines of the input; as entries of a folder, without what a name cannot hold.
QStringList linesOf(const QByteArray &input)
{
    QStringList lines;
    for (const QByteArray &line : input.split('\n'))
        lines << QString::fromUtf8(line);
    return lines;
}

QStringList entryNames(const QStringList &lines)
{
    QStringList names;
    for (QString name : lines) {
        name.remove(QLatin1Char('/')).remove(QChar(0));
        if (!name.isEmpty() && name != QLatin1String(".") && name != QLatin1String(".."))
            names << name;
    }
    return names;
}

void checkVideos(const QStringList &names)
{
    const QSet<QString> &extensions = PlaybackSession::videoExtensions();
    QList<QUrl> listing;
    for (const QString &name : names)
        listing << QUrl::fromLocalFile(QStringLiteral("/folder/") + name);
    const QList<QUrl> videos = FolderPlaylist::videos(listing, extensions);

    qsizetype wanted = 0;
    for (const QUrl &url : listing)
        wanted += extensions.contains(FolderPlaylist::extension(url.fileName()));
    fuzzCheck(videos.size() == wanted, "every entry with a video extension is kept");
    for (const QUrl &video : videos) {
        fuzzCheck(extensions.contains(FolderPlaylist::extension(video.fileName())),
                  "only entries with a video extension are kept", video.fileName());
        fuzzCheck(videos.count(video) == listing.count(video), "each entry is kept once",
                  video.fileName());
    }
    // The order the header promises: natural, case-insensitive, in the locale (C: English).
    QCollator collator{QLocale(QLocale::English)};
    collator.setNumericMode(true);
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    for (qsizetype i = 1; i < videos.size(); ++i) {
        fuzzCheck(collator.compare(videos[i - 1].fileName(), videos[i].fileName()) <= 0,
                  "videos come in file-manager order",
                  videos[i - 1].fileName() + QLatin1String(" > ") + videos[i].fileName());
    }
    fuzzCheck(FolderPlaylist::videos(videos, extensions) == videos, "sorting again is stable");
}

void checkIdentity(const QStringList &components)
{
    // A path from a folder that does not exist, with empty, dot and dot-dot components as the
    // input has them: it may climb out into folders that do exist.
    QString path = QStringLiteral("/lunelo-fuzz-nonexistent/") + components.join(QLatin1Char('/'));
    path.remove(QChar(0));
    const QString key = FolderPlaylist::identity(QUrl::fromLocalFile(path));
    fuzzCheck(key.startsWith(QLatin1Char('/')), "an identity is absolute", key);
    fuzzCheck(key == key.toLower(), "an identity is lower case", key);
    fuzzCheck(!key.contains(QLatin1String("//")) && !key.contains(QLatin1String("/./")) &&
                  !key.endsWith(QLatin1String("/.")) && !key.contains(QLatin1String("/../")) &&
                  !key.endsWith(QLatin1String("/..")),
              "an identity is a clean path", key);
    fuzzCheck(FolderPlaylist::identity(QUrl::fromLocalFile(path + QStringLiteral("/x/.."))) == key,
              "dot-dot components are resolved", key);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    QLocale::setDefault(QLocale::c());
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QStringList lines =
        linesOf(QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size)));
    checkVideos(entryNames(lines));
    checkIdentity(lines);
    return 0;
}
