import QtQuick
import QtQuick.Shapes
import Tidewatch

// A small line through the latencies in order, scaled to their own range, without axes.
Shape {
    id: spark
    property var values: []
    implicitWidth: 44
    implicitHeight: 16
    Accessible.ignored: true
    layer.enabled: true
    layer.samples: 4
    readonly property real low: values.length ? Math.min.apply(null, values) : 0
    readonly property real high: values.length ? Math.max.apply(null, values) : 0
    ShapePath {
        strokeColor: Preferences.accent
        strokeWidth: 1.5
        fillColor: "transparent"
        capStyle: ShapePath.RoundCap
        joinStyle: ShapePath.RoundJoin
        PathPolyline {
            path: {
                const n = spark.values.length
                const span = spark.high - spark.low
                const points = []
                for (let i = 0; i < n; ++i) {
                    const x = n > 1 ? i * spark.width / (n - 1) : 0
                    const y = span > 0 ? (spark.high - spark.values[i]) / span * (spark.height - 2) + 1 : spark.height / 2
                    points.push(Qt.point(x, y))
                }
                return points
            }
        }
    }
}
