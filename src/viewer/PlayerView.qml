// The player: the picture with the input over it (or the empty state), the chrome column over
// both, and the drop target over everything.
import QtQuick
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
        function onErrorMessageChanged() {
            if (view.session.errorMessage !== "")
                view.overlaysWanted = true
        }
    }

    // The overlays (empty state, chrome, drop highlight) are built once the window shows the
    // picture of the file it was started with, or at once without one: the picture is not kept
    // waiting for them. A file that shows no picture (sound only, or one that fails) gets them
    // when it fails or a second later.
    property bool overlaysWanted: false
    property bool overlaysDeferred: false
    readonly property bool dropTargeted: dropArea.containsDrag

    Component.onCompleted: {
        overlaysDeferred = view.session.url.toString() !== ""
        overlaysWanted = !overlaysDeferred
    }

    Timer {
        running: view.overlaysDeferred && !view.overlaysWanted
        interval: 1000
        onTriggered: view.overlaysWanted = true
    }

    // Each time the player appears (at launch, once its chrome is built, or when the
    // introduction is completed) the chrome shows.
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
                onShowsPictureChanged: {
                    if (showsPicture)
                        view.overlaysWanted = true
                }
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

    // The pointer anywhere over the view: near the bottom it holds the chrome.
    HoverHandler {
        onPointChanged: chrome.updateBarProximity(point.position, view.height)
        onHoveredChanged: {
            if (!hovered)
                chrome.pointerLeftView()
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

    Loader {
        id: overlays

        anchors.fill: parent
        // Built while the video plays, mostly on the QML engine's own thread.
        asynchronous: view.overlaysDeferred
        onLoaded: {
            if (view.visible)
                view.chrome.showForInput()
        }
    }
    onOverlaysWantedChanged: {
        if (overlaysWanted)
            overlays.setSource(Qt.resolvedUrl("PlayerOverlays.qml"), {"view": view})
    }
}
