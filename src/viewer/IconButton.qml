// A bare icon button of the player's controls: no bezel, never takes keyboard focus.
import QtQuick
import QtQuick.Controls.Basic

AbstractButton {
    id: control

    // The name of a symbol in icons/, without ".svg".
    property string symbol
    // The symbol's size in points, as a font size.
    property real symbolSize: 13
    property string tip
    property real symbolOpacity: 1

    focusPolicy: Qt.NoFocus
    hoverEnabled: true
    implicitWidth: 20
    implicitHeight: Math.round(symbolSize * 1.3)
    padding: 0

    contentItem: Image {
        source: control.symbol ? "icons/" + control.symbol + ".svg" : ""
        fillMode: Image.PreserveAspectFit
        horizontalAlignment: Image.AlignHCenter
        verticalAlignment: Image.AlignVCenter
        sourceSize.height: Math.round(control.symbolSize * 1.2)
        opacity: (control.pressed ? 0.6 : 1) * control.symbolOpacity
    }

    background: Item {}

    ToolTip.visible: hovered && tip !== ""
    ToolTip.text: tip
    ToolTip.delay: 700
}
