import QtQuick

// A game server: who is playing, how many, and how fast it answers.
RowChrome {
    property var row
    Accessible.role: Accessible.ListItem
    Accessible.name: row.name + (row.online ? ", online, " + row.playersText : ", offline")
    Item {
        width: parent.width
        height: Math.max(title.implicitHeight, trailingRow.implicitHeight)
        StatusOrb {
            id: orb
            color: popover.statusColourOf(row.online ? "up" : "down")
            anchors.verticalCenter: parent.verticalCenter
        }
        TitleBlock {
            id: title
            anchors.left: orb.right
            anchors.leftMargin: 10
            anchors.right: trailingRow.left
            anchors.rightMargin: 10
            anchors.verticalCenter: parent.verticalCenter
            title: row.name
            subtitle: row.subtitle
        }
        Row {
            id: trailingRow
            anchors.right: parent.right
            anchors.verticalCenter: parent.verticalCenter
            spacing: 8
            Text {
                objectName: "players"
                visible: row.online
                text: row.playersText
                font.pixelSize: 11
                font.weight: Font.DemiBold
                color: theme.secondary
                anchors.verticalCenter: parent.verticalCenter
            }
            RowTrailing {
                status: row.online ? "up" : "down"
                downText: "Offline"
                latencyMs: row.latencyMs
                history: row.history || []
            }
        }
    }
}
