pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tidewatch

// The field of an HTTP ping: the address to check.
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
}
