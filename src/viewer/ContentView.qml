// The player window's one view: the picture and the input over it on a black background; the
// session's error when there is one.
import QtQuick
import Lunelo

Item {
    id: root

    required property PlaybackSession session
    required property Commands commands
    required property WindowPresentation presentation

    // Pinch, smart zoom, pan and the zoom commands; the picture follows `presented*`.
    ZoomController {
        id: zoom

        commands: root.commands
        viewSize: Qt.size(root.width, root.height)
        videoSize: root.session.videoSize
    }

    // A new video (or none) starts fitted, without animation.
    Connections {
        target: root.session

        function onUrlChanged() {
            zoom.resetImmediately()
        }
    }

    Rectangle {
        anchors.fill: parent
        color: "black"
    }

    Item {
        id: playerStack

        anchors.fill: parent
        visible: root.session.player !== null

        // One surface per player: a new player gets a new surface.
        Repeater {
            model: root.session.player ? [root.session.player] : []

            PictureSurface {
                required property var modelData

                width: playerStack.width
                height: playerStack.height
                player: modelData
                videoSize: root.session.videoSize
                zoomScale: zoom.presentedScale
                offset: zoom.presentedOffset
            }
        }

        GestureCatcher {
            anchors.fill: parent
            enabled: playerStack.visible

            onMagnify: (delta, location, ended) => zoom.magnify(delta, location, ended)
            onCursorMoved: location => zoom.cursor = location
            onPan: (delta, ended) => zoom.pan(delta, ended)
            onClicked: root.session.togglePlay()
            onSmartZoom: location => zoom.smartZoom(location)
            onEscapePressed: root.presentation.handleEscape()
            onFullscreenPressed: root.presentation.enterFullScreen()
            onRateStep: step => root.session.nudgeRate(step)
            onSkip: seconds => root.session.skip(seconds)
        }
    }

    Text {
        anchors.centerIn: parent
        width: parent.width - 48
        visible: root.session.errorMessage !== ""
        text: root.session.errorMessage
        color: "white"
        font.pixelSize: 16
        font.weight: Font.DemiBold
        horizontalAlignment: Text.AlignHCenter
        wrapMode: Text.Wrap
    }
}
