import QtQuick
import Tidewatch

// A monitored service or a check: orb, name and detail, then latency or the down word.
RowChrome {
    id: view
    required property PopoverController popover
    property var row
    property string downText: view.row.widgetType === "check" ? "Down" : "Unreachable"
    Accessible.role: Accessible.ListItem
    Accessible.name: view.row.name + (view.row.stale ? ", not heard from, " + view.popover.ageText(view.row.staleSince)
                                     : ", " + view.row.status + (view.row.status === "down" ? "" : ", " + view.popover.latencyText("", view.row.latencyMs)))
    Item {
        width: parent.width
        height: Math.max(title.implicitHeight, trailing.implicitHeight)
        StatusOrb {
            id: orb
            color: view.popover.statusColourOf(view.row.status)
            status: view.row.status
            anchors.verticalCenter: parent.verticalCenter
        }
        TitleBlock {
            id: title
            anchors.left: orb.right
            anchors.leftMargin: 10
            anchors.right: trailing.left
            anchors.rightMargin: 10
            anchors.verticalCenter: parent.verticalCenter
            title: view.row.name
            subtitle: view.row.detail || ""
        }
        RowTrailing {
            popover: view.popover
            id: trailing
            anchors.right: parent.right
            anchors.verticalCenter: parent.verticalCenter
            status: view.row.status
            downText: view.downText
            latencyMs: view.row.latencyMs
            history: view.row.history || []
            stale: view.row.stale || false
            staleSince: view.row.staleSince || new Date(0)
        }
    }
}
