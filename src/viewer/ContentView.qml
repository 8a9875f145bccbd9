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

    Loader {
        anchors.fill: parent
        sourceComponent: root.onboarding.completed ? player : introduction
    }

    Component {
        id: player

        PlayerView {
            session: root.session
            commands: root.commands
            presentation: root.presentation
        }
    }

    // The introduction's view arrives with the onboarding.
    Component {
        id: introduction

        Rectangle {
            color: "black"
        }
    }
}
