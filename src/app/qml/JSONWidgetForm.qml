pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tidewatch

// The fields of a custom JSON source: the endpoint, an optional bearer token, and the values to show.
ColumnLayout {
    id: form
    required property SourceSheetController sheet
    spacing: 10
    Layout.fillWidth: true

    FormTextField {
        objectName: "source.url"
        label: "URL"
        value: form.sheet.baseURL
        hint: form.sheet.urlHint
        onEdited: text => form.sheet.baseURL = text
    }
    FormTextField {
        objectName: "source.secret"
        label: "Bearer Token (Optional)"
        secure: true
        placeholder: form.sheet.hasStoredSecret ? "Leave blank to keep the current secret" : ""
        value: form.sheet.secret
        onEdited: text => form.sheet.secret = text
    }
    ColumnLayout {
        spacing: 3
        Layout.fillWidth: true
        Text {
            text: "Fields (label = dot.path, one per line):"
            color: Theme.text
            font.pixelSize: 12
            font.weight: Font.DemiBold
        }
        TextArea {
            id: fields
            objectName: "source.fields"
            Layout.fillWidth: true
            Layout.preferredHeight: 90
            text: form.sheet.fieldsText
            font.family: "monospace"
            font.pixelSize: 12
            wrapMode: TextEdit.NoWrap
            Accessible.name: "Fields"
            onTextChanged: if (activeFocus) form.sheet.fieldsText = text
            background: Rectangle {
                radius: 6
                color: Theme.cardFill
                border.width: 1
                border.color: fields.activeFocus ? Preferences.accent : Theme.hairline
            }
        }
    }
}
