pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tidewatch

// The fields of an Uptime Kuma source: the server, and either a metrics user or a status page.
ColumnLayout {
    id: form
    required property SourceSheetController sheet
    spacing: 10
    Layout.fillWidth: true

    FormTextField {
        objectName: "source.url"
        label: "Server URL"
        placeholder: "https://status.home.lan"
        value: form.sheet.baseURL
        hint: form.sheet.urlHint
        onEdited: text => form.sheet.baseURL = text
    }
    FormTextField {
        objectName: "source.username"
        label: "Username (Metrics Auth)"
        value: form.sheet.username
        onEdited: text => form.sheet.username = text
    }
    FormTextField {
        objectName: "source.secret"
        label: "Password (API Key)"
        secure: true
        placeholder: form.sheet.hasStoredSecret ? "Leave blank to keep the current secret" : ""
        value: form.sheet.secret
        onEdited: text => form.sheet.secret = text
    }
    FormTextField {
        objectName: "source.slug"
        label: "Or Status Page Slug"
        placeholder: "public"
        value: form.sheet.statusPageSlug
        onEdited: text => form.sheet.statusPageSlug = text
    }
}
