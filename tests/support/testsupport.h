#pragma once

#include <QCoreApplication>
#include <QDir>
#include <QEvent>
#include <QFile>
#include <QImage>
#include <QString>
#include <QTest>
#include <QtEndian>

#include <cstring>

#include <fcntl.h>
#include <unistd.h>

// Runs what the event loop has queued (observations, completions, deferred deletions) until
// nothing more is queued. Deterministic: no timers, no sleeping.
inline void settle()
{
    for (int i = 0; i < 10; ++i) {
        QCoreApplication::sendPostedEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
}

// Adds two text columns to a data table; the function returned adds a named row to them.
inline auto textColumns(const char *first, const char *second)
{
    QTest::addColumn<QString>(first);
    QTest::addColumn<QString>(second);
    return [](const char *name, const char *a, const char *b) {
        QTest::newRow(name) << QString(a) << QString(b);
    };
}

// Creates empty files `names` in `folder` (made first if missing); false when one cannot be made.
inline bool makeFiles(const QString &folder, const QStringList &names)
{
    QDir().mkpath(folder);
    for (const QString &name : names) {
        QFile file(QDir(folder).filePath(name));
        if (!file.open(QIODevice::WriteOnly))
            return false;
    }
    return true;
}

// A clip made by tests/media/generate.sh, in the folder the test runner names.
inline QString testMedia(const QString &name)
{
    return QDir(QString::fromLocal8Bit(qgetenv("LUNELO_TEST_MEDIA"))).absoluteFilePath(name);
}

// The bytes of a generated clip; empty when it cannot be read.
inline QByteArray readMedia(const QString &clip)
{
    QFile file(testMedia(clip));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Writes `content` under a name given as raw bytes, which need not be valid UTF-8.
inline bool writeRaw(const QByteArray &path, const QByteArray &content)
{
    const int fd = ::open(path.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0)
        return false;
    const bool ok = ::write(fd, content.constData(), size_t(content.size())) == content.size();
    ::close(fd);
    return ok;
}

// The same Matroska file with its duration element (an 8-byte float after the ID 0x4489, in the
// file's time scale: milliseconds for the generated clips) set to `value`; empty when the file
// has no such element.
inline QByteArray patchMatroskaDuration(QByteArray data, double value)
{
    const qsizetype at = data.indexOf(QByteArrayLiteral("\x44\x89\x88"));
    if (at < 0)
        return {};
    quint64 bits;
    std::memcpy(&bits, &value, sizeof bits);
    qToBigEndian(bits, data.data() + at + 3);
    return data;
}

// Keeps a screenshot for a person to look at when LUNELO_TEST_SHOTS names a folder.
inline void saveShot(const QImage &image, const QString &name)
{
    const QString folder = QString::fromLocal8Bit(qgetenv("LUNELO_TEST_SHOTS"));
    if (folder.isEmpty())
        return;
    QDir().mkpath(folder);
    image.save(QDir(folder).absoluteFilePath(name + QStringLiteral(".png")));
}
