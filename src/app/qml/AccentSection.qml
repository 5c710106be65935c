import QtQuick
import QtQuick.Controls
import Tidewatch

// The accent swatches and a free hex field; whatever is typed is kept, and text that is not a colour
// shows as the default accent.
Column {
    width: parent ? parent.width : 0
    spacing: 8
    Row {
        spacing: 8
        Text { text: "Accent color"; font.pixelSize: 13; color: Theme.text; anchors.verticalCenter: parent.verticalCenter; width: 110 }
        Repeater {
            model: Preferences.accentPresets
            delegate: AbstractButton {
                id: swatch
                required property string modelData
                readonly property bool selected: (Preferences.accentHex, Preferences.isSelectedPreset(modelData))
                objectName: "accent.preset." + modelData
                width: 18
                height: 18
                anchors.verticalCenter: parent.verticalCenter
                Accessible.name: "Accent color " + modelData
                Accessible.role: Accessible.Button
                Accessible.selected: selected
                ToolTip.visible: hovered
                ToolTip.text: modelData
                ToolTip.delay: 600
                onClicked: Preferences.accentHex = modelData
                background: Rectangle {
                    radius: 9
                    color: swatch.modelData
                    border.width: swatch.selected || swatch.visualFocus ? 2 : 1
                    border.color: swatch.selected || swatch.visualFocus ? Qt.rgba(Theme.text.r, Theme.text.g, Theme.text.b, 0.5) : Theme.hairline
                }
            }
        }
    }
    Divider { opacity: 0.5 }
    Row {
        spacing: 8
        Text { text: "Custom color"; font.pixelSize: 13; color: Theme.text; anchors.verticalCenter: parent.verticalCenter; width: 110 }
        TextField {
            objectName: "accent.custom"
            width: 88
            text: Preferences.accentHex
            placeholderText: "#8BB8E8"
            font.pixelSize: 11
            font.family: "monospace"
            leftPadding: 8
            rightPadding: 8
            topPadding: 4
            bottomPadding: 4
            color: Theme.text
            Accessible.name: "Custom accent color hex"
            onTextEdited: Preferences.accentHex = text
            background: Rectangle { radius: 6; color: Qt.rgba(Theme.text.r, Theme.text.g, Theme.text.b, 0.07) }
        }
    }
}
