import QtQuick
import Tidewatch

// The header of a source with several widgets; a click folds or unfolds it.
RowChrome {
    id: header
    required property PopoverController popover
    property var row
    signal toggled()
    objectName: "groupHeader"
    activeFocusOnTab: true
    Accessible.role: Accessible.Button
    Accessible.name: header.row.accessibleLabel
    Accessible.description: header.row.accessibleHint
    Accessible.onPressAction: toggled()
    Keys.onSpacePressed: toggled()
    Keys.onReturnPressed: toggled()
    Item {
        width: parent.width
        height: Math.max(title.implicitHeight, pill.implicitHeight)
        MouseArea {
            anchors.fill: parent
            anchors.topMargin: -header.vertical
            anchors.bottomMargin: -header.vertical
            cursorShape: Qt.PointingHandCursor
            onClicked: header.toggled()
        }
        Rectangle {
            anchors.fill: parent
            anchors.margins: -4
            visible: header.activeFocus
            color: "transparent"
            border.color: Preferences.accent
            radius: 8
        }
        Row {
            id: lead
            spacing: 8
            anchors.verticalCenter: parent.verticalCenter
            Item {
                width: 10; height: 10
                anchors.verticalCenter: parent.verticalCenter
                Icon { anchors.centerIn: parent; symbol: header.row.collapsed ? "chevron.right" : "chevron.down"; size: 10; color: Theme.secondary }
            }
            StatusOrb { color: header.popover.statusColourOf(header.row.status); anchors.verticalCenter: parent.verticalCenter }
        }
        Column {
            id: title
            anchors.left: lead.right
            anchors.leftMargin: 8
            anchors.right: pill.left
            anchors.rightMargin: 8
            anchors.verticalCenter: parent.verticalCenter
            spacing: 4
            Row {
                spacing: 6
                Text { text: header.row.name; font.pixelSize: 13; font.weight: Font.DemiBold; color: Theme.text }
                CountBadge { count: header.row.count; anchors.verticalCenter: parent.verticalCenter }
            }
            Text { text: header.row.aggregate; font.pixelSize: 10; color: Theme.secondary }
        }
        LatencyPill {
            popover: header.popover
            id: pill
            visible: header.row.avgLatencyMs !== undefined
            prefix: "Avg"
            latencyMs: header.row.avgLatencyMs
            anchors.right: parent.right
            anchors.verticalCenter: parent.verticalCenter
        }
    }
}
