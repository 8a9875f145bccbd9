// What the player view shows over the picture: the empty state, the chrome column (top bar,
// error banner, rate toast, control bar) and the drop highlight. Built apart from the picture,
// so that a window opened with a video shows it without waiting for them.
import QtQuick
import QtQuick.Layouts
import Lunelo

Item {
    id: overlays

    required property PlayerView view

    EmptyState {
        anchors.fill: parent
        visible: overlays.view.session.player === null
        session: overlays.view.session
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 16
        spacing: 8

        TopBar {
            Layout.fillWidth: true
            enabled: opacity > 0
            session: overlays.view.session
            commands: overlays.view.commands
            presentation: overlays.view.presentation
            onboarding: overlays.view.onboarding
            zoomLabel: overlays.view.zoom.zoom.percentLabel
            opacity: overlays.view.session.player === null || overlays.view.chrome.chromeVisible ? 1 : 0

            Behavior on opacity {
                enabled: overlays.view.chrome.fading
                NumberAnimation {
                    duration: 200
                    easing.type: Easing.OutQuad
                }
            }
        }

        ErrorBanner {
            Layout.fillWidth: true
            visible: overlays.view.session.errorMessage !== ""
            message: overlays.view.session.errorMessage
            onDismissed: overlays.view.session.errorMessage = ""
        }

        Item {
            Layout.fillHeight: true
        }

        RateToast {
            Layout.alignment: Qt.AlignHCenter
            Layout.bottomMargin: 10 - parent.spacing
            visible: overlays.view.session.player !== null
            rate: overlays.view.session.rate
            pulse: overlays.view.chrome.ratePulse
        }

        ControlBar {
            Layout.fillWidth: true
            visible: overlays.view.session.player !== null
            session: overlays.view.session
            chrome: overlays.view.chrome
            zoomedIn: overlays.view.zoom.zoom.zoomedIn
            enabled: overlays.view.chrome.chromeVisible
            opacity: overlays.view.chrome.chromeVisible ? 1 : 0
            onResetZoom: overlays.view.zoom.reset()

            Behavior on opacity {
                enabled: overlays.view.chrome.fading
                NumberAnimation {
                    duration: 160
                    easing.type: Easing.OutQuad
                }
            }
        }
    }

    DropHighlight {
        anchors.fill: parent
        visible: overlays.view.dropTargeted
    }
}
