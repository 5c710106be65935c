import QtQuick
import Tidewatch

// The padding every row shares; compact mode only tightens it vertically.
Item {
    id: chrome
    default property alias content: holder.data
    readonly property int vertical: Preferences.compactMode ? 4 : 8
    implicitHeight: holder.childrenRect.height + 2 * vertical
    Item {
        id: holder
        x: 12
        y: chrome.vertical
        width: chrome.width - 24
        height: Math.max(0, chrome.height - 2 * chrome.vertical)
    }
}
