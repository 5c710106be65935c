import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tidewatch

// A labelled one-line field of the source sheet. `value` is what the sheet holds; edits go out
// through `edited` so a binding never fights the user's typing.
ColumnLayout {
    id: field
    property alias label: caption.text
    property string value
    property alias placeholder: input.placeholderText
    property bool secure: false
    property string hint
    property alias input: input
    signal edited(string text)
    spacing: 3
    Layout.fillWidth: true

    Text {
        id: caption
        color: Theme.text
        font.pixelSize: 12
        font.weight: Font.DemiBold
    }
    TextField {
        id: input
        objectName: field.objectName + ".input"
        Layout.fillWidth: true
        text: field.value
        echoMode: field.secure ? TextInput.Password : TextInput.Normal
        selectByMouse: true
        font.pixelSize: 13
        Accessible.name: caption.text
        onTextEdited: field.edited(text)
    }
    Text {
        objectName: field.objectName + ".hint"
        visible: field.hint !== ""
        text: field.hint
        color: Theme.secondary
        font.pixelSize: 11
        elide: Text.ElideMiddle
        Layout.fillWidth: true
    }
}
