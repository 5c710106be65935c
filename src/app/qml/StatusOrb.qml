import QtQuick
import Tidewatch

// A filled dot in a status colour with a soft glow of the same colour.
Item {
    property color color: Theme.noStatus
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
        anchors.fill: parent
        radius: width / 2
        color: parent.color
    }
}
