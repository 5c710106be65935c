pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls
import Tidewatch

// The popover's log of the past week: outages, recoveries and snoozes, newest first, each with how
// long ago it was. Arrows move through the list; Escape (handled by the popover) goes back.
Item {
    id: view
    required property PopoverController popover
    signal back(byKeyboard: bool)
    objectName: "recentView"
    // The current line is outlined only for the keyboard, as a focused control is.
    property bool keyboardInUse: false

    // The keyboard lands on the newest event, or on the way back when there is none.
    function takeFocus(byKeyboard: bool) {
        view.keyboardInUse = byKeyboard
        const reason = byKeyboard ? Qt.TabFocusReason : Qt.MouseFocusReason
        if (list.count > 0) {
            list.currentIndex = 0
            list.positionViewAtBeginning()
            list.forceActiveFocus(reason)
        } else {
            backButton.forceActiveFocus(reason)
        }
    }

    function symbolOf(kind: string): string {
        switch (kind) {
        case "down": return "xmark.circle"
        case "recovered": return "checkmark.circle.fill"
        case "snoozed": return "bell.slash"
        default: return "bell"
        }
    }
    function colourOf(kind: string): color {
        switch (kind) {
        case "down": return view.popover.statusColourOf("down")
        case "recovered": return view.popover.statusColourOf("up")
        default: return Theme.secondary
        }
    }

    Item {
        id: bar
        width: parent.width
        height: 34
        SymbolButton {
            id: backButton
            objectName: "recent.back"
            x: 8
            anchors.verticalCenter: parent.verticalCenter
            symbol: "chevron.left"
            tip: "Back to sources"
            onClicked: view.back(backButton.visualFocus)
        }
        Text {
            objectName: "recentTitle"
            anchors.left: backButton.right
            anchors.leftMargin: 4
            anchors.verticalCenter: parent.verticalCenter
            text: "Recent events"
            font.pixelSize: 13
            font.weight: Font.DemiBold
            color: Theme.text
            Accessible.role: Accessible.Heading
            Accessible.name: text
        }
        Text {
            anchors.right: parent.right
            anchors.rightMargin: 14
            anchors.verticalCenter: parent.verticalCenter
            visible: list.count > 0
            text: "Past week"
            font.pixelSize: 11
            color: Theme.secondary
            Accessible.ignored: true
        }
    }

    ListView {
        id: list
        objectName: "recentList"
        anchors.top: bar.bottom
        anchors.bottom: parent.bottom
        width: parent.width
        topMargin: 2
        bottomMargin: 8
        spacing: 6
        clip: true
        model: view.popover.recentEvents
        activeFocusOnTab: count > 0
        keyNavigationEnabled: true
        boundsBehavior: Flickable.StopAtBounds
        highlightFollowsCurrentItem: false
        Keys.onPressed: (event) => { view.keyboardInUse = true; event.accepted = false }
        Accessible.role: Accessible.List
        Accessible.name: "Recent events"
        ScrollBar.vertical: ScrollBar {
            policy: list.contentHeight > list.height ? ScrollBar.AlwaysOn : ScrollBar.AlwaysOff
        }
        delegate: Rectangle {
            id: line
            required property var modelData
            required property int index
            readonly property bool current: ListView.isCurrentItem && list.activeFocus && view.keyboardInUse
            objectName: "recentEvent"
            x: 10
            width: list.width - 20
            height: Math.max(lineColumn.implicitHeight, 20) + 16
            radius: 8
            color: Theme.cardFill
            border.color: line.current ? Preferences.accent : Theme.hairline
            Accessible.role: Accessible.ListItem
            Accessible.name: line.modelData.title + (line.modelData.detail !== "" ? ", " + line.modelData.detail : "")
                             + ", " + when.text
            Icon {
                id: icon
                x: 10
                y: 10
                symbol: view.symbolOf(line.modelData.kind)
                color: view.colourOf(line.modelData.kind)
                size: 14
            }
            Column {
                id: lineColumn
                anchors.left: icon.right
                anchors.leftMargin: 8
                anchors.right: when.left
                anchors.rightMargin: 8
                y: 8
                spacing: 2
                Text {
                    objectName: "recentEventTitle"
                    width: parent.width
                    text: line.modelData.title
                    wrapMode: Text.Wrap
                    maximumLineCount: 2
                    elide: Text.ElideRight
                    font.pixelSize: 12
                    font.weight: line.modelData.kind === "down" ? Font.DemiBold : Font.Normal
                    color: Theme.text
                }
                Text {
                    width: parent.width
                    visible: text !== ""
                    text: line.modelData.detail
                    elide: Text.ElideRight
                    font.pixelSize: 11
                    color: Theme.secondary
                }
            }
            RelativeTimeText {
                id: when
                objectName: "recentEventTime"
                popover: view.popover
                date: line.modelData.time
                anchors.right: parent.right
                anchors.rightMargin: 10
                y: 10
            }
        }
    }

    Column {
        objectName: "recentEmpty"
        visible: list.count === 0
        anchors.centerIn: list
        spacing: 10
        Icon { symbol: "clock.arrow.circlepath"; size: 30; color: Theme.secondary; anchors.horizontalCenter: parent.horizontalCenter }
        Text {
            text: "No events in the last week"
            font.pixelSize: 13
            color: Theme.secondary
            anchors.horizontalCenter: parent.horizontalCenter
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
        Text {
            text: "Outages, recoveries and snoozes show up here."
            font.pixelSize: 11
            color: Theme.secondary
            anchors.horizontalCenter: parent.horizontalCenter
        }
    }
}
