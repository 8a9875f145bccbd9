#include "folderplaylist.h"

#include <QCollator>
#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QLocale>

#include <algorithm>
#include <vector>

#include <dirent.h>

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

// Whether an entry of `folder`, by name, is `file`. An entry's identity is its folder's followed
// by its name in lower case, unless the entry is a link, which resolves elsewhere: a large folder
// costs one path resolution, not one per entry.
class OpenFileMatcher {
public:
    OpenFileMatcher(const QUrl &file, const QUrl &folder, const QSet<QString> &links)
        : m_folderPath(folder.toLocalFile())
        , m_wanted(identity(file))
        , m_links(links)
    {
        if (!m_folderPath.endsWith(u'/'))
            m_folderPath += u'/';
        QString prefix = identity(folder);
        if (!prefix.endsWith(u'/'))
            prefix += u'/';
        if (m_wanted.startsWith(prefix))
            m_wantedName = m_wanted.mid(prefix.size());
    }

    bool operator()(const QString &name) const
    {
        if (m_links.contains(name))
            return identity(QUrl::fromLocalFile(m_folderPath + name)) == m_wanted;
        return !m_wantedName.isEmpty() && name.toLower() == m_wantedName;
    }

private:
    QString m_folderPath; // with a trailing slash
    QString m_wanted;
    QString m_wantedName; // in lower case; empty when `file` is not in the folder
    const QSet<QString> &m_links;
};

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
    // The directory read itself, without a path, a file information or a location for every
    // entry: a folder of 100,000 files lists in a third of the time.
    DIR *dir = ::opendir(QFile::encodeName(path).constData());
    if (!dir)
        return std::nullopt;
    Listing listing;
    while (const dirent *entry = ::readdir(dir)) {
        if (entry->d_name[0] == '.')
            continue; // hidden, and the folder itself and its parent
        const QString name = QFile::decodeName(entry->d_name);
        if (QFile::encodeName(name) != entry->d_name)
            continue; // not in the file names' encoding: no path of ours can name it
        listing.names << name;
        // The entry's type comes with the listing on most file systems: no extra lookup.
        const bool link = entry->d_type == DT_LNK || (entry->d_type == DT_UNKNOWN &&
                                                      QFileInfo(path + u'/' + name).isSymLink());
        if (link)
            listing.links << name;
    }
    ::closedir(dir);
    return listing;
}

QList<QUrl> locations(const Listing &listing, const QUrl &folder)
{
    const QString path = folder.toLocalFile();
    const QString prefix = path.endsWith(u'/') ? path : path + u'/';
    QList<QUrl> result;
    result.reserve(listing.names.size());
    for (const QString &name : listing.names)
        result << QUrl::fromLocalFile(prefix + name);
    return result;
}

std::optional<QUrl> neighbour(const QUrl &file, const Listing &listing, const QUrl &folder,
                              const QSet<QString> &extensions, int direction)
{
    const QString path = folder.toLocalFile();
    const QString folderPath = path.endsWith(u'/') ? path : path + u'/';
    const OpenFileMatcher isFile(file, folder, listing.links);

    // The order of videos(): by the collator, equal names in listing order.
    const QCollator collator = fileManagerCollator();
    const QStringList &names = listing.names;
    const auto before = [&](qsizetype a, qsizetype b) {
        const int c = collator.compare(names[a], names[b]);
        return c < 0 || (c == 0 && a < b);
    };

    std::vector<qsizetype> videos;
    qsizetype current = -1; // the first of the entries that are `file`, in that order
    for (qsizetype i = 0; i < names.size(); ++i) {
        if (!extensions.contains(extension(names[i])))
            continue;
        videos.push_back(i);
        if (isFile(names[i]) && (current < 0 || before(i, current)))
            current = i;
    }
    if (videos.size() < 2 || current < 0)
        return std::nullopt;

    // Stepping forward: the first video after the current one, else (wrapping around) the first
    // of all; backward, the same with the order turned round.
    const auto precedes = [&](qsizetype a, qsizetype b) {
        return direction > 0 ? before(a, b) : before(b, a);
    };
    qsizetype next = -1;
    qsizetype first = -1;
    for (const qsizetype i : videos) {
        if (i == current)
            continue;
        if (precedes(current, i)) {
            if (next < 0 || precedes(i, next))
                next = i;
        } else if (first < 0 || precedes(i, first)) {
            first = i;
        }
    }
    return QUrl::fromLocalFile(folderPath + names[next >= 0 ? next : first]);
}

qsizetype indexOf(const QUrl &file, const QList<QUrl> &videos, const QUrl &folder,
                  const QSet<QString> &links)
{
    const OpenFileMatcher isFile(file, folder, links);
    for (qsizetype i = 0; i < videos.size(); ++i) {
        if (isFile(videos[i].fileName()))
            return i;
    }
    return -1;
}

} // namespace FolderPlaylist
