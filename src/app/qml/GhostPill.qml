import QtQuick
import QtQuick.Controls

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
        color: control.enabled ? theme.text : theme.secondary
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
    }
    background: Rectangle {
        radius: height / 2
        color: Qt.rgba(theme.text.r, theme.text.g, theme.text.b, 0.05)
        border.width: control.visualFocus ? 2 : 1
        border.color: control.visualFocus ? prefs.accent : theme.hairline
    }
}
