import QtQuick
import Tidewatch

// The one alert of a window: a title, a message, "OK", and at most one more button. Covers the window
// so nothing behind it takes a click; Escape dismisses it.
Rectangle {
    id: root
    property string title
    property string body
    property string actionTitle
    property string cancelTitle: "OK"
    property bool destructive: false
    signal dismissed()
    signal action()
    visible: title !== ""
    color: Theme.scrim
    onVisibleChanged: if (visible) cancel.forceActiveFocus()
    MouseArea { anchors.fill: parent; acceptedButtons: Qt.AllButtons; onWheel: (wheel) => wheel.accepted = true }
    Keys.onEscapePressed: root.dismissed()
    Rectangle {
        anchors.centerIn: parent
        width: Math.min(parent.width - 60, 340)
        height: content.implicitHeight + 32
        radius: 12
        color: Theme.window
        border.color: Theme.hairline
        Accessible.role: Accessible.AlertMessage
        Accessible.name: root.title
        Column {
            id: content
            x: 16
            y: 16
            width: parent.width - 32
            spacing: 10
            Text {
                objectName: "alert.title"
                width: parent.width
                text: root.title
                wrapMode: Text.WordWrap
                font.pixelSize: 14
                font.bold: true
                color: Theme.text
            }
            Text {
                objectName: "alert.body"
                width: parent.width
                text: root.body
                wrapMode: Text.WordWrap
                font.pixelSize: 12
                color: Theme.secondary
            }
            Row {
                anchors.right: parent.right
                spacing: 8
                GhostPill {
                    id: cancel
                    objectName: "alert.cancel"
                    text: root.cancelTitle
                    Accessible.name: text
                    onClicked: root.dismissed()
                    Keys.onReturnPressed: root.dismissed()
                    Keys.onEscapePressed: root.dismissed()
                }
                ProminentPill {
                    objectName: "alert.action"
                    visible: root.actionTitle !== ""
                    text: root.actionTitle
                    Accessible.name: text
                    onClicked: root.action()
                    Keys.onReturnPressed: root.action()
                    Keys.onEscapePressed: root.dismissed()
                }
            }
        }
    }
}
