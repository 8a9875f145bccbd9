#include "folderplaylist.h"

#include <QCollator>
#include <QDir>
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

} // namespace FolderPlaylist
