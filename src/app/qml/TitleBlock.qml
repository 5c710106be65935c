import QtQuick
import Tidewatch

// A row's name and, when there is one, its second line.
Column {
    id: block
    property string title
    property string subtitle
    spacing: 2
    Text {
        width: parent.width
        text: block.title
        elide: Text.ElideRight
        font.pixelSize: 13
        font.weight: Font.DemiBold
        color: Theme.text
    }
    Text {
        width: parent.width
        visible: block.subtitle !== ""
        text: block.subtitle
        elide: Text.ElideRight
        font.pixelSize: 10
        color: Theme.secondary
    }
}
