import QtQuick
import QtQuick.Controls
import Tidewatch

// A preference: its label on the left, a switch on the right that speaks with the same label.
Item {
    id: root
    property alias label: caption.text
    property alias checked: toggle.checked
    signal toggled(bool on)
    width: parent ? parent.width : 0
    implicitHeight: Math.max(caption.implicitHeight, toggle.implicitHeight)
    Text {
        id: caption
        anchors.verticalCenter: parent.verticalCenter
        font.pixelSize: 13
        color: Theme.text
    }
    Switch {
        id: toggle
        objectName: root.objectName + ".switch"
        anchors.right: parent.right
        anchors.verticalCenter: parent.verticalCenter
        Accessible.name: caption.text
        onToggled: root.toggled(checked)
    }
}
