import QtQuick
import Tidewatch

// A host: CPU, memory and disk as rings, and its hottest drive.
RowChrome {
    property var row
    Accessible.role: Accessible.ListItem
    Accessible.name: row.name + ", CPU " + popover.ringText(row.cpuPct) + ", memory " + popover.ringText(row.memPct)
                     + ", disk " + popover.ringText(row.diskPct) + (row.maxTempText ? ", " + row.maxTempText : "")
    Item {
        width: parent.width
        height: Math.max(title.implicitHeight, rings.implicitHeight)
        StatusOrb {
            id: orb
            color: popover.statusColourOf(row.status)
            anchors.verticalCenter: parent.verticalCenter
        }
        Column {
            id: title
            anchors.left: orb.right
            anchors.leftMargin: 10
            anchors.right: rings.left
            anchors.rightMargin: 10
            anchors.verticalCenter: parent.verticalCenter
            spacing: 2
            Text {
                width: parent.width
                text: row.name
                elide: Text.ElideRight
                font.pixelSize: 13
                font.weight: Font.DemiBold
                color: Theme.text
            }
            Row {
                visible: row.maxTempText !== ""
                spacing: 2
                Icon { symbol: "thermometer.medium"; size: 10; color: Theme.secondary; anchors.verticalCenter: parent.verticalCenter }
                Text { objectName: "temperature"; text: row.maxTempText; font.pixelSize: 10; color: Theme.secondary }
            }
        }
        Row {
            id: rings
            anchors.right: parent.right
            anchors.verticalCenter: parent.verticalCenter
            spacing: 8
            MetricRing { label: "CPU"; pct: row.cpuPct }
            MetricRing { label: "MEM"; pct: row.memPct }
            MetricRing { label: "DISK"; pct: row.diskPct }
        }
    }
}
