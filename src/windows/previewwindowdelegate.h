#pragma once

#include <QObject>
#include <QPointer>
#include <QRectF>
#include <QTimer>

#include <functional>
#include <optional>

class PlaybackSession;
class Preferences;
class QVariantAnimation;
class QWindow;

// The player window's delegate: configures the window for its mode (introduction or player),
// restores and persists the player frame under "playerWindowFrame", fades the window in and
// out, and runs the close path. GUI thread only.
class PreviewWindowDelegate : public QObject {
    Q_OBJECT
public:
    // Frames move and resize continuously on X11, which reports no end of a live resize: a
    // frame is saved once it has been still this long.
    static constexpr int kSettleMs = 300;
    static constexpr int kFadeInMs = 280;
    static constexpr int kFadeOutMs = 200;

    explicit PreviewWindowDelegate(Preferences &preferences, QObject *parent = nullptr);
    ~PreviewWindowDelegate() override;

    void setSession(PlaybackSession *session);

    // Becomes `window`'s delegate (again: harmless).
    void attach(QWindow *window);
    // Configures the window for a mode; the size changes only when the mode does.
    void apply(QWindow *window, bool onboarding);
    void savePlayerFrame(QWindow *window);
    // The player frame to use within `visible`.
    [[nodiscard]] QRectF savedPlayerFrame(const QRectF &visible) const;
    void fadeIn(QWindow *window);
    void fadeOut(QWindow *window, std::function<void()> done);

    [[nodiscard]] bool isClosing() const { return m_isClosing; }

    // Whether animations run; replaceable for tests.
    void setReducedMotion(std::function<bool()> reducedMotion)
    {
        m_reducedMotion = std::move(reducedMotion);
    }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    bool windowShouldClose(QWindow *window);
    void animate(QWindow *window, const QRectF &from, const QRectF &to, double fromOpacity,
                 double toOpacity, int durationMs, QPointF c1, QPointF c2,
                 std::function<void()> done);

    Preferences &m_preferences;
    QPointer<PlaybackSession> m_session;
    QPointer<QWindow> m_window;
    std::optional<bool> m_appliedOnboarding;
    bool m_didFadeIn = false;
    bool m_isClosing = false;
    bool m_closeNow = false;
    bool m_isAnswering = false; // inside windowShouldClose()
    QTimer m_settle;
    QPointer<QVariantAnimation> m_animation;
    std::function<bool()> m_reducedMotion;
};
