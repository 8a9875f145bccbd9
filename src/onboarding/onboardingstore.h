#pragma once

#include <QObject>
#include <QString>
#include <QUrl>

#include <memory>

class DefaultApps;
class Preferences;

// The first-run introduction's state: whether it was completed, the file that waits for it,
// and the claim of the default-player role. GUI thread only; the claim runs on a worker thread
// and reports back here.
class OnboardingStore : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool completed READ completed WRITE setCompleted NOTIFY completedChanged FINAL)
    Q_PROPERTY(bool isActivating READ isActivating NOTIFY isActivatingChanged FINAL)
    // Empty when nothing waits.
    Q_PROPERTY(QUrl queuedURL READ queuedUrl WRITE setQueuedUrl NOTIFY queuedUrlChanged FINAL)
    Q_PROPERTY(bool alreadyDefault READ alreadyDefault NOTIFY alreadyDefaultChanged FINAL)
    // Empty when there is no message.
    Q_PROPERTY(QString statusText READ statusText NOTIFY statusTextChanged FINAL)

public:
    static constexpr const char *kCompletedKey = "onboardingCompleted";

    // `apps` may be null: then nothing is ever default and claims fail.
    OnboardingStore(Preferences &preferences, std::shared_ptr<DefaultApps> apps,
                    QObject *parent = nullptr);

    [[nodiscard]] bool completed() const { return m_completed; }
    // Changes the state only; the callers write the preference.
    void setCompleted(bool completed);
    [[nodiscard]] bool isActivating() const { return m_isActivating; }
    [[nodiscard]] QUrl queuedUrl() const { return m_queuedUrl; }
    void setQueuedUrl(const QUrl &url);
    [[nodiscard]] bool alreadyDefault() const { return m_alreadyDefault; }
    [[nodiscard]] QString statusText() const { return m_statusText; }

    // The primary button: become the default player, then complete the introduction.
    Q_INVOKABLE void activate();
    // "Pular e só usar o player": complete without claiming anything.
    Q_INVOKABLE void skip();
    // "Mostrar introdução": bring the introduction back, now and at the next launch.
    Q_INVOKABLE void showIntroduction();
    // "Tornar player padrão": claim the role; the outcome changes nothing here.
    Q_INVOKABLE void makeDefaultPlayer();

signals:
    void completedChanged();
    void isActivatingChanged();
    void queuedUrlChanged();
    void alreadyDefaultChanged();
    void statusTextChanged();

private:
    // Asks the desktop whether Lunelo is the default player, for the introduction's button.
    void refreshDefault();
    void complete();
    void setActivating(bool on);
    void setAlreadyDefault(bool on);
    void setStatusText(const QString &text);

    Preferences &m_preferences;
    std::shared_ptr<DefaultApps> m_apps;
    bool m_isActivating = false;
    QUrl m_queuedUrl;
    QString m_statusText;
    bool m_completed = false;
    bool m_alreadyDefault = false;
};
