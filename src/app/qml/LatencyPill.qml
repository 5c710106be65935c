import QtQuick
import Tidewatch

// "12ms" in a capsule outlined in the accent colour.
Rectangle {
    id: pill
    required property PopoverController popover
    property var latencyMs
    property string prefix: ""
    readonly property string text: pill.popover.latencyText(prefix, latencyMs)
    implicitWidth: row.implicitWidth + 16
    implicitHeight: row.implicitHeight + 6
    radius: height / 2
    color: Qt.rgba(Theme.text.r, Theme.text.g, Theme.text.b, 0.03)
    border.width: 1
    border.color: Qt.rgba(Preferences.accent.r, Preferences.accent.g, Preferences.accent.b, 0.7)
    Accessible.role: Accessible.StaticText
    Accessible.name: text
    Row {
        id: row
        anchors.centerIn: parent
        spacing: 5
        Icon { symbol: "waveform.path.ecg"; size: 9; color: Theme.text; anchors.verticalCenter: parent.verticalCenter }
        Text {
            text: pill.text
            font.pixelSize: 11
            font.weight: Font.DemiBold
            color: Theme.text
            Accessible.ignored: true
        }
    }
}
