#pragma once

#include <QObject>

class QWindow;
class Commands;

// Finds the player window for the key router, the menus and the player view, without holding a
// reference to it, and handles Escape. GUI thread only.
class WindowPresentation : public QObject {
    Q_OBJECT
    // The application menu is open: keys go to it.
    Q_PROPERTY(bool menuOpen READ menuOpen WRITE setMenuOpen NOTIFY menuOpenChanged FINAL)

public:
    explicit WindowPresentation(Commands &commands, QObject *parent = nullptr);

    // The key window; else the first visible top-level window with content; else none.
    [[nodiscard]] Q_INVOKABLE QWindow *playerWindow() const;
    // Leaves full screen, or asks for the player window to close.
    Q_INVOKABLE void handleEscape();
    // Enters full screen; a window already in full screen stays there.
    Q_INVOKABLE void enterFullScreen();
    // Asks the player window to close, through its close path.
    Q_INVOKABLE void closeWindow();
    // Between maximised and the normal frame (a double click on the title bar).
    Q_INVOKABLE void toggleMaximized();

    [[nodiscard]] static bool isFullScreen(const QWindow *window);

    [[nodiscard]] bool menuOpen() const { return m_menuOpen; }
    void setMenuOpen(bool open);

signals:
    void menuOpenChanged();

private:
    Commands &m_commands;
    bool m_menuOpen = false;
};
