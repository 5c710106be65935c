import QtQuick
import QtQuick.Controls
import Tidewatch

// A secondary action: a faint capsule with a hairline outline.
Button {
    id: control
    font.pixelSize: 13
    font.weight: Font.DemiBold
    leftPadding: 12
    rightPadding: 12
    topPadding: 6
    bottomPadding: 6
    opacity: down ? 0.6 : 1
    contentItem: Text {
        text: control.text
        font: control.font
        color: control.enabled ? Theme.text : Theme.secondary
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
    }
    background: Rectangle {
        radius: height / 2
        color: Qt.rgba(Theme.text.r, Theme.text.g, Theme.text.b, 0.05)
        border.width: control.visualFocus ? 2 : 1
        border.color: control.visualFocus ? Preferences.accent : Theme.hairline
    }
}
