import QtQuick

// A source with nothing to show: an error it met, or no data at all.
RowChrome {
    property var row
    readonly property bool failed: row.type === "error"
    Accessible.role: Accessible.ListItem
    Accessible.name: row.name + ", " + (failed ? row.message : "No data reported")
    Item {
        width: parent.width
        height: title.implicitHeight
        StatusOrb {
            id: orb
            color: popover.statusColourOf(failed ? "down" : "unknown")
            anchors.verticalCenter: parent.verticalCenter
        }
        TitleBlock {
            id: title
            anchors.left: orb.right
            anchors.leftMargin: 10
            anchors.right: parent.right
            anchors.verticalCenter: parent.verticalCenter
            title: row.name
            subtitle: failed ? row.message : "No data reported"
        }
    }
}
