import QtQuick
import QtQuick.Controls
import Tidewatch

// A borderless 28-point button showing one symbol, with a tooltip that doubles as its spoken name.
ToolButton {
    id: control
    property string symbol
    property string tip
    property color tint: Theme.secondary
    implicitWidth: 28
    implicitHeight: 28
    padding: 0
    focusPolicy: Qt.StrongFocus
    Accessible.name: tip
    ToolTip.visible: hovered && tip !== ""
    ToolTip.text: tip
    ToolTip.delay: 600
    contentItem: Item {
        Icon { anchors.centerIn: parent; symbol: control.symbol; size: 14; color: control.tint }
    }
    background: Rectangle {
        radius: 6
        color: control.down ? Theme.hairline : control.hovered ? Theme.cardFill : "transparent"
        border.width: control.visualFocus ? 1 : 0
        border.color: Preferences.accent
    }
}
