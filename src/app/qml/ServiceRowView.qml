import QtQuick

// A monitored service or a check: orb, name and detail, then latency or the down word.
RowChrome {
    id: view
    property var row
    property string downText: row.widgetType === "check" ? "Down" : "Unreachable"
    Accessible.role: Accessible.ListItem
    Accessible.name: row.name + ", " + row.status + (row.status === "down" ? "" : ", " + popover.latencyText("", row.latencyMs))
    Item {
        width: parent.width
        height: Math.max(title.implicitHeight, trailing.implicitHeight)
        StatusOrb {
            id: orb
            color: popover.statusColourOf(row.status)
            anchors.verticalCenter: parent.verticalCenter
        }
        TitleBlock {
            id: title
            anchors.left: orb.right
            anchors.leftMargin: 10
            anchors.right: trailing.left
            anchors.rightMargin: 10
            anchors.verticalCenter: parent.verticalCenter
            title: row.name
            subtitle: row.detail || ""
        }
        RowTrailing {
            id: trailing
            anchors.right: parent.right
            anchors.verticalCenter: parent.verticalCenter
            status: row.status
            downText: view.downText
            latencyMs: row.latencyMs
            history: row.history || []
        }
    }
}
