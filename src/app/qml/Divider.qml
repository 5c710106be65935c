import QtQuick

Rectangle {
    width: parent ? parent.width : 0
    height: 1
    color: theme.hairline
}
