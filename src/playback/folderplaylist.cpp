#include "folderplaylist.h"

#include <QCollator>
#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QLocale>

#include <algorithm>
#include <vector>

namespace FolderPlaylist {
namespace {

// The file manager's order in the user's locale. The C/POSIX locale collates by code point and
// knows no numeric order, so there English, whose rules are the neutral (root) collation, keeps
// digits comparing by value and letters without regard to case.
QCollator fileManagerCollator()
{
    const QLocale user;
    QCollator collator(user.language() == QLocale::C ? QLocale(QLocale::English) : user);
    collator.setNumericMode(true);
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    return collator;
}

} // namespace

QString extension(const QString &fileName)
{
    const qsizetype dot = fileName.lastIndexOf(QLatin1Char('.'));
    return dot < 0 ? QString() : fileName.mid(dot + 1).toLower();
}

QList<QUrl> videos(const QList<QUrl> &listing, const QSet<QString> &extensions)
{
    struct Entry {
        QCollatorSortKey key;
        qsizetype index;
    };
    const QCollator collator = fileManagerCollator();
    std::vector<Entry> kept;
    for (qsizetype i = 0; i < listing.size(); ++i) {
        const QString name = listing[i].fileName();
        if (extensions.contains(extension(name)))
            kept.push_back({collator.sortKey(name), i});
    }
    // Sort keys compare as the collator does, without re-collating each name per comparison.
    std::stable_sort(kept.begin(), kept.end(),
                     [](const Entry &a, const Entry &b) { return a.key.compare(b.key) < 0; });
    QList<QUrl> result;
    result.reserve(qsizetype(kept.size()));
    for (const Entry &entry : kept)
        result << listing[entry.index];
    return result;
}

QString identity(const QUrl &location)
{
    QString path =
        QDir::cleanPath(location.isLocalFile() ? location.toLocalFile() : location.path());
    QStringList missing;
    while (path != QLatin1String("/") && !QFileInfo::exists(path)) {
        const qsizetype slash = path.lastIndexOf(QLatin1Char('/'));
        if (slash < 0)
            break;
        const QString parent = slash == 0 ? QStringLiteral("/") : path.left(slash);
        if (parent == path)
            break;
        missing.prepend(path.mid(slash + 1));
        path = parent;
    }
    const QString resolved = QFileInfo(path).canonicalFilePath();
    if (!resolved.isEmpty())
        path = resolved;
    for (const QString &component : std::as_const(missing)) {
        if (!path.endsWith(QLatin1Char('/')))
            path += QLatin1Char('/');
        path += component;
    }
    return path.toLower();
}

std::optional<Listing> list(const QUrl &folder)
{
    const QString path = folder.toLocalFile();
    const QFileInfo info(path);
    if (!info.isDir() || !info.isReadable() || !info.isExecutable())
        return std::nullopt;
    Listing listing;
    QDirIterator it(path, QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot);
    while (it.hasNext()) {
        listing.entries << QUrl::fromLocalFile(it.next());
        // The entry's type comes with the listing on most file systems: no extra lookup.
        if (it.fileInfo().isSymLink())
            listing.links << it.fileName();
    }
    return listing;
}

// An entry's identity is its folder's followed by its name in lower case, unless the entry is a
// link, which resolves elsewhere; so a large folder costs one path resolution, not one per file.
qsizetype indexOf(const QUrl &file, const QList<QUrl> &videos, const QUrl &folder,
                  const QSet<QString> &links)
{
    const QString wanted = identity(file);
    QString prefix = identity(folder);
    if (!prefix.endsWith(QLatin1Char('/')))
        prefix += QLatin1Char('/');
    for (qsizetype i = 0; i < videos.size(); ++i) {
        const QString name = videos[i].fileName();
        const QString key = links.contains(name) ? identity(videos[i]) : prefix + name.toLower();
        if (key == wanted)
            return i;
    }
    return -1;
}

} // namespace FolderPlaylist
