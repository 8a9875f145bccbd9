// The window's one view: the introduction until it is completed, the player after.
import QtQuick
import Lunelo

Item {
    id: root

    required property PlaybackSession session
    required property Commands commands
    required property WindowPresentation presentation
    required property OnboardingStore onboarding

    // A file that arrived while the introduction was up opens once it is completed.
    Connections {
        target: root.onboarding

        function onCompletedChanged() {
            if (!root.onboarding.completed || root.onboarding.queuedURL.toString() === "")
                return
            const queued = root.onboarding.queuedURL
            root.onboarding.queuedURL = ""
            root.session.open(queued)
        }
    }

    // The player stays while the introduction is brought back, hidden: the video it shows stays
    // open in the session, and its picture surface keeps drawing it when the player returns.
    PlayerView {
        anchors.fill: parent
        visible: root.onboarding.completed
        session: root.session
        commands: root.commands
        presentation: root.presentation
        onboarding: root.onboarding
    }

    // Built only when shown: the player's window never loads what the introduction uses.
    Loader {
        id: introduction

        function load() {
            if (active)
                setSource(Qt.resolvedUrl("OnboardingView.qml"), {"onboarding": root.onboarding})
        }

        anchors.fill: parent
        active: !root.onboarding.completed
        onActiveChanged: load()
        Component.onCompleted: load()
    }

    // The commands' shortcuts, in both modes. The key router takes the bare keys of its table
    // before any shortcut sees them (keytable.h), so the bare F here acts only where the router
    // lets F through, as in the introduction.
    Shortcut {
        sequence: "Ctrl+O"
        context: Qt.ApplicationShortcut
        onActivated: root.session.presentOpenPanel()
    }
    Shortcut {
        sequences: ["Ctrl++", "Ctrl+="]
        context: Qt.ApplicationShortcut
        onActivated: root.commands.post(Commands.ZoomIn)
    }
    Shortcut {
        sequence: "Ctrl+-"
        context: Qt.ApplicationShortcut
        onActivated: root.commands.post(Commands.ZoomOut)
    }
    Shortcut {
        sequence: "Ctrl+0"
        context: Qt.ApplicationShortcut
        onActivated: root.commands.post(Commands.ZoomReset)
    }
    Shortcut {
        sequence: "F"
        context: Qt.ApplicationShortcut
        onActivated: root.presentation.enterFullScreen()
    }
    Shortcut {
        sequence: "Ctrl+Q"
        context: Qt.ApplicationShortcut
        onActivated: root.presentation.closeWindow()
    }

    // The window has no frame: its edges and corners resize it.
    WindowEdges {
        anchors.fill: parent
    }
}
