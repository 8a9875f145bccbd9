#pragma once

#include <QList>
#include <QObject>
#include <QUrl>

// One Lunelo per desktop session: the first launch becomes the instance, later launches hand
// their files (or a plain reopen) to it and exit. Without a session bus every launch is its own
// instance. GUI thread only.
class SingleInstance : public QObject {
    Q_OBJECT
public:
    explicit SingleInstance(QObject *parent = nullptr);
    ~SingleInstance() override;

    // Tries to become the instance. False when another instance is running.
    bool claim();
    // Hands `urls` (or, when empty, a reopen) to the running instance. Blocks until it answers
    // or a few seconds pass; true when it took the request.
    bool forward(const QList<QUrl> &urls);

signals:
    void openRequested(const QList<QUrl> &urls);
    void reopenRequested();
};
