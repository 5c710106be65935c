import QtQuick
import Tidewatch

// "12s ago", or with `age` "5 min old", redrawn every five seconds counted from the date itself, not
// from when it appeared.
Text {
    id: label
    required property PopoverController popover
    property date date
    property bool age: false
    property int tick: 0
    text: { tick; return label.age ? label.popover.ageText(date) : label.popover.relativeTime(date) }
    font.pixelSize: 10
    color: Theme.secondary
    Timer {
        id: timer
        running: label.visible
        repeat: false
        interval: 5000 - ((Date.now() - label.date.getTime()) % 5000 + 5000) % 5000
        onTriggered: { label.tick++; interval = 5000 - ((Date.now() - label.date.getTime()) % 5000 + 5000) % 5000; start() }
    }
}
