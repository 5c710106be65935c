import QtQuick
import Tidewatch

// Running text that wraps in full instead of being cut.
Text {
    width: parent ? parent.width : 0
    wrapMode: Text.WordWrap
    font.pixelSize: 13
    lineHeight: 1.15
    color: Theme.secondary
}
