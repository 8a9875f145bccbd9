#include "previewwindowdelegate.h"

#include "framestring.h"
#include "motion.h"
#include "playbacksession.h"
#include "preferences.h"
#include "trace.h"
#include "windowframes.h"
#include "windowpresentation.h"
#include "windowsystem.h"

#include <QEasingCurve>
#include <QGuiApplication>
#include <QPalette>
#include <QQuickWindow>
#include <QScreen>
#include <QVariantAnimation>

namespace {

const QString kFrameKey = QStringLiteral("playerWindowFrame");

// The saved frame is measured from the bottom of the primary screen.
double primaryHeight()
{
    const QScreen *primary = QGuiApplication::primaryScreen();
    return primary ? primary->geometry().height() : WindowFrames::kNoScreen.height();
}

QRectF visibleFrame(const QWindow *window)
{
    if (const QScreen *screen = window->screen())
        return screen->availableGeometry();
    if (const QScreen *primary = QGuiApplication::primaryScreen())
        return primary->availableGeometry();
    return WindowFrames::kNoScreen;
}

QRect whole(const QRectF &r)
{
    return r.toRect();
}

} // namespace

PreviewWindowDelegate::PreviewWindowDelegate(Preferences &preferences, QObject *parent)
    : QObject(parent)
    , m_preferences(preferences)
    // Without window opacity (Wayland) a fade would be nothing but the frame growing and
    // shrinking: the window appears and goes at once.
    , m_reducedMotion([] { return prefersReducedMotion() || !WindowSystem::hasWindowOpacity(); })
{
    m_settle.setSingleShot(true);
    m_settle.setInterval(kSettleMs);
    connect(&m_settle, &QTimer::timeout, this, [this] {
        if (m_window && !m_isClosing)
            savePlayerFrame(m_window);
    });
}

PreviewWindowDelegate::~PreviewWindowDelegate() = default;

void PreviewWindowDelegate::setSession(PlaybackSession *session)
{
    m_session = session;
}

void PreviewWindowDelegate::attach(QWindow *window)
{
    if (m_window == window)
        return;
    if (m_window)
        m_window->removeEventFilter(this);
    m_window = window;
    if (window)
        window->installEventFilter(this);
}

void PreviewWindowDelegate::apply(QWindow *window, bool onboarding)
{
    window->setTitle(QStringLiteral("Lunelo"));
    if (auto *quick = qobject_cast<QQuickWindow *>(window))
        quick->setColor(onboarding ? QGuiApplication::palette().color(QPalette::Window)
                                   : QColor(Qt::black));
    if (m_appliedOnboarding == onboarding)
        return;
    m_appliedOnboarding = onboarding;

    const QRectF visible = visibleFrame(window);
    const WindowFrames::ModeGeometry mode =
        onboarding
            ? WindowFrames::introduction(visible)
            : WindowFrames::ModeGeometry{savedPlayerFrame(visible), WindowFrames::kPlayerMinimum,
                                         WindowFrames::kPlayerMaximum};
    window->setMinimumSize(QSize(0, 0));
    window->setMaximumSize(mode.maximum.toSize());
    window->setMinimumSize(mode.minimum.toSize());
    window->setGeometry(whole(mode.frame));

    if (!m_didFadeIn) {
        m_didFadeIn = true;
        fadeIn(window);
    }
}

QRectF PreviewWindowDelegate::savedPlayerFrame(const QRectF &visible) const
{
    std::optional<QRectF> saved;
    if (const std::optional<QString> text = m_preferences.stringValue(kFrameKey)) {
        saved = flipped(rectFromString(*text), primaryHeight());
        // Where windows have no known place, only the size was kept: it comes back centred.
        if (!WindowSystem::hasWindowPositions())
            saved = WindowFrames::centred(saved->size(), visible);
    }
    return WindowFrames::player(saved, visible).frame;
}

void PreviewWindowDelegate::savePlayerFrame(QWindow *window)
{
    if (m_appliedOnboarding != false)
        return; // frames of the introduction are not the player's
    if (WindowPresentation::isFullScreen(window))
        return;
    if (window->windowStates() & (Qt::WindowMinimized | Qt::WindowMaximized))
        return; // the frame to come back to is the normal one
    QRectF frame = window->geometry();
    // Wayland reports no window positions: rather than a made-up one, the text holds the
    // size centred on the screen, where the window comes back.
    if (!WindowSystem::hasWindowPositions())
        frame = WindowFrames::centred(frame.size(), visibleFrame(window));
    m_preferences.setString(kFrameKey, rectString(flipped(frame, primaryHeight())));
}

