// The rate in large type, flashed when it changes. Never takes input.
import QtQuick
import Lunelo

Rectangle {
    id: toast

    required property real rate
    required property bool pulse

    implicitWidth: label.implicitWidth + 36
    implicitHeight: label.implicitHeight + 16
    radius: height / 2
    color: Qt.rgba(0, 0, 0, 0.42)
    opacity: pulse ? 1 : 0
    scale: pulse ? 1 : 0.86

    Behavior on opacity {
        NumberAnimation {
            duration: 180
            easing.type: Easing.OutQuad
        }
    }
    Behavior on scale {
        NumberAnimation {
            duration: 180
            easing.type: Easing.OutQuad
        }
    }

    Text {
        id: label

        anchors.centerIn: parent
        text: Formats.rate(toast.rate)
        color: "white"
        font.pixelSize: 28
        font.weight: Font.DemiBold
    }
}
