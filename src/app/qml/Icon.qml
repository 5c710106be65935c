import QtQuick
import Tidewatch

// A vendored line icon by its symbol name, drawn in `color`.
Image {
    property string symbol
    property color color: Theme.secondary
    property int size: 14
    width: size
    height: size
    sourceSize.width: size * 2
    sourceSize.height: size * 2
    source: symbol === "" ? "" : "image://icon/" + symbol + "?color=" + encodeURIComponent(color.toString())
    smooth: true
    Accessible.ignored: true
}
