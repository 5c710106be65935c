import QtQuick
import Tidewatch

Rectangle {
    width: parent ? parent.width : 0
    height: 1
    color: Theme.hairline
}
