#pragma once

#include <QObject>
#include <QUrl>

#include <optional>

class Preferences;

// First-run state: whether the introduction was completed, and the file that waits for it.
// GUI thread only.
class OnboardingStore : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool completed READ completed WRITE setCompleted NOTIFY completedChanged FINAL)
    Q_PROPERTY(QUrl queuedURL READ queuedUrl WRITE setQueuedUrl NOTIFY queuedUrlChanged FINAL)

public:
    explicit OnboardingStore(Preferences &preferences, QObject *parent = nullptr);

    [[nodiscard]] bool completed() const { return m_completed; }
    void setCompleted(bool completed);
    // Empty when nothing waits.
    [[nodiscard]] QUrl queuedUrl() const { return m_queuedUrl; }
    void setQueuedUrl(const QUrl &url);

signals:
    void completedChanged();
    void queuedUrlChanged();

private:
    Preferences &m_preferences;
    QUrl m_queuedUrl;
    bool m_completed = true;
};
