// Play and pause, the times and the scrubber, the rate, the volume, repeat, zoom reset and open.
import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Lunelo

Item {
    id: bar

    required property PlaybackSession session
    required property ChromeVisibility chrome
    required property bool zoomedIn
    signal resetZoom

    implicitHeight: row.implicitHeight + 20

    // The shadow under the bar: black at 35 %, blurred 18, 8 down.
    BorderImage {
        x: -30
        y: -30 + 8
        width: parent.width + 60
        height: parent.height + 60
        source: "images/barshadow.png"
        border {
            left: 45
            right: 45
            top: 45
            bottom: 45
        }
    }

    // The bar's hover region: its background and a band of 20 points above it. While the
    // chrome shows, it also takes the clicks there, so they never reach the picture.
    MouseArea {
        x: 0
        y: -20
        width: parent.width
        height: parent.height + 20
        hoverEnabled: true
        acceptedButtons: Qt.AllButtons
        onContainsMouseChanged: bar.chrome.hoveringBar = containsMouse
    }

    Rectangle {
        anchors.fill: parent
        radius: 14
        color: Qt.rgba(0.11, 0.11, 0.12, 0.8 * 0.92)
        border.width: 1
        border.color: Qt.rgba(1, 1, 1, 0.12)
    }

    RowLayout {
        id: row

        anchors.fill: parent
        anchors.leftMargin: 14
        anchors.rightMargin: 14
        anchors.topMargin: 10
        anchors.bottomMargin: 10
        spacing: 12

        IconButton {
            Layout.preferredWidth: 22
            symbol: bar.session.isPlaying ? "pause.fill" : "play.fill"
            symbolSize: 14
            onClicked: bar.session.togglePlay()
        }

        Text {
            Layout.preferredWidth: 46
            horizontalAlignment: Text.AlignRight
            text: Formats.time(bar.session.currentTime)
            color: "white"
            opacity: 0.75
            font.pixelSize: 11
            font.weight: Font.Medium
        }

        BarSlider {
            id: scrubber

            Layout.fillWidth: true
            from: 0
            to: Math.max(bar.session.duration, 0.001)
            onMoved: bar.session.scrub(value)
            onPressedChanged: pressed ? bar.session.beginScrub() : bar.session.endScrub()

            Binding on value {
                value: bar.session.currentTime
                when: !scrubber.pressed
                restoreMode: Binding.RestoreNone
            }
        }

        Text {
            Layout.preferredWidth: 46
            horizontalAlignment: Text.AlignLeft
            text: Formats.time(bar.session.duration)
            color: "white"
            opacity: 0.75
            font.pixelSize: 11
            font.weight: Font.Medium
        }

        Text {
            Layout.minimumWidth: 40
            horizontalAlignment: Text.AlignHCenter
            text: Formats.rate(bar.session.rate)
            color: "white"
            opacity: 0.9
            font.pixelSize: 11
            font.weight: Font.DemiBold
        }

        IconButton {
            id: volumeButton

            Layout.preferredWidth: 20
            symbol: bar.session.isMuted || bar.session.volume === 0 ? "speaker.slash.fill"
                                                                     : "speaker.wave.2.fill"
            tip: "Volume"
            onClicked: bar.chrome.showVolume = !bar.chrome.showVolume

            Popup {
                id: volumePopover

                // Above the button; the button itself toggles it, a press anywhere else closes.
                x: (volumeButton.width - width) / 2
                y: -height - 10
                padding: 12
                visible: bar.chrome.showVolume
                closePolicy: Popup.CloseOnPressOutsideParent | Popup.CloseOnEscape
                onClosed: bar.chrome.showVolume = false

                background: Rectangle {
                    radius: 10
                    color: Qt.rgba(0.14, 0.14, 0.15, 0.96)
                    border.width: 1
                    border.color: Qt.rgba(1, 1, 1, 0.12)
                }

                contentItem: RowLayout {
                    spacing: 10

                    IconButton {
                        Layout.preferredWidth: 20
                        symbol: bar.session.isMuted ? "speaker.slash.fill" : "speaker.wave.2.fill"
                        tip: bar.session.isMuted ? "Ativar áudio" : "Silenciar"
                        onClicked: bar.session.toggleMute()
                    }

                    BarSlider {
                        id: volumeSlider

                        Layout.preferredWidth: 120
                        from: 0
                        to: 1
                        Accessible.name: "Volume"
                        onMoved: bar.session.setVolume(value)

                        Binding on value {
                            value: bar.session.volume
                            when: !volumeSlider.pressed
                            restoreMode: Binding.RestoreNone
                        }
                    }

                    Text {
                        Layout.preferredWidth: 34
                        horizontalAlignment: Text.AlignRight
                        text: Formats.volume(bar.session.volume)
                        color: "white"
                        font.pixelSize: 11
                        font.weight: Font.Medium
                    }
                }
            }
        }

        IconButton {
            Layout.preferredWidth: 24
            Layout.preferredHeight: 24
            symbol: "repeat"
            symbolOpacity: bar.session.isRepeating ? 1 : 0.55
            tip: bar.session.isRepeating ? "Repetição ativada" : "Repetir vídeo"
            Accessible.name: "Repetir vídeo"
            Accessible.description: bar.session.isRepeating ? "Ativado" : "Desativado"
            background: Rectangle {
                radius: 7
                color: Qt.rgba(1, 1, 1, 0.2)
                visible: bar.session.isRepeating
            }
            onClicked: bar.session.isRepeating = !bar.session.isRepeating
        }

        IconButton {
            symbol: bar.zoomedIn ? "arrow.up.left.and.arrow.down.right" : "plus.magnifyingglass"
            opacity: bar.zoomedIn ? 1 : 0.45
            onClicked: bar.resetZoom()
        }

        IconButton {
            symbol: "folder"
            onClicked: bar.session.presentOpenPanel()
        }
    }
}
