import QtQuick
import QtQuick.Controls
import Tidewatch

// The grip a row is dragged by; reports where in its own coordinates the drag ended.
Item {
    id: root
    signal dropped(real y)
    property bool dragging: area.pressed
    implicitWidth: 16
    implicitHeight: 16
    Accessible.ignored: true
    Icon { anchors.centerIn: parent; symbol: "line.3.horizontal"; size: 14; color: Theme.secondary }
    MouseArea {
        id: area
        anchors.fill: parent
        anchors.margins: -4
        cursorShape: pressed ? Qt.ClosedHandCursor : Qt.OpenHandCursor
        hoverEnabled: true
        preventStealing: true
        onReleased: (mouse) => root.dropped(mouse.y + area.y)
        ToolTip.visible: containsMouse && !pressed
        ToolTip.text: "Drag to reorder"
        ToolTip.delay: 600
    }
}
