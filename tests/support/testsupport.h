#pragma once

#include <QCoreApplication>
#include <QDir>
#include <QEvent>
#include <QImage>
#include <QString>

// Runs what the event loop has queued (observations, completions, deferred deletions) until
// nothing more is queued. Deterministic: no timers, no sleeping.
inline void settle()
{
    for (int i = 0; i < 10; ++i) {
        QCoreApplication::sendPostedEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
}

// A clip made by tests/media/generate.sh, in the folder the test runner names.
inline QString testMedia(const QString &name)
{
    return QDir(QString::fromLocal8Bit(qgetenv("LUNELO_TEST_MEDIA"))).absoluteFilePath(name);
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
