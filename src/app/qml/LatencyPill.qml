import QtQuick

// "12ms" in a capsule outlined in the accent colour.
Rectangle {
    id: pill
    property var latencyMs
    property string prefix: ""
    readonly property string text: popover.latencyText(prefix, latencyMs)
    implicitWidth: row.implicitWidth + 16
    implicitHeight: row.implicitHeight + 6
    radius: height / 2
    color: Qt.rgba(theme.text.r, theme.text.g, theme.text.b, 0.03)
    border.width: 1
    border.color: Qt.rgba(prefs.accent.r, prefs.accent.g, prefs.accent.b, 0.7)
    Accessible.role: Accessible.StaticText
    Accessible.name: text
    Row {
        id: row
        anchors.centerIn: parent
        spacing: 5
        Icon { symbol: "waveform.path.ecg"; size: 9; color: theme.text; anchors.verticalCenter: parent.verticalCenter }
        Text {
            text: pill.text
            font.pixelSize: 11
            font.weight: Font.DemiBold
            color: theme.text
            Accessible.ignored: true
        }
    }
}
