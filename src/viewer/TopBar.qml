// The video's title, and while a video is open its rate and zoom. The window has no frame of
// its own, so this bar is its title bar: it moves the window, a double click maximises it, and
// the menu and close buttons sit at its end.
import QtQuick
import QtQuick.Layouts
import Lunelo

Item {
    id: bar

    required property PlaybackSession session
    required property Commands commands
    required property WindowPresentation presentation
    required property OnboardingStore onboarding
    required property string zoomLabel

    implicitHeight: row.implicitHeight

    DragHandler {
        target: null
        onActiveChanged: {
            if (active)
                bar.Window.window.startSystemMove()
        }
    }

    TapHandler {
        onDoubleTapped: bar.presentation.toggleMaximized()
    }

    RowLayout {
        id: row

        anchors.fill: parent
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

        IconButton {
            id: menuButton

            symbol: "ellipsis"
            symbolSize: 13
            symbolOpacity: 0.8
            tip: "Menu"
            onClicked: menu.open()

            AppMenu {
                id: menu

                y: menuButton.height + 6
                x: menuButton.width - width
                session: bar.session
                commands: bar.commands
                presentation: bar.presentation
                onboarding: bar.onboarding
            }
        }

        IconButton {
            symbol: "xmark"
            symbolSize: 12
            symbolOpacity: 0.8
            tip: "Fechar"
            onClicked: bar.Window.window.close()
        }
    }
}
