pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls
import "DragOrder.js" as DragOrder
import Tidewatch

// The sources in the user's order. A drag on a row's handle reorders; each row carries its widgets,
// which can be hidden from the popover and reordered the same way.
Item {
    id: root
    required property SettingsController settings

    Column {
        objectName: "settings.sources.empty"
        visible: root.settings.sources.count === 0
        anchors.centerIn: parent
        width: parent.width - 80
        spacing: 12
        Icon { symbol: "server.rack"; size: 40; color: Theme.secondary; anchors.horizontalCenter: parent.horizontalCenter }
        Text {
            width: parent.width
            horizontalAlignment: Text.AlignHCenter
            text: "No Sources Yet"
            font.pixelSize: 17
            font.bold: true
            color: Theme.text
        }
        Text {
            width: parent.width
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.WordWrap
            text: "Tidewatch watches the services, hosts, and game servers you add here."
            font.pixelSize: 12
            color: Theme.secondary
        }
        ProminentPill {
            objectName: "settings.sources.addFirst"
            anchors.horizontalCenter: parent.horizontalCenter
            text: "+  Add Your First Source"
            Accessible.name: "Add Your First Source"
            onClicked: root.settings.addSource()
        }
    }

    Flickable {
        id: scroller
        visible: root.settings.sources.count > 0
        anchors.top: parent.top
        anchors.bottom: footer.top
        width: parent.width
        contentHeight: list.implicitHeight
        clip: true
        boundsBehavior: Flickable.StopAtBounds
        ScrollBar.vertical: ScrollBar {}

        Column {
            id: list
            objectName: "settings.sources.list"
            x: 14
            width: scroller.width - 28
            spacing: 10
            Repeater {
                id: rows
                model: root.settings.sources
                delegate: SourceRow {
                    settings: root.settings
                    required property var model
                    required property int index
                    width: list.width
                    // The row's roles, kept up to date in place while a poll changes one of them.
                    source: model
                    onDropped: (y) => {
                        const target = DragOrder.target(rows, list, index, mapToItem(list, 0, y).y)
                        if (target >= 0)
                            root.settings.moveSource(index, target)
                    }
                }
            }
        }
    }

    Item {
        id: footer
        visible: root.settings.sources.count > 0
        anchors.bottom: parent.bottom
        width: parent.width
        height: visible ? 52 : 0
        Rectangle { width: parent.width; height: 1; color: Theme.hairline }
        GhostPill {
            objectName: "settings.sources.add"
            anchors.centerIn: parent
            text: "+  Add Source"
            Accessible.name: "Add Source"
            onClicked: root.settings.addSource()
        }
    }
}
