import QtQuick
import Tidewatch

// A game server: who is playing, how many, and how fast it answers. The name has the first line to
// itself beside the latency; who is playing and the count share the second, and the "+2" of a long
// list stays in view however narrow the popover is.
RowChrome {
    id: view
    required property PopoverController popover
    property var row
    Accessible.role: Accessible.ListItem
    Accessible.name: view.row.name + (view.row.stale ? ", not heard from, " + view.popover.ageText(view.row.staleSince)
                                     : view.row.online ? ", online, " + view.row.playersText : ", offline")
                     + (view.row.subtitle ? ", " + view.row.subtitle : "")
    Item {
        width: parent.width
        height: nameLine.height + (secondLine.visible ? 2 + secondLine.height : 0)
        StatusOrb {
            id: orb
            color: view.popover.statusColourOf(view.row.stale ? "unknown" : view.row.online ? "up" : "down")
            anchors.verticalCenter: parent.verticalCenter
        }
        Item {
            id: nameLine
            anchors.left: orb.right
            anchors.leftMargin: 10
            anchors.right: parent.right
            height: Math.max(name.implicitHeight, trailing.implicitHeight)
            Text {
                id: name
                objectName: "gameName"
                anchors.left: parent.left
                anchors.right: trailing.left
                anchors.rightMargin: 10
                anchors.verticalCenter: parent.verticalCenter
                text: view.row.name
                elide: Text.ElideRight
                font.pixelSize: 13
                font.weight: Font.DemiBold
                color: Theme.text
            }
            RowTrailing {
                popover: view.popover
                id: trailing
                anchors.right: parent.right
                anchors.verticalCenter: parent.verticalCenter
                status: view.row.online ? "up" : "down"
                downText: "Offline"
                latencyMs: view.row.latencyMs
                history: view.row.history || []
                stale: view.row.stale || false
                staleSince: view.row.staleSince || new Date(0)
            }
        }
        Item {
            id: secondLine
            visible: view.row.subtitle !== "" || view.row.online
            anchors.top: nameLine.bottom
            anchors.topMargin: 2
            anchors.left: nameLine.left
            anchors.right: parent.right
            height: Math.max(head.implicitHeight, players.implicitHeight)
            Text {
                id: head
                objectName: "gameSubtitle"
                anchors.left: parent.left
                anchors.verticalCenter: parent.verticalCenter
                width: Math.max(0, Math.min(implicitWidth,
                                            (players.visible ? players.x - 10 : parent.width) - tail.implicitWidth))
                text: view.row.subtitleHead
                elide: Text.ElideRight
                font.pixelSize: 10
                color: Theme.secondary
            }
            Text {
                id: tail
                objectName: "gameSubtitleTail"
                anchors.left: head.right
                anchors.verticalCenter: parent.verticalCenter
                text: view.row.subtitleTail
                font.pixelSize: 10
                color: Theme.secondary
            }
            Text {
                id: players
                objectName: "players"
                visible: view.row.online
                anchors.right: parent.right
                anchors.verticalCenter: parent.verticalCenter
                text: view.row.playersText
                font.pixelSize: 11
                font.weight: Font.DemiBold
                color: Theme.secondary
            }
        }
    }
}
