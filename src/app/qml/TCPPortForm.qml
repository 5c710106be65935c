pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tidewatch

// The fields of a TCP port check: the host, and the port unless the host names one.
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
}
