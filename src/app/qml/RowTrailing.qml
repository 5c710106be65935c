import QtQuick
import Tidewatch

// The right-hand end of a row: the down word alone, or sparkline and latency.
Row {
    id: trailing
    required property PopoverController popover
    property string status
    property string downText
    property var latencyMs
    property var history: []
    spacing: 8
    Text {
        visible: trailing.status === "down"
        text: trailing.downText
        font.pixelSize: 11
        font.weight: Font.DemiBold
        color: trailing.popover.statusColourOf("down")
        anchors.verticalCenter: parent.verticalCenter
    }
    Sparkline {
        objectName: "sparkline"
        visible: Preferences.showSparklines && trailing.history.length >= 2 && trailing.status !== "down"
        values: trailing.history
        width: 44
        height: 16
        anchors.verticalCenter: parent.verticalCenter
    }
    LatencyPill {
        popover: trailing.popover
        visible: trailing.status !== "down"
        latencyMs: trailing.latencyMs
        anchors.verticalCenter: parent.verticalCenter
    }
}
