import QtQuick
import Tidewatch

// The right-hand end of a row: the down word alone, or sparkline and latency; for readings too old to
// trust, their age alone.
Row {
    id: trailing
    required property PopoverController popover
    property string status
    property string downText
    property var latencyMs
    property var history: []
    property bool stale: false
    property date staleSince
    spacing: 8
    RelativeTimeText {
        objectName: "staleAge"
        visible: trailing.stale
        popover: trailing.popover
        date: trailing.staleSince
        age: true
        font.pixelSize: 11
        anchors.verticalCenter: parent.verticalCenter
    }
    // Neither health nor failure: said in words, with no latency to read as one or the other.
    readonly property bool honest: trailing.status === "maintenance" || trailing.status === "paused"
    Text {
        objectName: "stateWord"
        visible: trailing.honest && !trailing.stale
        text: trailing.status === "maintenance" ? "Maintenance" : "Paused"
        font.pixelSize: 11
        font.weight: Font.DemiBold
        color: trailing.popover.statusColourOf(trailing.status)
        anchors.verticalCenter: parent.verticalCenter
    }
    Text {
        visible: trailing.status === "down" && !trailing.stale
        text: trailing.downText
        font.pixelSize: 11
        font.weight: Font.DemiBold
        color: trailing.popover.statusColourOf("down")
        anchors.verticalCenter: parent.verticalCenter
    }
    Sparkline {
        objectName: "sparkline"
        visible: Preferences.showSparklines && trailing.history.length >= 2 && trailing.status !== "down" && !trailing.honest && !trailing.stale
        values: trailing.history
        width: 44
        height: 16
        anchors.verticalCenter: parent.verticalCenter
    }
    LatencyPill {
        popover: trailing.popover
        visible: trailing.status !== "down" && !trailing.honest && !trailing.stale
        latencyMs: trailing.latencyMs
        anchors.verticalCenter: parent.verticalCenter
    }
}
