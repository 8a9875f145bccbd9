// The application's commands, from the menu button of the top bar (the desktop has no global
// menu bar here); their shortcuts work anywhere in the window (see ContentView).
import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Lunelo

Menu {
    id: menu

    required property PlaybackSession session
    required property Commands commands
    required property WindowPresentation presentation
    required property OnboardingStore onboarding

    onOpened: menu.presentation.menuOpen = true
    onClosed: menu.presentation.menuOpen = false

    component MenuBackground: Rectangle {
        implicitWidth: 240
        radius: 8
        color: Qt.rgba(0.14, 0.14, 0.15, 0.97)
        border.width: 1
        border.color: Qt.rgba(1, 1, 1, 0.12)
    }

    component CommandItem: MenuItem {
        id: item

        property string shortcut

        contentItem: RowLayout {
            spacing: 24

            Text {
                Layout.fillWidth: true
                text: item.text
                color: item.enabled ? "white" : Qt.rgba(1, 1, 1, 0.4)
                font.pixelSize: 13
            }
            Text {
                text: item.subMenu ? "›" : item.shortcut
                color: Qt.rgba(1, 1, 1, 0.5)
                font.pixelSize: item.subMenu ? 15 : 12
            }
        }
        background: Rectangle {
            implicitWidth: 230
            implicitHeight: 28
            radius: 5
            color: item.highlighted ? Qt.rgba(0.2, 0.45, 0.95, 0.9) : "transparent"
        }
    }

    delegate: CommandItem {}

    background: MenuBackground {}

    CommandItem {
        text: "Abrir…"
        shortcut: "Ctrl+O"
        onTriggered: menu.session.presentOpenPanel()
    }
    CommandItem {
        text: "Tornar player padrão"
        onTriggered: menu.onboarding.makeDefaultPlayer()
    }
    CommandItem {
        text: "Mostrar introdução"
        onTriggered: menu.onboarding.showIntroduction()
    }
    MenuSeparator {}
    Menu {
        title: "Visualizar"
        delegate: CommandItem {}
        background: MenuBackground {}

        CommandItem {
            text: "Aproximar"
            shortcut: "Ctrl++"
            onTriggered: menu.commands.post(Commands.ZoomIn)
        }
        CommandItem {
            text: "Afastar"
            shortcut: "Ctrl+-"
            onTriggered: menu.commands.post(Commands.ZoomOut)
        }
        CommandItem {
            text: "Ajustar à janela"
            shortcut: "Ctrl+0"
            onTriggered: menu.commands.post(Commands.ZoomReset)
        }
        MenuSeparator {}
        CommandItem {
            text: "Tela cheia"
            shortcut: "F"
            onTriggered: menu.presentation.enterFullScreen()
        }
    }
    MenuSeparator {}
    CommandItem {
        text: "Sair"
        shortcut: "Ctrl+Q"
        onTriggered: menu.presentation.closeWindow()
    }
}
