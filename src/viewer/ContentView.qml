// The player window's one view: the picture over a black background, and the session's error.
import QtQuick
import Lunelo

Item {
    id: root

    required property PlaybackSession session
    required property Commands commands

    Rectangle {
        anchors.fill: parent
        color: "black"
    }

    // One surface per player: a new player gets a new surface.
    Repeater {
        model: root.session.player ? [root.session.player] : []

        PictureSurface {
            required property var modelData

            width: root.width
            height: root.height
            player: modelData
            videoSize: root.session.videoSize
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
