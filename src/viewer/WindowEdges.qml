// Grips along the edges and corners of a frameless window that resize it through the window
// manager. None while the window fills the screen.
import QtQuick

Item {
    id: edges

    readonly property real grip: 5
    readonly property bool active: edges.Window.visibility === Window.Windowed

    component Grip: MouseArea {
        required property int side

        enabled: edges.active
        onPressed: edges.Window.window.startSystemResize(side)
    }

    Grip {
        side: Qt.LeftEdge
        x: 0; y: edges.grip; width: edges.grip; height: parent.height - 2 * edges.grip
        cursorShape: Qt.SizeHorCursor
    }
    Grip {
        side: Qt.RightEdge
        x: parent.width - edges.grip; y: edges.grip; width: edges.grip
        height: parent.height - 2 * edges.grip
        cursorShape: Qt.SizeHorCursor
    }
    Grip {
        side: Qt.TopEdge
        x: edges.grip; y: 0; width: parent.width - 2 * edges.grip; height: edges.grip
        cursorShape: Qt.SizeVerCursor
    }
    Grip {
        side: Qt.BottomEdge
        x: edges.grip; y: parent.height - edges.grip; width: parent.width - 2 * edges.grip
        height: edges.grip
        cursorShape: Qt.SizeVerCursor
    }
    Grip {
        side: Qt.TopEdge | Qt.LeftEdge
        x: 0; y: 0; width: edges.grip * 2; height: edges.grip * 2
        cursorShape: Qt.SizeFDiagCursor
    }
    Grip {
        side: Qt.BottomEdge | Qt.RightEdge
        x: parent.width - 2 * edges.grip; y: parent.height - 2 * edges.grip
        width: edges.grip * 2; height: edges.grip * 2
        cursorShape: Qt.SizeFDiagCursor
    }
    Grip {
        side: Qt.TopEdge | Qt.RightEdge
        x: parent.width - 2 * edges.grip; y: 0; width: edges.grip * 2; height: edges.grip * 2
        cursorShape: Qt.SizeBDiagCursor
    }
    Grip {
        side: Qt.BottomEdge | Qt.LeftEdge
        x: 0; y: parent.height - 2 * edges.grip; width: edges.grip * 2; height: edges.grip * 2
        cursorShape: Qt.SizeBDiagCursor
    }
}
