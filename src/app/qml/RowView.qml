import QtQuick
import Tidewatch

// Picks the view for one row description.
Loader {
    id: loader
    required property PopoverController popover
    property var row
    signal toggled()
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
    Component { id: message; MessageRowView { popover: loader.popover; row: loader.row; width: loader.width } }
    Component { id: header; GroupHeaderRowView { popover: loader.popover; row: loader.row; width: loader.width; onToggled: loader.toggled() } }
    Component { id: host; HostRowView { popover: loader.popover; row: loader.row; width: loader.width } }
    Component { id: game; GameRowView { popover: loader.popover; row: loader.row; width: loader.width } }
    Component { id: keyValues; KeyValuesRowView { row: loader.row; width: loader.width } }
    Component { id: service; ServiceRowView { popover: loader.popover; row: loader.row; width: loader.width } }
}
