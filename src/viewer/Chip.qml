// A small label in a dark capsule: the top bar's rate and zoom.
import QtQuick

Rectangle {
    id: chip

    property alias text: label.text
    property real textOpacity: 0.85

    implicitWidth: label.implicitWidth + 16
    implicitHeight: label.implicitHeight + 8
    radius: height / 2
    color: Qt.rgba(0, 0, 0, 0.35)

    Text {
        id: label

        anchors.centerIn: parent
        color: "white"
        opacity: chip.textOpacity
        font.pixelSize: 12
        font.weight: Font.DemiBold
    }
}
