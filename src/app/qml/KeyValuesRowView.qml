import QtQuick
import Tidewatch

// A custom JSON endpoint: a title over labelled values, in the order the user gave them.
RowChrome {
    id: view
    required property PopoverController popover
    property var row
    Accessible.role: Accessible.ListItem
    Accessible.name: view.row.name + (view.row.stale ? ", not heard from, " + view.popover.ageText(view.row.staleSince) : "")
    Column {
        width: parent.width
        spacing: 3
        Text {
            text: view.row.name
            font.pixelSize: 13
            font.weight: Font.DemiBold
            color: Theme.text
        }
        RelativeTimeText {
            objectName: "staleAge"
            visible: view.row.stale || false
            popover: view.popover
            date: view.row.staleSince || new Date(0)
            age: true
        }
        Repeater {
            model: view.row.fields
            delegate: Item {
                id: field
                required property var modelData
                width: parent.width
                height: Math.max(key.implicitHeight, value.implicitHeight)
                Text { id: key; text: field.modelData.label; font.pixelSize: 11; color: Theme.secondary; width: parent.width * 0.45; elide: Text.ElideRight }
                Text { id: value; text: field.modelData.value; font.pixelSize: 11; color: Theme.text; anchors.right: parent.right; horizontalAlignment: Text.AlignRight; width: parent.width * 0.55; elide: Text.ElideLeft }
            }
        }
    }
}
