import QtQuick
import Tidewatch

// A filled dot in a status colour with a soft glow of the same colour. The states that are neither
// health nor failure have shapes of their own, for eyes that do not tell the colours apart: a
// diamond for maintenance, a ring for paused.
Item {
    id: orb
    property color color: Theme.noStatus
    property string status
    property int size: 10
    implicitWidth: size
    implicitHeight: size
    Accessible.ignored: true
    Rectangle {
        anchors.centerIn: parent
        width: parent.size + 4
        height: width
        radius: width / 2
        color: parent.color
        opacity: 0.25
    }
    Rectangle {
        objectName: "orbShape"
        anchors.centerIn: parent
        width: orb.status === "maintenance" ? parent.size * 0.75 : parent.size
        height: width
        radius: orb.status === "maintenance" ? 1.5 : width / 2
        rotation: orb.status === "maintenance" ? 45 : 0
        color: orb.status === "paused" ? "transparent" : orb.color
        border.width: orb.status === "paused" ? 2 : 0
        border.color: orb.color
    }
}
