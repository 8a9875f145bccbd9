// The first-run introduction: what the player does, and the one button that makes it the
// default player and goes on.
import QtQuick
import QtQuick.Controls.Basic
import QtQuick.Layouts
import Lunelo

Rectangle {
    id: intro

    required property OnboardingStore onboarding

    readonly property color primary: "#1d1d1f"
    readonly property color secondary: Qt.rgba(0.11, 0.11, 0.12, 0.6)

    color: system.window

    SystemPalette {
        id: system
    }

    // The window has no frame: this card moves it, and its corner closes it.
    DragHandler {
        target: null
        onActiveChanged: {
            if (active)
                intro.Window.window.startSystemMove()
        }
    }

    IconButton {
        anchors.top: parent.top
        anchors.right: parent.right
        anchors.margins: 10
        symbol: "dark/xmark"
        symbolSize: 11
        symbolOpacity: 0.5
        tip: "Fechar"
        onClicked: intro.Window.window.close()
    }

    // The primary button is the default button: Return presses it, whatever has the focus,
    // except while it is disabled by a claim under way.
    Shortcut {
        sequences: ["Return", "Enter"]
        onActivated: {
            if (primaryButton.enabled)
                primaryButton.clicked()
        }
    }

    ColumnLayout {
        anchors.horizontalCenter: parent.horizontalCenter
        anchors.top: parent.top
        anchors.bottom: parent.bottom
        anchors.topMargin: 44
        anchors.bottomMargin: 28
        width: Math.min(parent.width - 72, 440)
        spacing: 28

        ColumnLayout {
            Layout.alignment: Qt.AlignHCenter
            spacing: 6

            Image {
                Layout.alignment: Qt.AlignHCenter
                Layout.bottomMargin: 4
                source: "icons/dark/play.rectangle.fill.svg"
                sourceSize.height: 42
            }
            Text {
                Layout.alignment: Qt.AlignHCenter
                text: "Lunelo"
                color: intro.primary
                font.pixelSize: 26
                font.weight: Font.DemiBold
                font.letterSpacing: -0.3
            }
            Text {
                Layout.alignment: Qt.AlignHCenter
                text: "Player leve, com zoom como no Fotos."
                color: intro.secondary
                font.pixelSize: 14
            }
        }

        ColumnLayout {
            Layout.fillWidth: true
            spacing: 14

            FeatureRow {
                symbol: "hand.draw"
                title: "Pinça para zoom"
                subtitle: "Só a pinça amplia. Dois dedos ou clique arrasta a imagem."
            }
            FeatureRow {
                symbol: "arrow.up.left.and.arrow.down.right"
                title: "F e Esc"
                subtitle: "F tela cheia. Esc volta à janela, ou fecha."
            }
            FeatureRow {
                symbol: intro.onboarding.alreadyDefault ? "checkmark.circle.fill" : "film"
                title: "Player padrão"
                subtitle: intro.onboarding.alreadyDefault
                          ? "Já está definido — clique duplo abre aqui."
                          : "Clique duplo no vídeo abre aqui."
            }
        }

        Item {
            Layout.fillHeight: true
        }

        ColumnLayout {
            Layout.fillWidth: true
            spacing: 10

            Button {
                id: primaryButton

                Layout.fillWidth: true
                focusPolicy: Qt.NoFocus
                enabled: !intro.onboarding.isActivating
                topPadding: 8 + 4
                bottomPadding: 8 + 4
                contentItem: Text {
                    text: intro.onboarding.isActivating ? "Ativando…"
                          : intro.onboarding.alreadyDefault ? "Continuar" : "Ativar Lunelo"
                    color: "white"
                    font.pixelSize: 15
                    font.weight: Font.DemiBold
                    horizontalAlignment: Text.AlignHCenter
                }
                background: Rectangle {
                    radius: 8
                    color: !primaryButton.enabled ? "#7fb4f5"
                           : primaryButton.down ? "#0062cc" : "#007aff"
                }
                onClicked: intro.onboarding.activate()
            }

            Text {
                Layout.fillWidth: true
                visible: intro.onboarding.statusText !== ""
                text: intro.onboarding.statusText
                color: "#ff9500"
                font.pixelSize: 12
                horizontalAlignment: Text.AlignHCenter
                wrapMode: Text.Wrap
            }

            AbstractButton {
                Layout.alignment: Qt.AlignHCenter
                Layout.topMargin: 2
                focusPolicy: Qt.NoFocus
                contentItem: Text {
                    text: "Pular e só usar o player"
                    color: intro.secondary
                    font.pixelSize: 13
                }
                background: Item {}
                onClicked: intro.onboarding.skip()
            }
        }
    }

    component FeatureRow: RowLayout {
        id: row

        required property string symbol
        required property string title
        required property string subtitle

        Layout.fillWidth: true
        spacing: 12

        Image {
            Layout.alignment: Qt.AlignTop
            Layout.topMargin: 1
            Layout.preferredWidth: 20
            Layout.preferredHeight: 20
            source: "icons/dark/" + row.symbol + ".svg"
            sourceSize.height: 18
            fillMode: Image.PreserveAspectFit
            opacity: 0.6
        }
        ColumnLayout {
            Layout.fillWidth: true
            spacing: 2

            Text {
                text: row.title
                color: intro.primary
                font.pixelSize: 14
                font.weight: Font.DemiBold
            }
            Text {
                Layout.fillWidth: true
                text: row.subtitle
                color: intro.secondary
                font.pixelSize: 13
                wrapMode: Text.Wrap
            }
        }
    }
}
