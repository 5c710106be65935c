pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tidewatch

// The fields of a ping: the host and how many echoes a check sends.
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
            objectName: "source.pingCount"
            label: "Echoes (1–5)"
            value: form.sheet.pingCount
            Layout.fillWidth: false
            Layout.preferredWidth: 110
            onEdited: text => form.sheet.pingCount = text
        }
    }
    Text {
        objectName: "source.pingNote"
        text: "Tidewatch pings without privileges, through the kernel's ping sockets. If the check "
              + "reports that they are not allowed, allow your group with: "
              + "sysctl -w net.ipv4.ping_group_range=\"0 2147483647\""
        color: Theme.secondary
        font.pixelSize: 11
        wrapMode: Text.Wrap
        Layout.fillWidth: true
    }
}
