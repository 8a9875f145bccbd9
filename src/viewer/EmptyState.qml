// No video open: an invitation to drop one or to open one. A click anywhere opens the panel.
import QtQuick
import QtQuick.Controls.Basic
import Lunelo

Item {
    id: empty

    required property PlaybackSession session

    MouseArea {
        anchors.fill: parent
        onClicked: empty.session.presentOpenPanel()
    }

    Column {
        anchors.centerIn: parent
        width: parent.width
        spacing: 18

        Image {
            anchors.horizontalCenter: parent.horizontalCenter
            source: "icons/plus.magnifyingglass.svg"
            sourceSize.height: 50
            opacity: 0.9
        }

        Column {
            width: parent.width
            spacing: 6

            Text {
                width: parent.width
                leftPadding: empty.session.errorMessage !== "" ? 24 : 0
                rightPadding: leftPadding
                horizontalAlignment: Text.AlignHCenter
                wrapMode: Text.Wrap
                text: empty.session.errorMessage !== "" ? empty.session.errorMessage
                                                          : "Solte um vídeo aqui"
                color: "white"
                font.pixelSize: empty.session.errorMessage !== "" ? 16 : 22
                font.weight: Font.DemiBold
            }

            Text {
                width: parent.width
                horizontalAlignment: Text.AlignHCenter
                text: "↑ ↓ pasta  ·  ← → 10s  ·  espaço play  ·  , . quadro  ·  F tela cheia"
                color: "white"
                opacity: 0.55
                font.pixelSize: 13
            }
        }

        Button {
            anchors.horizontalCenter: parent.horizontalCenter
            topInset: 0
            focusPolicy: Qt.NoFocus
            leftPadding: 18
            rightPadding: 18
            topPadding: 9
            bottomPadding: 9
            text: "Abrir vídeo…"
            font.pixelSize: 15
            palette.buttonText: "black"
            contentItem: Text {
                text: parent.text
                font: parent.font
                color: "black"
            }
            background: Rectangle {
                radius: 8
                color: parent.down ? "#d9d9d9" : "white"
            }
            onClicked: empty.session.presentOpenPanel()
        }
    }
}
