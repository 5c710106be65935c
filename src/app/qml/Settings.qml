pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls
import Tidewatch

// The settings window: the sources with everything that acts on one of them, and the general
// preferences. Every change is applied and saved at once.
Rectangle {
    id: root
    required property SettingsController settings
    required property QmlWindow hostWindow
    objectName: "settings.root"
    property string tab: "sources"
    width: 480
    height: 540
    color: Theme.window
    Accessible.role: Accessible.Pane
    Accessible.name: "Tidewatch Settings"
    Keys.onEscapePressed: root.hostWindow.close()

    Row {
        id: tabBar
        anchors.horizontalCenter: parent.horizontalCenter
        y: 12
        spacing: 6
        Repeater {
            model: ["Sources", "General"]
            delegate: Button {
                id: tabButton
                required property string modelData
                readonly property bool selected: root.tab === modelData.toLowerCase()
                objectName: "settings.tab." + modelData
                text: modelData
                checkable: true
                checked: selected
                Accessible.name: modelData
                Accessible.role: Accessible.PageTab
                Accessible.selected: selected
                onClicked: root.tab = modelData.toLowerCase()
                leftPadding: 14
                rightPadding: 14
                topPadding: 5
                bottomPadding: 5
                contentItem: Text {
                    text: tabButton.text
                    font.pixelSize: 13
                    font.weight: Font.DemiBold
                    color: tabButton.selected ? Preferences.onAccent : Theme.text
                }
                background: Rectangle {
                    radius: height / 2
                    color: tabButton.selected ? Preferences.accent : "transparent"
                    border.width: tabButton.visualFocus ? 2 : 0
                    border.color: Theme.text
                }
            }
        }
    }

    // A save that failed stays in view until one succeeds: the user's changes are not on the disk.
    Rectangle {
        id: storageBanner
        objectName: "settings.storageProblem"
        visible: root.settings.storageProblem !== ""
        anchors.top: tabBar.bottom
        anchors.topMargin: visible ? 12 : 0
        x: 16
        width: parent.width - 32
        height: visible ? storageRow.implicitHeight + 16 : 0
        radius: 8
        color: Qt.rgba(Theme.text.r, Theme.text.g, Theme.text.b, 0.06)
        Accessible.role: Accessible.AlertMessage
        Accessible.name: root.settings.storageProblem
        Row {
            id: storageRow
            x: 10
            y: 8
            width: parent.width - 20
            spacing: 8
            Icon { symbol: "xmark.circle"; size: 14; color: Theme.text; anchors.verticalCenter: parent.verticalCenter }
            Text {
                objectName: "settings.storageProblemText"
                width: parent.width - 22
                text: root.settings.storageProblem
                wrapMode: Text.WordWrap
                font.pixelSize: 12
                color: Theme.text
                anchors.verticalCenter: parent.verticalCenter
            }
        }
    }

    Item {
        id: page
        anchors.top: storageBanner.bottom
        anchors.topMargin: 12
        anchors.bottom: parent.bottom
        width: parent.width

        SourcesTab { settings: root.settings; anchors.fill: parent; visible: root.tab === "sources" }
        GeneralTab { settings: root.settings; anchors.fill: parent; visible: root.tab === "general" }
    }

    MessageAlert {
        id: alert
        objectName: "settings.alert"
        anchors.fill: parent
        title: root.settings.alertTitle
        body: root.settings.alertBody
        actionTitle: root.settings.confirmingImport ? "Replace" : root.settings.alertActionTitle
        cancelTitle: root.settings.confirmingImport ? "Cancel" : "OK"
        onDismissed: root.settings.confirmingImport ? root.settings.cancelImport() : root.settings.dismissAlert()
        onAction: root.settings.confirmingImport ? root.settings.confirmImport() : root.settings.runAlertAction()
    }
}
