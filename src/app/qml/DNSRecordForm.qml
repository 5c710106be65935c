pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tidewatch

// The fields of a DNS record check: the name, the record type, what it should hold, and who answers.
ColumnLayout {
    id: form
    required property SourceSheetController sheet
    spacing: 10
    Layout.fillWidth: true

    RowLayout {
        spacing: 8
        Layout.fillWidth: true
        FormTextField {
            objectName: "source.recordName"
            label: "Name to Look Up"
            placeholder: "nas.home.lan"
            value: form.sheet.recordName
            onEdited: text => form.sheet.recordName = text
        }
        ColumnLayout {
            spacing: 3
            Layout.fillWidth: false
            Layout.preferredWidth: 100
            Text {
                text: "Record Type"
                color: Theme.text
                font.pixelSize: 12
                font.weight: Font.DemiBold
            }
            ComboBox {
                objectName: "source.recordType"
                Layout.fillWidth: true
                model: form.sheet.recordTypes
                // A list of strings from C++ is a JavaScript array at run time, but Qt 6.4's qmllint does not
                // know the array methods of QStringList and reports indexOf as a missing property.
                currentIndex: form.sheet.recordTypes.indexOf(form.sheet.recordType) // qmllint disable type
                font.pixelSize: 13
                Accessible.name: "Record Type"
                onActivated: index => form.sheet.recordType = form.sheet.recordTypes[index]
            }
        }
    }
    FormTextField {
        objectName: "source.expectedValue"
        label: "Expected Value (Optional)"
        placeholder: form.sheet.recordType === "MX" ? "10 mail.home.lan"
                   : form.sheet.recordType === "TXT" ? "v=spf1 -all"
                   : form.sheet.recordType === "SRV" ? "10 5 443 nas.home.lan"
                   : form.sheet.recordType === "CNAME" ? "nas.home.lan"
                   : form.sheet.recordType === "AAAA" ? "fd00::20" : "192.168.1.20"
        hint: "Without one, any answer counts as up."
        value: form.sheet.expectedValue
        onEdited: text => form.sheet.expectedValue = text
    }
    FormTextField {
        objectName: "source.nameserver"
        label: "Nameserver (Optional)"
        placeholder: "192.168.1.1"
        hint: "An IP address, asked on port 53. Without one, the system's resolver answers."
        value: form.sheet.nameserver
        onEdited: text => form.sheet.nameserver = text
    }
}
