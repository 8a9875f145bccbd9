// The player: the picture with the input over it (or the empty state), the chrome column over
// both, and the drop target over everything.
import QtQuick
import QtQuick.Layouts
import Lunelo

Item {
    id: view

    required property PlaybackSession session
    required property Commands commands
    required property WindowPresentation presentation
    required property OnboardingStore onboarding

    readonly property alias chrome: chrome
    readonly property alias zoom: zoom

    ZoomController {
        id: zoom

        commands: view.commands
        viewSize: Qt.size(view.width, view.height)
        videoSize: view.session.videoSize
        onChromeRequested: chrome.showForInput()
    }

    ChromeVisibility {
        id: chrome

        commands: view.commands
        menuOpen: view.presentation.menuOpen
    }

    DropHandler {
        id: drops

        session: view.session
    }

    // A new video (or none) starts fitted, without animation, and shows the chrome.
    Connections {
        target: view.session

        function onUrlChanged() {
            zoom.resetImmediately()
            chrome.showForInput()
        }
    }

    // Each time the player appears (at launch, or when the introduction is completed) the
    // chrome shows.
    Component.onCompleted: {
        if (visible)
            chrome.showForInput()
    }
    onVisibleChanged: {
        if (visible)
            chrome.showForInput()
    }

    // Black under the empty state. A video needs none: its picture surface draws over the whole
    // window, letterbox included, and anything drawn beneath would be drawn in vain.
    Rectangle {
        anchors.fill: parent
        color: "black"
        visible: view.session.player === null
    }

    Item {
        id: playerStack

        anchors.fill: parent
        visible: view.session.player !== null

        // One surface per player: a new player gets a new surface.
        Repeater {
            model: view.session.player ? [view.session.player] : []

            PictureSurface {
                required property var modelData

                width: playerStack.width
                height: playerStack.height
                player: modelData
                videoSize: view.session.videoSize
                zoom: view.zoom.presented
            }
        }

        GestureCatcher {
            anchors.fill: parent
            enabled: playerStack.visible

            onMagnify: (delta, location, ended) => zoom.magnify(delta, location, ended)
            onCursorMoved: location => zoom.cursor = location
            onPan: (delta, ended) => zoom.pan(delta, ended)
            onClicked: {
                view.session.togglePlay()
                chrome.showForInput()
            }
            onSmartZoom: location => zoom.smartZoom(location)
            onEscapePressed: view.presentation.handleEscape()
            onFullscreenPressed: view.presentation.enterFullScreen()
            onRateStep: step => {
                view.session.nudgeRate(step)
                chrome.pulseRate()
            }
            onSkip: seconds => view.session.skip(seconds)
            // Down to the top bar, which moves the window too while it shows.
            titleStrip: 16
            onTitleDragged: view.Window.window.startSystemMove()
        }
    }

    EmptyState {
        anchors.fill: parent
        visible: view.session.player === null
        session: view.session
    }

    // The pointer anywhere over the view: near the bottom it holds the chrome.
    HoverHandler {
        onPointChanged: chrome.updateBarProximity(point.position, view.height)
        onHoveredChanged: {
            if (!hovered)
                chrome.pointerLeftView()
        }
    }

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 16
        spacing: 8

        TopBar {
            Layout.fillWidth: true
            enabled: opacity > 0
            session: view.session
            commands: view.commands
            presentation: view.presentation
            onboarding: view.onboarding
            zoomLabel: zoom.zoom.percentLabel
            opacity: view.session.player === null || chrome.chromeVisible ? 1 : 0

            Behavior on opacity {
                enabled: chrome.fading
                NumberAnimation {
                    duration: 200
                    easing.type: Easing.OutQuad
                }
            }
        }

        ErrorBanner {
            Layout.fillWidth: true
            visible: view.session.errorMessage !== ""
            message: view.session.errorMessage
            onDismissed: view.session.errorMessage = ""
        }

        Item {
            Layout.fillHeight: true
        }

        RateToast {
            Layout.alignment: Qt.AlignHCenter
            Layout.bottomMargin: 10 - parent.spacing
            visible: view.session.player !== null
            rate: view.session.rate
            pulse: chrome.ratePulse
        }

        ControlBar {
            Layout.fillWidth: true
            visible: view.session.player !== null
            session: view.session
            chrome: chrome
            zoomedIn: zoom.zoom.zoomedIn
            enabled: chrome.chromeVisible
            opacity: chrome.chromeVisible ? 1 : 0
            onResetZoom: zoom.reset()

            Behavior on opacity {
                enabled: chrome.fading
                NumberAnimation {
                    duration: 160
                    easing.type: Easing.OutQuad
                }
            }
        }
    }

    DropArea {
        id: dropArea

        anchors.fill: parent
        keys: ["text/uri-list", "text/plain"]
        // Only a drag that carries a file location is taken, and highlighted.
        onEntered: drag => {
            if (drops.fileLocation(drag.urls, drag.hasText ? drag.text : "").toString() !== "")
                drag.accept(Qt.CopyAction)
            else
                drag.accepted = false
        }
        onDropped: drop => {
            if (drops.handleDrop(drop.urls, drop.hasText ? drop.text : ""))
                drop.accept(Qt.CopyAction)
        }
    }

    DropHighlight {
        anchors.fill: parent
        visible: dropArea.containsDrag
    }
}
