// The session's message on red, until the user dismisses it.
import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts

Rectangle {
    id: banner

    required property string message
    signal dismissed

    implicitHeight: row.implicitHeight + 16
    radius: 10
    color: Qt.rgba(1, 0.23, 0.19, 0.82)

    RowLayout {
        id: row

        anchors.fill: parent
        anchors.leftMargin: 12
        anchors.rightMargin: 12
        anchors.topMargin: 8
        anchors.bottomMargin: 8
        spacing: 10

        // The message takes the row; at least 8 points of free space (plus the row's spacing on
        // either side) stay before the button.
        Text {
            Layout.fillWidth: true
            Layout.rightMargin: 8 + row.spacing
            text: banner.message
            color: "white"
            font.pixelSize: 12
            font.weight: Font.Medium
            wrapMode: Text.Wrap
            maximumLineCount: 3
            elide: Text.ElideRight
        }

        AbstractButton {
            focusPolicy: Qt.NoFocus
            padding: 0
            contentItem: Text {
                text: "OK"
                color: "white"
                opacity: 0.85
                font.pixelSize: 12
                font.weight: Font.DemiBold
            }
            background: Item {}
            onClicked: banner.dismissed()
        }
    }
}
