pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls
import QtQuick.Window
import Tidewatch

// The popover opened from the tray icon: whether everything is up, a card per source, the recent
// events one click away, and the actions. Ten rows or more scroll between a pinned header and footer, and so do fewer rows
// whose cards are taller than the window may be.
Rectangle {
    id: root
    required property PopoverController popover
    objectName: "popover"
    readonly property bool scrolling: root.popover.usesScrollingForm(root.popover.hasSources ? 1 : 0, root.popover.rows.flatRowCount)
    // Never taller than the screen leaves room for, whatever the cards hold.
    readonly property real maxHeight: Math.min(580, Screen.desktopAvailableHeight > 0 ? Screen.desktopAvailableHeight - 16 : 580)
    readonly property bool overflowing: body.implicitHeight > scroller.height + 0.5
    // A row's menu lives inside this window: while one is open the window is at least that tall.
    property real menuRoom: 0
    // The Recent view in place of the cards; the header and footer stay.
    property bool showingRecent: false
    width: 340
    height: Math.max(menuRoom, Math.min(maxHeight, scrolling || showingRecent ? 420 : header.height + body.implicitHeight + footer.height))
    radius: 12
    color: Theme.window
    border.color: Theme.hairline
    focus: true
    // Escape first leaves the Recent view or clears a filter, then closes.
    Keys.onEscapePressed: {
        if (root.showingRecent)
            root.showRecent(false, true)
        else if (root.popover.rows.filter !== "")
            root.popover.rows.filter = ""
        else
            root.popover.close()
    }
    // Arrows move between the cards; typing narrows them by name, Backspace takes a letter back.
    Keys.onPressed: (event) => {
        if (root.showingRecent)
            return
        if (event.key === Qt.Key_Down || event.key === Qt.Key_Up) {
            root.moveFocus(event.key === Qt.Key_Down ? 1 : -1)
            event.accepted = true
        } else if (event.key === Qt.Key_Backspace && root.popover.rows.filter !== "") {
            root.popover.rows.filter = root.popover.rows.filter.slice(0, -1)
            event.accepted = true
        } else if (event.text.length === 1 && event.text.charCodeAt(0) >= 32 && event.text.charCodeAt(0) !== 127
                   && !(event.modifiers & (Qt.ControlModifier | Qt.AltModifier | Qt.MetaModifier))
                   && !(event.text === " " && root.popover.rows.filter === "")) {
            root.popover.rows.filter += event.text
            event.accepted = true
        }
    }
    function moveFocus(step) {
        var current = -1
        for (var i = 0; i < cards.count; ++i) {
            if (cards.itemAt(i) && cards.itemAt(i).activeFocus)
                current = i
        }
        var next = current < 0 ? (step > 0 ? 0 : cards.count - 1) : Math.max(0, Math.min(cards.count - 1, current + step))
        root.focusCard(cards.itemAt(next))
    }
    // From the keyboard, the focus goes where a keyboard user carries on; from the pointer it goes
    // there too, without the ring.
    function showRecent(show, byKeyboard) {
        root.showingRecent = show
        if (show)
            recent.takeFocus(byKeyboard)
        else
            recentButton.forceActiveFocus(byKeyboard ? Qt.TabFocusReason : Qt.MouseFocusReason)
    }
    function focusCard(card) {
        if (!card)
            return
        card.forceActiveFocus(Qt.TabFocusReason)
        // Keep the focused card in sight when the list scrolls.
        var top = card.mapToItem(body, 0, 0).y
        if (top < scroller.contentY)
            scroller.contentY = top
        else if (top + card.height > scroller.contentY + scroller.height)
            scroller.contentY = Math.min(top + card.height - scroller.height, Math.max(0, scroller.contentHeight - scroller.height))
    }
    Accessible.role: Accessible.Pane
    Accessible.name: "Tidewatch"
    // A notification's "Open": the source's card, in view and focused.
    Connections {
        target: root.popover
        function onRevealRequested(sourceId: string) {
            root.showingRecent = false
            root.popover.rows.filter = ""
            const index = root.popover.rows.cardOf(sourceId)
            if (index >= 0)
                root.focusCard(cards.itemAt(index))
        }
    }

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
            color: Preferences.accent
            Accessible.ignored: true
        }
        Item {
            width: header.width - 28
            height: Math.max(headline.implicitHeight, refresh.implicitHeight)
            StatusOrb {
                id: orb
                color: root.popover.statusColour
                anchors.verticalCenter: parent.verticalCenter
            }
            Text {
                id: headline
                objectName: "headline"
                anchors.left: orb.right
                anchors.leftMargin: 8
                anchors.right: refresh.left
                anchors.verticalCenter: parent.verticalCenter
                text: root.popover.headline
                elide: Text.ElideRight
                font.pixelSize: 17
                font.bold: true
                color: Theme.text
                Accessible.role: Accessible.Heading
                Accessible.name: text
            }
            Text {
                objectName: "pausedLabel"
                visible: root.popover.paused
                anchors.right: parent.right
                anchors.verticalCenter: parent.verticalCenter
                text: "Paused"
                font.pixelSize: 11
                color: Theme.secondary
            }
            ToolButton {
                id: refresh
                objectName: "Refresh now"
                visible: !root.popover.paused
                anchors.right: parent.right
                anchors.verticalCenter: parent.verticalCenter
                padding: 4
                Accessible.name: "Refresh now"
                ToolTip.visible: hovered
                ToolTip.text: "Refresh now"
                ToolTip.delay: 600
                onClicked: root.popover.refreshAll()
                contentItem: Row {
                    spacing: 4
                    Icon { symbol: "arrow.clockwise"; size: 10; color: Theme.secondary; anchors.verticalCenter: parent.verticalCenter }
                    RelativeTimeText {
                        popover: root.popover
                        visible: !isNaN(root.popover.lastFetched.getTime())
                        date: root.popover.lastFetched
                        anchors.verticalCenter: parent.verticalCenter
                    }
                }
                background: Rectangle { radius: 6; color: refresh.hovered ? Theme.cardFill : "transparent"; border.width: refresh.visualFocus ? 1 : 0; border.color: Preferences.accent }
            }
        }
        Row {
            visible: root.popover.hasSources || root.popover.summary !== ""
            spacing: 8
            Text { objectName: "chip"; text: root.popover.chipText; font.pixelSize: 11; font.weight: Font.DemiBold; color: root.popover.statusColour }
            Text { objectName: "summary"; text: root.popover.summary; visible: text !== ""; font.pixelSize: 11; color: Theme.secondary }
        }
    }

    Rectangle {
        anchors.top: header.bottom
        width: parent.width
        height: 1
        color: Theme.hairline
        visible: root.overflowing || root.showingRecent
    }

    RecentView {
        id: recent
        visible: root.showingRecent
        popover: root.popover
        anchors.top: header.bottom
        anchors.bottom: footer.top
        width: parent.width
        onBack: (byKeyboard) => root.showRecent(false, byKeyboard)
    }

    Flickable {
        id: scroller
        objectName: "rowsScroller"
        visible: !root.showingRecent
        anchors.top: header.bottom
        anchors.bottom: footer.top
        width: parent.width
        contentHeight: body.implicitHeight
        clip: true
        interactive: root.overflowing
        boundsBehavior: Flickable.StopAtBounds
        // Always on while something is out of sight, so a cut card never looks like the last one.
        ScrollBar.vertical: ScrollBar {
            objectName: "rowsScrollBar"
            policy: root.overflowing ? ScrollBar.AlwaysOn : ScrollBar.AlwaysOff
        }

        Column {
            id: body
            width: scroller.width

            // A save that failed stays in view until one succeeds: the user's changes are not on the disk.
            Item {
                visible: root.popover.storageProblem !== ""
                width: parent.width
                height: visible ? storageBanner.height + 16 : 0
                Rectangle {
                    id: storageBanner
                    objectName: "storageBanner"
                    x: 10
                    y: 8
                    width: parent.width - 20
                    height: storageRow.implicitHeight + 16
                    radius: 8
                    color: Qt.rgba(Theme.text.r, Theme.text.g, Theme.text.b, 0.06)
                    Accessible.role: Accessible.AlertMessage
                    Accessible.name: root.popover.storageProblem
                    Row {
                        id: storageRow
                        x: 10
                        y: 8
                        width: parent.width - 20
                        spacing: 8
                        Icon { symbol: "xmark.circle"; size: 14; color: Theme.text; anchors.verticalCenter: parent.verticalCenter }
                        Text {
                            objectName: "storageText"
                            width: parent.width - 22
                            text: root.popover.storageProblem
                            wrapMode: Text.WordWrap
                            font.pixelSize: 12
                            color: Theme.text
                            anchors.verticalCenter: parent.verticalCenter
                        }
                    }
                }
            }

            // Nothing configured yet: one clear way forward.
            Column {
                objectName: "emptyState"
                visible: !root.popover.hasSources
                width: parent.width
                topPadding: 40
                bottomPadding: 40
                spacing: 12
                Icon { symbol: "server.rack"; size: 34; color: Theme.secondary; anchors.horizontalCenter: parent.horizontalCenter }
                Text { text: "No sources yet"; font.pixelSize: 13; color: Theme.secondary; anchors.horizontalCenter: parent.horizontalCenter }
                Text { text: "Add a source to start monitoring."; font.pixelSize: 11; color: Theme.secondary; anchors.horizontalCenter: parent.horizontalCenter }
                ProminentPill {
                    objectName: "addFirstSource"
                    text: "Add first source"
                    anchors.horizontalCenter: parent.horizontalCenter
                    onClicked: root.popover.openSettings()
                }
            }

            Column {
                objectName: "rowList"
                visible: root.popover.hasSources
                width: parent.width
                topPadding: 8
                bottomPadding: 8
                leftPadding: 10
                rightPadding: 10
                spacing: 8

                Column {
                    objectName: "pausedBanner"
                    visible: root.popover.paused
                    width: parent.width - 20
                    padding: 8
                    spacing: 8
                    Row {
                        spacing: 6
                        Icon { symbol: "questionmark.circle"; size: 14; color: Theme.text; anchors.verticalCenter: parent.verticalCenter }
                        Text { text: "Tracking is currently inactive"; font.pixelSize: 12; font.weight: Font.DemiBold; color: Theme.text }
                    }
                    Text {
                        width: parent.width - 16
                        wrapMode: Text.WordWrap
                        text: "Click the play button in the toolbar below to resume live monitoring."
                        font.pixelSize: 11
                        color: Theme.secondary
                    }
                }

                Rectangle {
                    objectName: "hushBanner"
                    visible: root.popover.hushText !== "" && !root.popover.paused
                    width: parent.width - 20
                    height: hushRow.implicitHeight + 16
                    radius: 8
                    color: Qt.rgba(Theme.text.r, Theme.text.g, Theme.text.b, 0.06)
                    Accessible.role: Accessible.AlertMessage
                    Accessible.name: root.popover.hushText
                    Row {
                        id: hushRow
                        x: 10
                        y: 8
                        width: parent.width - 20
                        spacing: 8
                        Icon { symbol: root.popover.offline ? "wifi.slash" : "questionmark.circle"; size: 14; color: Theme.text; anchors.verticalCenter: parent.verticalCenter }
                        Text {
                            objectName: "hushText"
                            width: parent.width - 22
                            text: root.popover.hushText
                            wrapMode: Text.WordWrap
                            font.pixelSize: 12
                            color: Theme.text
                            anchors.verticalCenter: parent.verticalCenter
                        }
                    }
                }

                Rectangle {
                    objectName: "snoozeBanner"
                    visible: root.popover.snoozeAllText !== ""
                    width: parent.width - 20
                    height: Math.max(snoozeAllLabel.implicitHeight, resumeAll.implicitHeight) + 12
                    radius: 8
                    color: Qt.rgba(Theme.text.r, Theme.text.g, Theme.text.b, 0.06)
                    Icon { id: snoozeAllIcon; x: 10; symbol: "bell.slash"; size: 14; color: Theme.text; anchors.verticalCenter: parent.verticalCenter }
                    Text {
                        id: snoozeAllLabel
                        objectName: "snoozeAllText"
                        anchors.left: snoozeAllIcon.right
                        anchors.leftMargin: 8
                        anchors.right: resumeAll.left
                        anchors.rightMargin: 8
                        anchors.verticalCenter: parent.verticalCenter
                        text: root.popover.snoozeAllText
                        wrapMode: Text.WordWrap
                        font.pixelSize: 12
                        color: Theme.text
                    }
                    GhostPill {
                        id: resumeAll
                        objectName: "resumeNotifications"
                        anchors.right: parent.right
                        anchors.rightMargin: 8
                        anchors.verticalCenter: parent.verticalCenter
                        text: "Resume"
                        Accessible.name: "Resume notifications"
                        onClicked: root.popover.resumeNotifications()
                    }
                }

                Rectangle {
                    objectName: "filterBar"
                    visible: root.popover.rows.filter !== ""
                    width: parent.width - 20
                    height: visible ? filterRow.implicitHeight + 12 : 0
                    radius: 8
                    color: Qt.rgba(Theme.text.r, Theme.text.g, Theme.text.b, 0.06)
                    Accessible.role: Accessible.StaticText
                    Accessible.name: filterText.text
                    Row {
                        id: filterRow
                        x: 10
                        anchors.verticalCenter: parent.verticalCenter
                        spacing: 6
                        Icon { symbol: "magnifyingglass"; size: 12; color: Theme.secondary; anchors.verticalCenter: parent.verticalCenter }
                        Text {
                            id: filterText
                            objectName: "filterText"
                            text: cards.count === 0 ? "Nothing matches \u201c" + root.popover.rows.filter + "\u201d"
                                                    : "Showing names with \u201c" + root.popover.rows.filter + "\u201d \u2014 Esc shows all"
                            font.pixelSize: 12
                            color: Theme.text
                            anchors.verticalCenter: parent.verticalCenter
                        }
                    }
                }

                Repeater {
                    id: cards
                    model: root.popover.rows
                    delegate: Rectangle {
                        id: card
                        required property var row
                        required property var childRows
                        required property bool isGroup
                        readonly property string snoozeLabel: {
                            root.popover.snoozeRevision
                            return root.popover.snoozeText(card.row.sourceId || "")
                        }
                        objectName: "card"
                        width: parent.width - 20
                        height: cardColumn.implicitHeight
                        radius: 10
                        color: Theme.cardFill
                        border.color: activeFocus ? Preferences.accent : Theme.hairline
                        activeFocusOnTab: true
                        Accessible.role: Accessible.Grouping
                        Accessible.name: (card.row.name || "") + (card.snoozeLabel !== "" ? ", " + card.snoozeLabel : "")
                        Accessible.description: "Return or the menu key for its options"
                        Keys.onMenuPressed: card.openMenu(12, 12)
                        Keys.onReturnPressed: card.openMenu(12, 12)
                        Keys.onEnterPressed: card.openMenu(12, 12)
                        Keys.onPressed: (event) => {
                            if (event.key === Qt.Key_F10 && (event.modifiers & Qt.ShiftModifier)) {
                                card.openMenu(12, 12)
                                event.accepted = true
                            }
                        }
                        function openMenu(x, y) {
                            if (!card.row.sourceId)
                                return
                            root.menuRoom = card.mapToItem(root, 0, y).y + sourceMenu.implicitHeight + 16
                            sourceMenu.popup(card, x, y)
                        }
                        MouseArea {
                            anchors.fill: parent
                            acceptedButtons: Qt.RightButton
                            onClicked: (mouse) => card.openMenu(mouse.x, mouse.y)
                        }
                        Menu {
                            id: sourceMenu
                            objectName: "sourceMenu"
                            title: "Notifications for " + (card.row.name || "")
                            onClosed: {
                                root.menuRoom = 0
                                // The keyboard carries on from the card whose menu it was.
                                card.forceActiveFocus(Qt.PopupFocusReason)
                            }
                            MenuItem {
                                objectName: "openInBrowser"
                                text: "Open in Browser"
                                visible: (card.row.url || "") !== ""
                                height: visible ? implicitHeight : 0
                                onTriggered: root.popover.openInBrowser(card.row.url)
                            }
                            MenuSeparator { visible: (card.row.url || "") !== ""; height: visible ? implicitHeight : 0 }
                            MenuItem { objectName: "snooze1"; text: "Snooze for 1 Hour"; onTriggered: root.popover.snoozeSource(card.row.sourceId, 1) }
                            MenuItem { objectName: "snooze4"; text: "Snooze for 4 Hours"; onTriggered: root.popover.snoozeSource(card.row.sourceId, 4) }
                            MenuItem { objectName: "snooze8"; text: "Snooze for 8 Hours"; onTriggered: root.popover.snoozeSource(card.row.sourceId, 8) }
                            MenuItem { objectName: "snoozeUntilRecovery"; text: "Snooze Until It Recovers"; enabled: card.row.status !== "up"; onTriggered: root.popover.snoozeSource(card.row.sourceId, 0) }
                            MenuSeparator {}
                            MenuItem { objectName: "endSnooze"; text: "End Snooze"; enabled: card.snoozeLabel !== ""; onTriggered: root.popover.endSnooze(card.row.sourceId) }
                        }
                        Column {
                            id: cardColumn
                            width: parent.width
                            RowView {
                                popover: root.popover
                                width: parent.width
                                row: card.row
                                onToggled: root.popover.rows.toggleCollapsed(card.row.sourceId)
                            }
                            Row {
                                objectName: "snoozeLine"
                                visible: card.snoozeLabel !== ""
                                x: 12
                                spacing: 5
                                bottomPadding: 7
                                Icon { symbol: "bell.slash"; size: 11; color: Theme.secondary; anchors.verticalCenter: parent.verticalCenter }
                                Text { text: card.snoozeLabel; font.pixelSize: 11; color: Theme.secondary; anchors.verticalCenter: parent.verticalCenter }
                            }
                            Rectangle {
                                visible: card.isGroup && card.childRows.length > 0
                                width: parent.width
                                height: childColumn.implicitHeight
                                color: Qt.rgba(Theme.text.r, Theme.text.g, Theme.text.b, 0.02)
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
                                            popover: root.popover
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
            color: Qt.rgba(Theme.text.r, Theme.text.g, Theme.text.b, 0.08)
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
                onClicked: root.popover.openSettings()
            }
            SymbolButton {
                objectName: "popover.pause"
                symbol: root.popover.paused ? "play" : "pause"
                tip: root.popover.paused ? "Resume monitoring" : "Pause monitoring"
                anchors.verticalCenter: parent.verticalCenter
                onClicked: root.popover.togglePaused()
            }
            SymbolButton {
                id: recentButton
                objectName: "popover.recent"
                symbol: "clock.arrow.circlepath"
                tip: root.showingRecent ? "Back to sources" : "Recent events"
                tint: root.showingRecent ? Preferences.accent : Theme.secondary
                anchors.verticalCenter: parent.verticalCenter
                onClicked: root.showRecent(!root.showingRecent, recentButton.visualFocus)
            }
            Item { width: parent.width - 4 * 28 - 4 * 8; height: 1 }
            SymbolButton {
                objectName: "popover.quit"
                symbol: "power"
                tip: "Quit Tidewatch"
                anchors.verticalCenter: parent.verticalCenter
                onClicked: root.popover.quit()
            }
        }
    }
}
