import QtQuick
import Tidewatch

Rectangle {
    property int count
    implicitWidth: label.implicitWidth + 12
    implicitHeight: label.implicitHeight + 2
    radius: height / 2
    color: Qt.rgba(Theme.text.r, Theme.text.g, Theme.text.b, 0.08)
    Text {
        id: label
        anchors.centerIn: parent
        text: parent.count
        font.pixelSize: 10
        font.weight: Font.DemiBold
        color: Theme.text
    }
}