void PreviewWindowDelegate::fadeIn(QWindow *window)
{
    if (m_reducedMotion()) {
        window->setOpacity(1);
        Trace::event("window-shown");
        return;
    }
    const QRectF target = window->geometry();
    const QRectF from = WindowFrames::shrunk(target);
    window->setOpacity(0);
    window->setGeometry(whole(from));
    animate(window, from, target, 0, 1, kFadeInMs, QPointF(0.16, 1.0), QPointF(0.3, 1.0),
            [] { Trace::event("window-shown"); });
}

void PreviewWindowDelegate::fadeOut(QWindow *window, std::function<void()> done)
{
    if (m_reducedMotion()) {
        if (WindowSystem::hasWindowOpacity())
            window->setOpacity(0);
        done();
        return;
    }
    const QRectF from = window->geometry();
    animate(window, from, WindowFrames::shrunk(from), window->opacity(), 0, kFadeOutMs,
            QPointF(0.4, 0.0), QPointF(1.0, 1.0), std::move(done));
}

void PreviewWindowDelegate::animate(QWindow *window, const QRectF &from, const QRectF &to,
                                    double fromOpacity, double toOpacity, int durationMs,
                                    QPointF c1, QPointF c2, std::function<void()> done)
{
    if (m_animation)
        m_animation->stop();
    QEasingCurve curve(QEasingCurve::BezierSpline);
    curve.addCubicBezierSegment(c1, c2, QPointF(1, 1));
    auto *animation = new QVariantAnimation(this);
    animation->setDuration(durationMs);
    animation->setEasingCurve(curve);
    animation->setStartValue(0.0);
    animation->setEndValue(1.0);
    const QPointer<QWindow> target(window);
    connect(animation, &QVariantAnimation::valueChanged, this, [=](const QVariant &value) {
        if (!target)
            return;
        const double t = value.toDouble();
        const QRectF r(from.topLeft() + (to.topLeft() - from.topLeft()) * t,
                       from.size() + (to.size() - from.size()) * t);
        target->setGeometry(whole(r));
        target->setOpacity(fromOpacity + (toOpacity - fromOpacity) * t);
    });
    connect(animation, &QVariantAnimation::finished, this, [=, done = std::move(done)] {
        if (target) {
            target->setGeometry(whole(to));
            target->setOpacity(toOpacity);
        }
        if (done)
            done();
    });
    m_animation = animation;
    animation->start(QAbstractAnimation::DeleteWhenStopped);
}

bool PreviewWindowDelegate::eventFilter(QObject *watched, QEvent *event)
{
    auto *window = qobject_cast<QWindow *>(watched);
    if (!window || window != m_window)
        return false;
    switch (event->type()) {
    case QEvent::Move:
    case QEvent::Resize:
        if (!m_isClosing)
            m_settle.start();
        break;
    case QEvent::Close:
        if (!windowShouldClose(window)) {
            event->ignore();
            return true;
        }
        break;
    default:
        break;
    }
    return false;
}

// The answer to a request to close: false while the window fades out and closes itself.
bool PreviewWindowDelegate::windowShouldClose(QWindow *window)
{
    if (m_closeNow)
        return true; // the fade-out has ended
    if (!m_isClosing && !WindowPresentation::isFullScreen(window)) {
        m_isClosing = true;
        m_settle.stop();
        savePlayerFrame(window);
        const QPointer<QWindow> target(window);
        m_isAnswering = true;
        fadeOut(window, [this, target] {
            m_closeNow = true;
            if (target && !m_isAnswering)
                target->close();
        });
        m_isAnswering = false;
        // Without motion the fade ends at once, inside this request, where a close() of the
        // window would be lost: the answer closes it.
        return m_closeNow;
    }
    // A second request during the fade-out, or a window in full screen: at once.
    if (!m_isClosing)
        savePlayerFrame(window);
    if (m_session)
        m_session->closeFile();
    return true;
}
