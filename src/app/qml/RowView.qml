import QtQuick
import Tidewatch

// Picks the view for one row description.
Loader {
    id: loader
    objectName: "row"
    required property PopoverController popover
    property var row
    signal toggled()
    // A row with a page opens it on a double click; a header's clicks fold its group instead.
    TapHandler {
        objectName: "rowDoubleTap"
        enabled: (loader.row.url || "") !== "" && loader.row.type !== "header"
        onDoubleTapped: loader.popover.openInBrowser(loader.row.url)
    }
    sourceComponent: {
        switch (row.type) {
        case "error":
        case "empty":
            return message
        case "header":
            return header
        }
        switch (row.widgetType) {
        case "host":
            return host
        case "game":
            return game
        case "keyValues":
            return keyValues
        }
        return service
    }
    // The views reach the loader by id from unbound components: on Qt 6.4 a Loader cannot make a
    // component bound by `pragma ComponentBehavior: Bound` ("Cannot instantiate bound component
    // outside its creation context"), and unbound ids are what qmllint calls unqualified.
    Component { id: message; MessageRowView { popover: loader.popover; row: loader.row; width: loader.width } } // qmllint disable unqualified
    Component { id: header; GroupHeaderRowView { popover: loader.popover; row: loader.row; width: loader.width; onToggled: loader.toggled() } } // qmllint disable unqualified
    Component { id: host; HostRowView { popover: loader.popover; row: loader.row; width: loader.width } } // qmllint disable unqualified
    Component { id: game; GameRowView { popover: loader.popover; row: loader.row; width: loader.width } } // qmllint disable unqualified
    Component { id: keyValues; KeyValuesRowView { popover: loader.popover; row: loader.row; width: loader.width } } // qmllint disable unqualified
    Component { id: service; ServiceRowView { popover: loader.popover; row: loader.row; width: loader.width } } // qmllint disable unqualified
}
