import QtQuick
import Tidewatch

// A source with nothing to show: an error it met, or no data at all.
RowChrome {
    id: view
    required property PopoverController popover
    property var row
    readonly property bool failed: view.row.type === "error"
    Accessible.role: Accessible.ListItem
    Accessible.name: view.row.name + ", " + (view.failed ? view.row.message : "No data reported")
    Item {
        width: parent.width
        height: title.implicitHeight
        StatusOrb {
            id: orb
            // Gray for a failure put down to a source it sits behind.
            color: view.popover.statusColourOf(view.failed ? view.row.status : "unknown")
            anchors.verticalCenter: parent.verticalCenter
        }
        TitleBlock {
            id: title
            objectName: "messageText"
            anchors.left: orb.right
            anchors.leftMargin: 10
            anchors.right: parent.right
            anchors.verticalCenter: parent.verticalCenter
            title: view.row.name
            subtitle: view.failed ? view.row.message : "No data reported"
        }
    }
}
