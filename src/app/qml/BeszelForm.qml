pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tidewatch

// The fields of a Beszel source: the hub, its API token, and the limits past which a host reads warn.
ColumnLayout {
    id: form
    required property SourceSheetController sheet
    spacing: 10
    Layout.fillWidth: true

    FormTextField {
        objectName: "source.url"
        label: "Server URL"
        placeholder: "https://beszel.home.lan"
        value: form.sheet.baseURL
        hint: form.sheet.urlHint
        onEdited: text => form.sheet.baseURL = text
    }
    FormTextField {
        objectName: "source.secret"
        label: "API Token"
        secure: true
        placeholder: form.sheet.hasStoredSecret ? "Leave blank to keep the current secret" : ""
        value: form.sheet.secret
        onEdited: text => form.sheet.secret = text
    }

    Text {
        text: "Warn When a Host Passes"
        color: Theme.text
        font.pixelSize: 12
        font.weight: Font.DemiBold
        Layout.topMargin: 4
    }
    RowLayout {
        spacing: 8
        Layout.fillWidth: true
        FormTextField {
            objectName: "source.cpuLimit"
            Layout.preferredWidth: 100 // four equal columns, whatever their captions
            label: "CPU %"
            placeholder: "Off"
            value: form.sheet.cpuLimit
            input.Accessible.name: "CPU limit, percent"
            onEdited: text => form.sheet.cpuLimit = text
        }
        FormTextField {
            objectName: "source.memLimit"
            Layout.preferredWidth: 100 // four equal columns, whatever their captions
            label: "Memory %"
            placeholder: "Off"
            value: form.sheet.memLimit
            input.Accessible.name: "Memory limit, percent"
            onEdited: text => form.sheet.memLimit = text
        }
        FormTextField {
            objectName: "source.diskLimit"
            Layout.preferredWidth: 100 // four equal columns, whatever their captions
            label: "Disk %"
            placeholder: "Off"
            value: form.sheet.diskLimit
            input.Accessible.name: "Disk limit, percent"
            onEdited: text => form.sheet.diskLimit = text
        }
        FormTextField {
            objectName: "source.tempLimit"
            Layout.preferredWidth: 100 // four equal columns, whatever their captions
            label: "Drive °C"
            placeholder: "Off"
            value: form.sheet.tempLimit
            input.Accessible.name: "Drive temperature limit, degrees Celsius"
            onEdited: text => form.sheet.tempLimit = text
        }
    }
    BodyText {
        text: "Blank is off; 90 % and 60 °C suit most machines. A host past a limit reads as a warning, and is notified like a failure once it stays past it for the checks set under Alert after."
        font.pixelSize: 11
        Layout.fillWidth: true
    }
}
