import QtQuick
import Tidewatch

// A titled card of the General tab.
Column {
    id: root
    property string title
    default property alias content: body.data
    width: parent ? parent.width : 0
    spacing: 6
    Text {
        text: root.title
        font.pixelSize: 11
        font.weight: Font.DemiBold
        color: Theme.secondary
        Accessible.role: Accessible.Heading
        Accessible.name: text
    }
    Rectangle {
        width: parent.width
        height: body.implicitHeight + 20
        radius: 12
        color: Theme.cardFill
        border.color: Theme.hairline
        Column {
            id: body
            x: 12
            y: 10
            width: parent.width - 24
            spacing: 8
        }
    }
}
