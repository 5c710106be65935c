import QtQuick
import QtQuick.Shapes
import Tidewatch

// A percentage as a ring filled clockwise from the top, with its label underneath.
Column {
    id: ring
    required property PopoverController popover
    property string label
    property var pct
    spacing: 2
    Accessible.role: Accessible.StaticText
    Accessible.name: label + " " + ring.popover.ringText(pct)
    Item {
        width: 26
        height: 26
        anchors.horizontalCenter: parent.horizontalCenter
        Shape {
            anchors.fill: parent
            layer.enabled: true
            layer.samples: 4
            ShapePath {
                strokeColor: Qt.rgba(Theme.text.r, Theme.text.g, Theme.text.b, 0.15)
                strokeWidth: 3
                fillColor: "transparent"
                PathAngleArc { centerX: 13; centerY: 13; radiusX: 11.5; radiusY: 11.5; startAngle: 0; sweepAngle: 360 }
            }
            ShapePath {
                strokeColor: ring.popover.ringColour(ring.pct, Preferences.accent)
                strokeWidth: 3
                fillColor: "transparent"
                capStyle: ShapePath.RoundCap
                PathAngleArc {
                    centerX: 13; centerY: 13; radiusX: 11.5; radiusY: 11.5
                    startAngle: -90
                    sweepAngle: 360 * ring.popover.ringFraction(ring.pct)
                }
            }
        }
        Text {
            anchors.centerIn: parent
            text: ring.popover.ringText(ring.pct)
            font.pixelSize: 7
            font.weight: Font.DemiBold
            color: Theme.text
            Accessible.ignored: true
        }
    }
    Text {
        anchors.horizontalCenter: parent.horizontalCenter
        text: ring.label
        font.pixelSize: 7
        color: Theme.secondary
        Accessible.ignored: true
    }
}
