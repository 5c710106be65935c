pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tidewatch

// The game server part of the source sheet: the searchable game picker, the address, and the
// secret, TLS and query port fields that only some games' query engines use.
ColumnLayout {
    id: form
    required property SourceSheetController sheet
    spacing: 10
    Layout.fillWidth: true

    // The picker's rows, flattened with their section's title for the list's section headers.
    readonly property var pickerRows: {
        var rows = []
        var sections = form.sheet.gameSections
        for (var s = 0; s < sections.length; ++s) {
            for (var g = 0; g < sections[s].games.length; ++g)
                rows.push({ id: sections[s].games[g].id, name: sections[s].games[g].name, section: sections[s].title })
        }
        return rows
    }

    Text {
        text: "Game"
        color: Theme.text
        font.pixelSize: 12
        font.weight: Font.DemiBold
    }
    TextField {
        objectName: "source.gameSearch"
        Layout.fillWidth: true
        placeholderText: "Search Games"
        text: form.sheet.gameSearch
        font.pixelSize: 13
        Accessible.name: "Search Games"
        onTextEdited: form.sheet.gameSearch = text
    }
    Rectangle {
        Layout.fillWidth: true
        Layout.preferredHeight: 150
        radius: 8
        color: Theme.cardFill
        border.width: 1
        border.color: Theme.hairline
        ListView {
            id: picker
            objectName: "source.gamePicker"
            anchors.fill: parent
            anchors.margins: 1
            clip: true
            model: form.pickerRows
            Accessible.role: Accessible.List
            Accessible.name: "Game"
            ScrollBar.vertical: ScrollBar { }
            section.property: "section"
            section.delegate: Text {
                required property string section
                text: section
                leftPadding: 8
                topPadding: 4
                bottomPadding: 2
                color: Theme.secondary
                font.pixelSize: 11
                font.weight: Font.DemiBold
            }
            delegate: ItemDelegate {
                id: game
                required property var modelData
                objectName: "source.game." + modelData.id
                width: ListView.view.width
                height: 24
                highlighted: modelData.id === form.sheet.gameID
                focusPolicy: Qt.StrongFocus
                Accessible.name: game.modelData.name
                Accessible.role: Accessible.ListItem
                contentItem: Text {
                    text: game.modelData.name
                    leftPadding: 4
                    color: game.highlighted ? Preferences.onAccent : Theme.text
                    font.pixelSize: 13
                    verticalAlignment: Text.AlignVCenter
                }
                background: Rectangle {
                    radius: 5
                    color: game.highlighted ? Preferences.accent : game.hovered ? Theme.hairline : "transparent"
                    border.width: game.visualFocus ? 1 : 0
                    border.color: Preferences.accent
                }
                onClicked: form.sheet.gameID = game.modelData.id
            }
        }
    }
    Text {
        objectName: "source.setupNote"
        visible: form.sheet.setupNote !== ""
        text: form.sheet.setupNote
        color: Theme.secondary
        font.pixelSize: 11
        wrapMode: Text.WordWrap
        Layout.fillWidth: true
    }

    RowLayout {
        spacing: 8
        Layout.fillWidth: true
        FormTextField {
            objectName: "source.host"
            label: "Host"
            placeholder: "mc.home.lan"
            value: form.sheet.host
            hint: form.sheet.hostHint
            onEdited: text => form.sheet.host = text
        }
        FormTextField {
            objectName: "source.port"
            label: "Port"
            value: form.sheet.port
            Layout.fillWidth: false
            Layout.preferredWidth: 90
            onEdited: text => form.sheet.port = text
        }
    }

    ColumnLayout {
        visible: form.sheet.usesWebAPI
        spacing: 2
        Layout.fillWidth: true
        Switch {
            objectName: "source.useTLS"
            text: "Use HTTPS"
            checked: form.sheet.useTLS
            Accessible.name: "Use HTTPS"
            onToggled: form.sheet.useTLS = checked
        }
        Text {
            text: "Turn on when this server is behind a TLS proxy. Off sends every request over plain HTTP."
            color: Theme.secondary
            font.pixelSize: 11
            wrapMode: Text.WordWrap
            Layout.fillWidth: true
        }
    }

    FormTextField {
        objectName: "source.gameSecret"
        visible: form.sheet.credentialUse !== "none"
        label: form.sheet.credentialUse === "required" ? "Admin Password" : "Players Token (Optional)"
        secure: true
        placeholder: form.sheet.hasStoredSecret ? "Leave blank to keep the current secret"
                   : form.sheet.credentialUse === "required" ? "AdminPassword in PalWorldSettings.ini" : "sv_playersToken"
        value: form.sheet.secret
        onEdited: text => form.sheet.secret = text
    }
    Text {
        objectName: "source.secretNote"
        visible: form.sheet.credentialUse !== "none"
        text: form.sheet.credentialUse === "optional"
              ? "Without a token the player count stays correct and the player names stay hidden."
              : form.sheet.useTLS
                ? "This is Palworld's admin password. Tidewatch only reads status, but the credential grants full control."
                : "This is Palworld's admin password. Tidewatch only reads status, but the credential grants full control. Without HTTPS it goes over plain HTTP on every check, so use it on a trusted network only."
        color: Theme.secondary
        font.pixelSize: 11
        wrapMode: Text.WordWrap
        Layout.fillWidth: true
    }

    ColumnLayout {
        visible: form.sheet.usesQueryPort
        spacing: 4
        Layout.fillWidth: true
        property bool open: false
        ToolButton {
            id: advanced
            objectName: "source.advanced"
            text: "Advanced"
            checkable: true
            Accessible.name: "Advanced"
            icon.source: "image://icon/" + (checked ? "chevron.down" : "chevron.right") + "?color=" + encodeURIComponent(Theme.secondary.toString())
            font.pixelSize: 12
        }
        FormTextField {
            objectName: "source.queryPort"
            visible: advanced.checked
            label: "Query Port (Optional)"
            placeholder: "Leave blank to find it"
            value: form.sheet.gameQueryPort
            onEdited: text => form.sheet.gameQueryPort = text
        }
    }
}
