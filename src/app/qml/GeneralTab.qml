import QtQuick
import QtQuick.Controls
import Tidewatch

// Every preference not tied to one source, the sources file, and the update check.
Item {
    id: root
    required property SettingsController settings

    Flickable {
        id: scroller
        anchors.fill: parent
        contentHeight: content.implicitHeight + 16
        clip: true
        boundsBehavior: Flickable.StopAtBounds
        ScrollBar.vertical: ScrollBar {}

        Column {
            id: content
            x: 16
            width: scroller.width - 32
            spacing: 14

            SettingsSection {
                title: "App Settings"
                SwitchRow {
                    objectName: "general.launchAtLogin"
                    label: "Launch at login"
                    checked: root.settings.launchAtLogin
                    onToggled: (on) => root.settings.launchAtLogin = on
                }
                Divider {}
                Item {
                    width: parent.width
                    height: showAgain.implicitHeight
                    Text { anchors.verticalCenter: parent.verticalCenter; text: "Welcome screen"; font.pixelSize: 13; color: Theme.text }
                    GhostPill {
                        id: showAgain
                        objectName: "general.showOnboarding"
                        anchors.right: parent.right
                        text: "Show Again"
                        Accessible.name: text
                        onClicked: root.settings.showOnboarding()
                    }
                }
            }

            SettingsSection {
                title: "Notifications"
                Item {
                    width: parent.width
                    height: Math.max(permissionLabel.implicitHeight, permissionText.implicitHeight)
                    Text { id: permissionLabel; text: "System permission"; font.pixelSize: 13; color: Theme.text }
                    Text {
                        id: permissionText
                        objectName: "general.permission"
                        anchors.right: parent.right
                        width: parent.width - permissionLabel.width - 16
                        horizontalAlignment: Text.AlignRight
                        wrapMode: Text.WordWrap
                        text: root.settings.permissionText
                        font.pixelSize: 11
                        color: root.settings.permissionDenied ? Theme.warning : Theme.secondary
                    }
                }
                Divider {}
                SwitchRow {
                    objectName: "general.globalQuiet"
                    label: "Mute all notifications"
                    checked: Preferences.globalQuiet
                    onToggled: (on) => Preferences.globalQuiet = on
                }
                Divider {}
                SwitchRow {
                    objectName: "general.soundAlerts"
                    label: "Sound alerts"
                    checked: Preferences.soundAlerts
                    onToggled: (on) => Preferences.soundAlerts = on
                }
                Divider {}
                SwitchRow {
                    objectName: "general.notifyOnRecovery"
                    label: "Notify on recovery"
                    checked: Preferences.notifyOnRecovery
                    onToggled: (on) => Preferences.notifyOnRecovery = on
                }
                Divider {}
                SwitchRow {
                    objectName: "general.quietHours"
                    label: "Quiet hours"
                    checked: Preferences.quietHoursEnabled
                    onToggled: (on) => Preferences.quietHoursEnabled = on
                }
                Column {
                    id: quietHours
                    objectName: "general.quietHoursWindow"
                    visible: Preferences.quietHoursEnabled
                    width: parent.width
                    spacing: 4
                    property bool startInvalid: false
                    property bool endInvalid: false
                    Row {
                        spacing: 8
                        Text { text: "From"; font.pixelSize: 13; color: Theme.text; anchors.verticalCenter: parent.verticalCenter }
                        TextField {
                            objectName: "general.quietHoursStart"
                            width: 72
                            text: Preferences.quietHoursStart
                            inputMethodHints: Qt.ImhTime
                            placeholderText: "02:00"
                            selectByMouse: true
                            font.pixelSize: 13
                            Accessible.name: "Quiet hours start"
                            onEditingFinished: quietHours.startInvalid = !Preferences.setQuietHoursStart(text)
                        }
                        Text { text: "to"; font.pixelSize: 13; color: Theme.text; anchors.verticalCenter: parent.verticalCenter }
                        TextField {
                            objectName: "general.quietHoursEnd"
                            width: 72
                            text: Preferences.quietHoursEnd
                            inputMethodHints: Qt.ImhTime
                            placeholderText: "04:00"
                            selectByMouse: true
                            font.pixelSize: 13
                            Accessible.name: "Quiet hours end"
                            onEditingFinished: quietHours.endInvalid = !Preferences.setQuietHoursEnd(text)
                        }
                    }
                    Text {
                        objectName: "general.quietHoursError"
                        visible: quietHours.startInvalid || quietHours.endInvalid
                        width: parent.width
                        wrapMode: Text.WordWrap
                        text: "Enter a time as HH:MM, such as 02:00. The last valid time is kept."
                        font.pixelSize: 11
                        color: Theme.warning
                        Accessible.role: Accessible.AlertMessage
                        Accessible.name: text
                    }
                    Text {
                        width: parent.width
                        wrapMode: Text.WordWrap
                        text: "No notification is posted in this window each day. Anything still down when it ends is summed up in one notification."
                        font.pixelSize: 11
                        color: Theme.secondary
                    }
                }
            }

            SettingsSection {
                title: "Passwords and Tokens"
                Item {
                    width: parent.width
                    height: Math.max(keyringLabel.implicitHeight, keyringText.implicitHeight)
                    Text { id: keyringLabel; text: "Keyring"; font.pixelSize: 13; color: Theme.text }
                    Text {
                        id: keyringText
                        objectName: "general.keyring"
                        anchors.right: parent.right
                        width: parent.width - keyringLabel.width - 16
                        horizontalAlignment: Text.AlignRight
                        wrapMode: Text.WordWrap
                        text: root.settings.keyringText
                        font.pixelSize: 11
                        color: root.settings.keyringMissing ? Theme.warning : Theme.secondary
                    }
                }
            }

            SettingsSection {
                title: "Accent Color"
                AccentSection {}
            }

            SettingsSection {
                title: "Appearance"
                SwitchRow {
                    objectName: "general.showSparklines"
                    label: "Show sparklines in popover"
                    checked: Preferences.showSparklines
                    onToggled: (on) => Preferences.showSparklines = on
                }
                Divider {}
                SwitchRow {
                    objectName: "general.compactMode"
                    label: "Compact mode"
                    checked: Preferences.compactMode
                    onToggled: (on) => Preferences.compactMode = on
                }
                Divider {}
                SwitchRow {
                    objectName: "general.statusShapes"
                    label: "Show status shapes in the tray icon"
                    checked: Preferences.statusShapes
                    onToggled: (on) => Preferences.statusShapes = on
                }
            }

            SettingsSection {
                title: "Sources File"
                Text {
                    width: parent.width
                    wrapMode: Text.WordWrap
                    text: "Save your sources to a file, or load them from one."
                    font.pixelSize: 13
                    color: Theme.text
                }
                Text {
                    width: parent.width
                    wrapMode: Text.WordWrap
                    text: "A file holds no password and no token. An import replaces every source."
                    font.pixelSize: 11
                    color: Theme.secondary
                }
                Row {
                    spacing: 8
                    GhostPill {
                        objectName: "general.export"
                        text: "Export…"
                        Accessible.name: text
                        onClicked: root.settings.exportSources()
                    }
                    GhostPill {
                        objectName: "general.import"
                        text: "Import…"
                        Accessible.name: text
                        onClicked: root.settings.importSources()
                    }
                }
            }

            Item {
                width: parent.width
                height: 36
                Image {
                    id: appIcon
                    anchors.verticalCenter: parent.verticalCenter
                    width: 26
                    height: 26
                    sourceSize.width: 52
                    sourceSize.height: 52
                    source: "qrc:/icons/server.svg"
                    Accessible.ignored: true
                }
                Text {
                    objectName: "general.version"
                    anchors.left: appIcon.right
                    anchors.leftMargin: 8
                    anchors.verticalCenter: parent.verticalCenter
                    text: "Tidewatch v" + root.settings.version
                    font.pixelSize: 13
                    font.weight: Font.DemiBold
                    color: Theme.text
                }
                GhostPill {
                    objectName: "general.checkForUpdates"
                    anchors.right: parent.right
                    anchors.verticalCenter: parent.verticalCenter
                    text: root.settings.checking ? "Checking…" : "Check for Updates"
                    enabled: !root.settings.checking
                    Accessible.name: "Check for Updates"
                    onClicked: root.settings.checkForUpdates()
                }
            }
        }
    }
}
