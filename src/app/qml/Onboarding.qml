pragma ComponentBehavior: Bound

import QtQuick
import Tidewatch

// Three steps for a new user: what Tidewatch is, adding a first source, and notifications.
Rectangle {
    id: root
    required property OnboardingController onboarding
    required property QmlWindow hostWindow
    objectName: "onboarding.root"
    width: 520
    height: 560
    color: Theme.window
    Accessible.role: Accessible.Pane
    Accessible.name: "Welcome to Tidewatch"
    focus: true
    Keys.onEscapePressed: root.hostWindow.close()
    Keys.onReturnPressed: forward.clicked()
    Keys.onEnterPressed: forward.clicked()

    readonly property var symbols: ["server.rack", "plus.circle", "bell.badge"]
    readonly property var titles: ["Welcome to Tidewatch", "Add your first source", "Get told when something breaks"]

    Column {
        id: content
        anchors.horizontalCenter: parent.horizontalCenter
        y: 64
        width: parent.width - 96
        spacing: 16
        Icon {
            anchors.horizontalCenter: parent.horizontalCenter
            symbol: root.symbols[root.onboarding.step]
            size: 52
            color: Preferences.accent
        }
        Text {
            objectName: "onboarding.title"
            width: parent.width
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.WordWrap
            text: root.titles[root.onboarding.step]
            font.pixelSize: 22
            font.bold: true
            color: Theme.text
            Accessible.role: Accessible.Heading
            Accessible.name: text
        }

        Column {
            visible: root.onboarding.step === 0
            width: parent.width
            spacing: 12
            BodyText { text: "Tidewatch lives in your menu bar and answers one question: is your homelab okay? A single green, amber, or red icon shows the overall state. Click it for per-service widgets." }
            BodyText { text: "It watches Uptime Kuma, Beszel, game servers, HTTP and TCP checks, and custom JSON." }
        }

        Column {
            visible: root.onboarding.step === 1
            width: parent.width
            spacing: 12
            BodyText { text: "Point Tidewatch at something to watch. You can add or remove sources any time in Settings." }
            ProminentPill {
                objectName: "onboarding.addSource"
                anchors.horizontalCenter: parent.horizontalCenter
                text: "Add a Source"
                Accessible.name: text
                onClicked: root.onboarding.addSource()
            }
            Row {
                visible: root.onboarding.sourcesAdded !== ""
                anchors.horizontalCenter: parent.horizontalCenter
                spacing: 6
                Icon { symbol: "checkmark.circle.fill"; size: 12; color: Theme.confirmation; anchors.verticalCenter: parent.verticalCenter }
                Text { objectName: "onboarding.added"; text: root.onboarding.sourcesAdded; font.pixelSize: 11; color: Theme.secondary }
            }
        }

        Column {
            visible: root.onboarding.step === 2
            width: parent.width
            spacing: 12
            BodyText { text: "Tidewatch sends a notification when a source fails a number of checks in a row. You set the number of checks for each source." }
            Row {
                objectName: "onboarding.notificationsOn"
                visible: root.onboarding.notifications === "on"
                anchors.horizontalCenter: parent.horizontalCenter
                spacing: 6
                Icon { symbol: "checkmark.circle.fill"; size: 14; color: Theme.confirmation; anchors.verticalCenter: parent.verticalCenter }
                Text { text: "Notifications are on"; font.pixelSize: 13; color: Theme.confirmation }
            }
            ProminentPill {
                objectName: "onboarding.enableNotifications"
                visible: root.onboarding.notifications === "unknown"
                anchors.horizontalCenter: parent.horizontalCenter
                text: "Enable Notifications"
                Accessible.name: text
                onClicked: root.onboarding.enableNotifications()
            }
            BodyText {
                objectName: "onboarding.notificationsOff"
                visible: root.onboarding.notifications === "off"
                horizontalAlignment: Text.AlignHCenter
                color: Theme.warning
                text: "Notifications are off: no notification service is running on this desktop."
            }
        }
    }

    Row {
        id: dots
        anchors.horizontalCenter: parent.horizontalCenter
        anchors.bottom: buttons.top
        anchors.bottomMargin: 24
        spacing: 8
        Accessible.ignored: true
        Repeater {
            model: 3
            delegate: Rectangle {
                required property int index
                width: 7
                height: 7
                radius: 3.5
                color: index === root.onboarding.step ? Preferences.accent : Qt.rgba(Theme.secondary.r, Theme.secondary.g, Theme.secondary.b, 0.3)
            }
        }
    }

    Item {
        id: buttons
        anchors.bottom: parent.bottom
        anchors.bottomMargin: 24
        x: 24
        width: parent.width - 48
        height: forward.implicitHeight
        GhostPill {
            objectName: "onboarding.back"
            text: root.onboarding.step === 0 ? "Skip" : "Back"
            Accessible.name: text
            onClicked: root.onboarding.step === 0 ? root.hostWindow.close() : root.onboarding.back()
        }
        ProminentPill {
            id: forward
            objectName: "onboarding.next"
            anchors.right: parent.right
            text: root.onboarding.step === 2 ? "Done" : "Next"
            Accessible.name: text
            onClicked: root.onboarding.step === 2 ? root.hostWindow.close() : root.onboarding.next()
        }
    }
}
