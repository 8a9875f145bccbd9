// The video's title, and while a video is open its rate and zoom.
import QtQuick
import QtQuick.Layouts
import Lunelo

RowLayout {
    id: bar

    required property PlaybackSession session
    required property string zoomLabel

    spacing: 10

    Text {
        Layout.fillWidth: true
        text: bar.session.title !== "" ? bar.session.title : "Lunelo"
        color: "white"
        opacity: 0.88
        font.pixelSize: 13
        font.weight: Font.Medium
        elide: Text.ElideRight
        maximumLineCount: 1
    }

    Chip {
        visible: bar.session.player !== null
        text: Formats.rate(bar.session.rate)
        textOpacity: 0.85
    }

    Chip {
        visible: bar.session.player !== null
        text: bar.zoomLabel
        textOpacity: 0.8
    }
}
