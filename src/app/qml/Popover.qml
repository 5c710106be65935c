import QtQuick
import QtQuick.Controls

// The popover opened from the tray icon: whether everything is up, a card per source, and the
// three actions. Ten rows or more scroll between a pinned header and footer.
Rectangle {
    id: root
    objectName: "popover"
    readonly property bool scrolling: popover.usesScrollingForm(popover.hasSources ? 1 : 0, popover.rows.flatRowCount)
    width: 340
    height: Math.min(580, scrolling ? 420 : header.height + body.implicitHeight + footer.height)
    radius: 12
    color: theme.window
    border.color: theme.hairline
    focus: true
    Keys.onEscapePressed: popover.close()
    Accessible.role: Accessible.Pane
    Accessible.name: "Tidewatch"

    Column {
        id: header
        width: parent.width
        topPadding: 10
        bottomPadding: 6
        leftPadding: 14
        rightPadding: 14
        spacing: 4
        Text {
            objectName: "brand"
            text: "TIDEWATCH"
            font.pixelSize: 10
            font.weight: Font.DemiBold
            font.letterSpacing: 1.5
            color: prefs.accent
            Accessible.ignored: true
        }
        Item {
            width: header.width - 28
            height: Math.max(headline.implicitHeight, refresh.implicitHeight)
            StatusOrb {
                id: orb
                color: popover.statusColour
                anchors.verticalCenter: parent.verticalCenter
            }
            Text {
                id: headline
                objectName: "headline"
                anchors.left: orb.right
                anchors.leftMargin: 8
                anchors.right: refresh.left
                anchors.verticalCenter: parent.verticalCenter
                text: popover.headline
                elide: Text.ElideRight
                font.pixelSize: 17
                font.bold: true
                color: theme.text
                Accessible.role: Accessible.Heading
                Accessible.name: text
            }
            Text {
                objectName: "pausedLabel"
                visible: popover.paused
                anchors.right: parent.right
                anchors.verticalCenter: parent.verticalCenter
                text: "Paused"
                font.pixelSize: 11
                color: theme.secondary
            }
            ToolButton {
                id: refresh
                objectName: "Refresh now"
                visible: !popover.paused
                anchors.right: parent.right
                anchors.verticalCenter: parent.verticalCenter
                padding: 4
                Accessible.name: "Refresh now"
                ToolTip.visible: hovered
                ToolTip.text: "Refresh now"
                ToolTip.delay: 600
                onClicked: popover.refreshAll()
                contentItem: Row {
                    spacing: 4
                    Icon { symbol: "arrow.clockwise"; size: 10; color: theme.secondary; anchors.verticalCenter: parent.verticalCenter }
                    RelativeTimeText {
                        visible: !isNaN(popover.lastFetched.getTime())
                        date: popover.lastFetched
                        anchors.verticalCenter: parent.verticalCenter
                    }
                }
                background: Rectangle { radius: 6; color: refresh.hovered ? theme.cardFill : "transparent"; border.width: refresh.visualFocus ? 1 : 0; border.color: prefs.accent }
            }
        }
        Row {
            visible: popover.hasSources || popover.summary !== ""
            spacing: 8
            Text { objectName: "chip"; text: popover.chipText; font.pixelSize: 11; font.weight: Font.DemiBold; color: popover.statusColour }
            Text { objectName: "summary"; text: popover.summary; visible: text !== ""; font.pixelSize: 11; color: theme.secondary }
        }
    }

    Rectangle {
        anchors.top: header.bottom
        width: parent.width
        height: 1
        color: theme.hairline
        visible: root.scrolling
    }

    Flickable {
        id: scroller
        objectName: "rowsScroller"
        anchors.top: header.bottom
        anchors.bottom: footer.top
        width: parent.width
        contentHeight: body.implicitHeight
        clip: true
        interactive: root.scrolling
        boundsBehavior: Flickable.StopAtBounds
        ScrollBar.vertical: ScrollBar { policy: root.scrolling ? ScrollBar.AsNeeded : ScrollBar.AlwaysOff }

        Column {
            id: body
            width: scroller.width

            // Nothing configured yet: one clear way forward.
            Column {
                objectName: "emptyState"
                visible: !popover.hasSources
                width: parent.width
                topPadding: 40
                bottomPadding: 40
                spacing: 12
                Icon { symbol: "server.rack"; size: 34; color: theme.secondary; anchors.horizontalCenter: parent.horizontalCenter }
                Text { text: "No sources yet"; font.pixelSize: 13; color: theme.secondary; anchors.horizontalCenter: parent.horizontalCenter }
                Text { text: "Add a source to start monitoring."; font.pixelSize: 11; color: theme.secondary; anchors.horizontalCenter: parent.horizontalCenter }
                ProminentPill {
                    objectName: "addFirstSource"
                    text: "Add first source"
                    anchors.horizontalCenter: parent.horizontalCenter
                    onClicked: popover.openSettings()
                }
            }

            Column {
                objectName: "rowList"
                visible: popover.hasSources
                width: parent.width
                topPadding: 8
                bottomPadding: 8
                leftPadding: 10
                rightPadding: 10
                spacing: 8

                Column {
                    objectName: "pausedBanner"
                    visible: popover.paused
                    width: parent.width - 20
                    padding: 8
                    spacing: 8
                    Row {
                        spacing: 6
                        Icon { symbol: "questionmark.circle"; size: 14; color: theme.text; anchors.verticalCenter: parent.verticalCenter }
                        Text { text: "Tracking is currently inactive"; font.pixelSize: 12; font.weight: Font.DemiBold; color: theme.text }
                    }
                    Text {
                        width: parent.width - 16
                        wrapMode: Text.WordWrap
                        text: "Click the play button in the toolbar below to resume live monitoring."
                        font.pixelSize: 11
                        color: theme.secondary
                    }
                }

                Repeater {
                    model: popover.rows
                    delegate: Rectangle {
                        id: card
                        required property var row
                        required property var childRows
                        required property bool isGroup
                        objectName: "card"
                        width: parent.width - 20
                        height: cardColumn.implicitHeight
                        radius: 10
                        color: theme.cardFill
                        border.color: theme.hairline
                        Column {
                            id: cardColumn
                            width: parent.width
                            RowView {
                                width: parent.width
                                row: card.row
                                onToggled: popover.rows.toggleCollapsed(card.row.sourceId)
                            }
                            Rectangle {
                                visible: card.isGroup && card.childRows.length > 0
                                width: parent.width
                                height: childColumn.implicitHeight
                                color: Qt.rgba(theme.text.r, theme.text.g, theme.text.b, 0.02)
                                radius: 10
                                Column {
                                    id: childColumn
                                    x: 12
                                    width: parent.width - 12
                                    spacing: 8
                                    bottomPadding: 4
                                    Repeater {
                                        model: card.childRows
                                        delegate: RowView {
                                            required property var modelData
                                            width: childColumn.width
                                            row: modelData
                                        }
                                    }
                                }
                            }
                        }
                    }
                }
            }
        }
    }

    Item {
        id: footer
        anchors.bottom: parent.bottom
        width: parent.width
        height: 40
        clip: true
        // Only the window's bottom corners are round: the fill reaches up past the clip.
        Rectangle {
            y: -radius
            width: parent.width
            height: parent.height + radius
            radius: 12
            color: Qt.rgba(theme.text.r, theme.text.g, theme.text.b, 0.08)
        }
        Row {
            anchors.fill: parent
            anchors.leftMargin: 10
            anchors.rightMargin: 10
            spacing: 8
            SymbolButton {
                objectName: "popover.settings"
                symbol: "gear"
                tip: "Settings"
                anchors.verticalCenter: parent.verticalCenter
                onClicked: popover.openSettings()
            }
            SymbolButton {
                objectName: "popover.pause"
                symbol: popover.paused ? "play" : "pause"
                tip: popover.paused ? "Resume monitoring" : "Pause monitoring"
                anchors.verticalCenter: parent.verticalCenter
                onClicked: popover.togglePaused()
            }
            Item { width: parent.width - 3 * 28 - 3 * 8; height: 1 }
            SymbolButton {
                objectName: "popover.quit"
                symbol: "power"
                tip: "Quit Tidewatch"
                anchors.verticalCenter: parent.verticalCenter
                onClicked: popover.quit()
            }
        }
    }
}
