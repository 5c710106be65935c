pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tidewatch

// The fields of a TLS certificate check: where the server is, the name to ask for, and how early to warn.
ColumnLayout {
    id: form
    required property SourceSheetController sheet
    spacing: 10
    Layout.fillWidth: true

    RowLayout {
        spacing: 8
        Layout.fillWidth: true
        FormTextField {
            objectName: "source.host"
            label: "Host"
            placeholder: "nas.local"
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
    RowLayout {
        spacing: 8
        Layout.fillWidth: true
        FormTextField {
            objectName: "source.sniName"
            label: "Certificate Name (Optional)"
            placeholder: "Same as the host"
            value: form.sheet.sniName
            onEdited: text => form.sheet.sniName = text
        }
        FormTextField {
            objectName: "source.warningDays"
            label: "Warn Within (Days)"
            value: form.sheet.warningDays
            Layout.fillWidth: false
            Layout.preferredWidth: 150
            onEdited: text => form.sheet.warningDays = text
        }
    }
}
