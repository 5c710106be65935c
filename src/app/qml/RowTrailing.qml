import QtQuick

// The right-hand end of a row: the down word alone, or sparkline and latency.
Row {
    property string status
    property string downText
    property var latencyMs
    property var history: []
    spacing: 8
    Text {
        visible: status === "down"
        text: downText
        font.pixelSize: 11
        font.weight: Font.DemiBold
        color: popover.statusColourOf("down")
        anchors.verticalCenter: parent.verticalCenter
    }
    Sparkline {
        objectName: "sparkline"
        visible: prefs.showSparklines && history.length >= 2 && status !== "down"
        values: history
        width: 44
        height: 16
        anchors.verticalCenter: parent.verticalCenter
    }
    LatencyPill {
        visible: status !== "down"
        latencyMs: parent.latencyMs
        anchors.verticalCenter: parent.verticalCenter
    }
}
