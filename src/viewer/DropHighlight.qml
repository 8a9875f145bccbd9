// The dashed outline shown while a file is dragged over the window. Never takes input.
import QtQuick
import QtQuick.Shapes

Shape {
    id: highlight

    readonly property real inset: 10 + line / 2
    readonly property real line: 2
    readonly property real corner: 16 - line / 2

    ShapePath {
        strokeColor: Qt.rgba(1, 1, 1, 0.85)
        strokeWidth: highlight.line
        strokeStyle: ShapePath.DashLine
        dashPattern: [8 / highlight.line, 6 / highlight.line]
        fillColor: "transparent"
        miterLimit: 10

        startX: highlight.inset + highlight.corner
        startY: highlight.inset
        PathLine {
            x: highlight.width - highlight.inset - highlight.corner
            y: highlight.inset
        }
        PathArc {
            x: highlight.width - highlight.inset
            y: highlight.inset + highlight.corner
            radiusX: highlight.corner
            radiusY: highlight.corner
        }
        PathLine {
            x: highlight.width - highlight.inset
            y: highlight.height - highlight.inset - highlight.corner
        }
        PathArc {
            x: highlight.width - highlight.inset - highlight.corner
            y: highlight.height - highlight.inset
            radiusX: highlight.corner
            radiusY: highlight.corner
        }
        PathLine {
            x: highlight.inset + highlight.corner
            y: highlight.height - highlight.inset
        }
        PathArc {
            x: highlight.inset
            y: highlight.height - highlight.inset - highlight.corner
            radiusX: highlight.corner
            radiusY: highlight.corner
        }
        PathLine {
            x: highlight.inset
            y: highlight.inset + highlight.corner
        }
        PathArc {
            x: highlight.inset + highlight.corner
            y: highlight.inset
            radiusX: highlight.corner
            radiusY: highlight.corner
        }
    }
}
