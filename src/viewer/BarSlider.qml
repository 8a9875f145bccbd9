// A small white slider of the control bar; never takes keyboard focus.
import QtQuick
import QtQuick.Controls.Basic

Slider {
    id: slider

    focusPolicy: Qt.NoFocus
    padding: 0
    implicitHeight: 16

    background: Rectangle {
        x: slider.leftPadding
        y: slider.topPadding + (slider.availableHeight - height) / 2
        width: slider.availableWidth
        height: 4
        radius: 2
        color: Qt.rgba(1, 1, 1, 0.25)

        Rectangle {
            width: slider.visualPosition * parent.width
            height: parent.height
            radius: 2
            color: "white"
        }
    }

    handle: Rectangle {
        x: slider.leftPadding + slider.visualPosition * (slider.availableWidth - width)
        y: slider.topPadding + (slider.availableHeight - height) / 2
        width: 12
        height: 12
        radius: 6
        color: slider.pressed ? "#e6e6e6" : "white"
    }
}
