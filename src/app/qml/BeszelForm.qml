pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tidewatch

// The fields of a Beszel source: the hub and its API token.
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
}
