import QtQuick
import Tidewatch

// A host: CPU, memory and disk as rings, and its hottest drive.
RowChrome {
    id: view
    required property PopoverController popover
    property var row
    Accessible.role: Accessible.ListItem
    Accessible.name: view.row.name + ", CPU " + view.popover.ringText(view.row.cpuPct) + ", memory " + view.popover.ringText(view.row.memPct)
                     + ", disk " + view.popover.ringText(view.row.diskPct) + (view.row.maxTempText ? ", " + view.row.maxTempText : "")
                     + (view.row.overLimitsText ? ", past its limits: " + view.row.overLimitsText : "")
                     + (view.row.stale ? ", not heard from, " + view.popover.ageText(view.row.staleSince) : "")
    Item {
        width: parent.width
        height: Math.max(title.implicitHeight, rings.implicitHeight)
        StatusOrb {
            id: orb
            color: view.popover.statusColourOf(view.row.status)
            status: view.row.status
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
                text: view.row.name
                elide: Text.ElideRight
                font.pixelSize: 13
                font.weight: Font.DemiBold
                color: Theme.text
            }
            RelativeTimeText {
                objectName: "staleAge"
                visible: view.row.stale || false
                popover: view.popover
                date: view.row.staleSince || new Date(0)
                age: true
            }
            Text {
                objectName: "overLimits"
                visible: text !== ""
                width: parent.width
                text: view.row.overLimitsText ? "Past limit: " + view.row.overLimitsText : ""
                elide: Text.ElideRight
                font.pixelSize: 10
                font.weight: Font.DemiBold
                color: Theme.text
            }
            Row {
                visible: view.row.maxTempText !== ""
                spacing: 2
                Icon { symbol: "thermometer.medium"; size: 10; color: Theme.secondary; anchors.verticalCenter: parent.verticalCenter }
                Text { objectName: "temperature"; text: view.row.maxTempText; font.pixelSize: 10; color: Theme.secondary }
            }
        }
        Row {
            id: rings
            anchors.right: parent.right
            anchors.verticalCenter: parent.verticalCenter
            spacing: 8
            MetricRing { popover: view.popover; label: "CPU"; pct: view.row.cpuPct }
            MetricRing { popover: view.popover; label: "MEM"; pct: view.row.memPct }
            MetricRing { popover: view.popover; label: "DISK"; pct: view.row.diskPct }
        }
    }
}
