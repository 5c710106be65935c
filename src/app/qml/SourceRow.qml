pragma ComponentBehavior: Bound

import QtQuick
import "DragOrder.js" as DragOrder
import Tidewatch

// One source: grip, kind tile, name with its status dot, what it watches and when it last answered,
// the edit, mute and delete buttons, and below them the source's widgets.
Column {
    id: root
    required property SettingsController settings
    property var source
    signal dropped(real y)
    spacing: 6
    opacity: handle.dragging ? 0.55 : 1

    Item {
        width: parent.width
        height: 40
        DragHandle {
            id: handle
            objectName: "settings.source.handle"
            anchors.verticalCenter: parent.verticalCenter
            onDropped: (y) => root.dropped(mapToItem(root, 0, y).y)
        }
        Rectangle {
            id: tile
            anchors.left: handle.right
            anchors.leftMargin: 8
            anchors.verticalCenter: parent.verticalCenter
            width: 32
            height: 32
            radius: 8
            color: Qt.rgba(Theme.text.r, Theme.text.g, Theme.text.b, 0.05)
            Icon { anchors.centerIn: parent; symbol: root.source.symbol; size: 16; color: Theme.text }
        }
        Column {
            anchors.left: tile.right
            anchors.leftMargin: 10
            anchors.right: buttons.left
            anchors.rightMargin: 6
            anchors.verticalCenter: parent.verticalCenter
            spacing: 3
            Row {
                spacing: 8
                width: parent.width
                Rectangle {
                    objectName: "settings.source.status"
                    anchors.verticalCenter: parent.verticalCenter
                    width: 8
                    height: 8
                    radius: 4
                    color: root.source.statusColour
                }
                Text {
                    objectName: "settings.source.name"
                    width: parent.width - 16
                    text: root.source.name
                    elide: Text.ElideRight
                    font.pixelSize: 13
                    font.weight: Font.DemiBold
                    color: Theme.text
                }
            }
            Row {
                spacing: 6
                width: parent.width
                Text { id: kind; text: root.source.kindLabel; font.pixelSize: 11; color: Theme.secondary }
                Text {
                    width: Math.min(implicitWidth, parent.width - kind.width - when.width - 12)
                    text: root.source.target
                    elide: Text.ElideMiddle
                    font.pixelSize: 11
                    color: Theme.secondary
                }
                Text {
                    id: when
                    property int tick: 0
                    visible: !isNaN(root.source.fetchedAt.getTime())
                    text: { tick; return visible ? root.settings.relativeTime(root.source.fetchedAt) : "" }
                    font.pixelSize: 11
                    color: Theme.secondary
                    Timer { running: when.visible; interval: 5000; repeat: true; onTriggered: when.tick++ }
                }
            }
        }
        Row {
            id: buttons
            anchors.right: parent.right
            anchors.verticalCenter: parent.verticalCenter
            spacing: 2
            SymbolButton {
                objectName: "settings.source.edit"
                symbol: "pencil"
                tip: "Edit " + root.source.name
                onClicked: root.settings.editSource(root.source.id)
            }
            SymbolButton {
                objectName: "settings.source.alerts"
                symbol: root.source.alertsEnabled ? "bell" : "bell.slash"
                tip: root.source.alertsEnabled ? "Notify when this source, or anything it reports on, goes down"
                                               : "Notify when this source, or anything it reports on, goes down; an outage under way when alerts are turned on, and its recovery, stay untold"
                Accessible.name: (root.source.alertsEnabled ? "Mute alerts for " : "Unmute alerts for ") + root.source.name
                onClicked: root.settings.toggleAlerts(root.source.id)
            }
            SymbolButton {
                objectName: "settings.source.delete"
                symbol: "trash"
                tip: "Delete " + root.source.name
                onClicked: root.settings.deleteSource(root.source.id)
            }
        }
    }

    Column {
        x: 24
        width: parent.width - 24
        spacing: 4
        Text { text: "Widgets"; font.pixelSize: 10; font.weight: Font.DemiBold; color: Theme.secondary }
        Text {
            objectName: "settings.source.noWidgets"
            visible: root.source.widgets.length === 0
            width: parent.width
            wrapMode: Text.WordWrap
            text: "Widgets appear after this source's first successful poll."
            font.pixelSize: 11
            color: Theme.secondary
        }
        Rectangle {
            visible: root.source.widgets.length > 0
            width: parent.width
            height: widgetColumn.implicitHeight + 8
            radius: 12
            color: "transparent"
            border.color: Theme.hairline
            Item {
                anchors.fill: parent
                anchors.margins: 4
                Column {
                    id: widgetColumn
                    width: parent.width
                    Repeater {
                        id: widgetRows
                        model: root.source.widgets
                        delegate: Item {
                            id: widgetRow
                            required property var modelData
                            required property int index
                            objectName: "settings.widget"
                            width: widgetColumn.width
                            height: 28
                            opacity: grip.dragging ? 0.55 : 1
                            DragHandle {
                                id: grip
                                objectName: "settings.widget.handle"
                                x: 6
                                anchors.verticalCenter: parent.verticalCenter
                                onDropped: (y) => {
                                    const target = DragOrder.target(widgetRows, widgetColumn, widgetRow.index,
                                                                    mapToItem(widgetColumn, 0, y).y)
                                    if (target >= 0)
                                        root.settings.moveWidget(root.source.id, widgetRow.index, target)
                                }
                            }
                            Text {
                                objectName: "settings.widget.name"
                                anchors.left: grip.right
                                anchors.leftMargin: 8
                                anchors.right: eye.left
                                anchors.verticalCenter: parent.verticalCenter
                                text: widgetRow.modelData.name
                                elide: Text.ElideRight
                                font.pixelSize: 13
                                color: widgetRow.modelData.hidden ? Theme.secondary : Theme.text
                            }
                            SymbolButton {
                                id: eye
                                objectName: "settings.widget.visibility"
                                anchors.right: parent.right
                                anchors.verticalCenter: parent.verticalCenter
                                symbol: widgetRow.modelData.hidden ? "eye.slash" : "eye"
                                tip: (widgetRow.modelData.hidden ? "Show " : "Hide ") + widgetRow.modelData.name
                                onClicked: root.settings.toggleHidden(widgetRow.modelData.key)
                            }
                        }
                    }
                }
            }
        }
    }
}
