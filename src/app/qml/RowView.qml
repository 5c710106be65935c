import QtQuick

// Picks the view for one row description.
Loader {
    id: loader
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
    Component { id: message; MessageRowView { row: loader.row; width: loader.width } }
    Component { id: header; GroupHeaderRowView { row: loader.row; width: loader.width; onToggled: loader.toggled() } }
    Component { id: host; HostRowView { row: loader.row; width: loader.width } }
    Component { id: game; GameRowView { row: loader.row; width: loader.width } }
    Component { id: keyValues; KeyValuesRowView { row: loader.row; width: loader.width } }
    Component { id: service; ServiceRowView { row: loader.row; width: loader.width } }
}
