import QtQuick
import QtQuick.Controls
import Tidewatch

// The main action of a view: accent-filled capsule, text in the on-accent colour.
Button {
    id: control
    font.pixelSize: 13
    font.bold: true
    leftPadding: 16
    rightPadding: 16
    topPadding: 8
    bottomPadding: 8
    opacity: down ? 0.8 : 1
    contentItem: Text {
        text: control.text
        font: control.font
        color: Preferences.onAccent
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
    }
    background: Rectangle {
        radius: height / 2
        color: Preferences.accent
        border.width: control.visualFocus ? 2 : 1
        border.color: control.visualFocus ? Theme.text : Preferences.accent
    }
}
