pragma ComponentBehavior: Bound

import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tidewatch

// The sheet that adds or edits a source: a chooser of kinds when adding, then the form of the
// chosen kind. Everything it decides comes from `sheet` (SourceSheetController).
Rectangle {
    id: root
    required property SourceSheetController sheet
    required property SourceEditor editor
    objectName: "source.sheet"
    width: 480
    height: 640
    color: Theme.window
    // The kind chosen in the list, for "Next": a click selects a row, as does the keyboard's focus;
    // a click on the selected row (so a double click too), Return or Space on it goes on to its form.
    property string selectedKind: ""

    Keys.onEscapePressed: root.sheet.cancel()

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 16
        spacing: 12

        RowLayout {
            Layout.fillWidth: true
            spacing: 6
            SymbolButton {
                objectName: "source.back"
                visible: !root.sheet.choosing && !root.sheet.editing
                symbol: "chevron.left"
                tip: "Back"
                onClicked: root.sheet.back()
            }
            Text {
                objectName: "source.header"
                text: root.sheet.header
                color: Theme.text
                font.pixelSize: 17
                font.bold: true
                Layout.fillWidth: true
            }
        }

        // The chooser.
        ColumnLayout {
            visible: root.sheet.choosing
            spacing: 6
            Layout.fillWidth: true
            Layout.fillHeight: true
            Text {
                text: "Choose a type of source to monitor:"
                color: Theme.secondary
                font.pixelSize: 13
            }
            Repeater {
                model: root.sheet.kinds
                delegate: ItemDelegate {
                    id: kindDelegate
                    required property var modelData
                    objectName: "source.kind." + modelData.kind
                    Layout.fillWidth: true
                    // Compact enough for every kind and the examples to fit the sheet unscrolled.
                    Layout.preferredHeight: 38
                    topPadding: 4
                    bottomPadding: 4
                    focusPolicy: Qt.StrongFocus
                    highlighted: root.selectedKind === modelData.kind
                    Accessible.name: modelData.title
                    onClicked: {
                        if (highlighted)
                            root.sheet.chooseKind(modelData.kind)
                        else
                            root.selectedKind = modelData.kind
                    }
                    // A double click's second click comes as this alone.
                    onDoubleClicked: root.sheet.chooseKind(modelData.kind)
                    // The press of a click gives the focus first; only the click itself selects.
                    onActiveFocusChanged: if (activeFocus && focusReason !== Qt.MouseFocusReason)
                                              root.selectedKind = modelData.kind
                    contentItem: RowLayout {
                        spacing: 10
                        Rectangle {
                            width: 28
                            height: 28
                            radius: 8
                            color: Qt.rgba(Preferences.accent.r, Preferences.accent.g, Preferences.accent.b, 0.14)
                            Icon { anchors.centerIn: parent; symbol: kindDelegate.modelData.icon; size: 16; color: Preferences.accent }
                        }
                        Text {
                            text: kindDelegate.modelData.title
                            color: Theme.text
                            font.pixelSize: 14
                            font.weight: Font.DemiBold
                            Layout.fillWidth: true
                        }
                        Text {
                            text: kindDelegate.modelData.line
                            color: Theme.secondary
                            font.pixelSize: 12
                        }
                    }
                    background: Rectangle {
                        radius: 10
                        color: kindDelegate.highlighted ? Qt.rgba(Preferences.accent.r, Preferences.accent.g, Preferences.accent.b, 0.18)
                             : kindDelegate.hovered ? Theme.hairline : Theme.cardFill
                        border.width: kindDelegate.visualFocus || kindDelegate.highlighted ? 2 : 1
                        border.color: kindDelegate.visualFocus || kindDelegate.highlighted ? Preferences.accent : Theme.hairline
                    }
                }
            }
            Text {
                text: "Quick start — begin with a filled-in example:"
                color: Theme.secondary
                font.pixelSize: 13
                topPadding: 6
            }
            Flow {
                spacing: 8
                Layout.fillWidth: true
                Repeater {
                    model: root.sheet.examples
                    delegate: GhostPill {
                        id: example
                        required property var modelData
                        objectName: "source.example." + example.modelData.example
                        text: example.modelData.label
                        Accessible.name: example.modelData.label
                        leftPadding: 10
                        contentItem: Row {
                            spacing: 6
                            Icon {
                                anchors.verticalCenter: parent.verticalCenter
                                symbol: example.modelData.icon
                                size: 13
                                color: Preferences.accent
                            }
                            Text {
                                anchors.verticalCenter: parent.verticalCenter
                                text: example.modelData.label
                                font.pixelSize: 13
                                font.weight: Font.DemiBold
                                color: Theme.text
                            }
                        }
                        onClicked: root.sheet.chooseExample(example.modelData.example)
                    }
                }
            }
            Item { Layout.fillHeight: true }
        }

        // The form.
        ScrollView {
            id: scroller
            visible: !root.sheet.choosing
            Layout.fillWidth: true
            Layout.fillHeight: true
            contentWidth: availableWidth
            clip: true

            ColumnLayout {
                width: scroller.availableWidth
                spacing: 10

                FormTextField {
                    objectName: "source.name"
                    label: "Name"
                    value: root.sheet.displayName
                    onEdited: text => root.sheet.displayName = text
                }

                // The chosen kind's own fields, a component of their own (KumaForm.qml, …).
                Loader {
                    id: kindFields
                    objectName: "source.kindFields"
                    Layout.fillWidth: true
                    function show() {
                        if (root.sheet.formView === "")
                            setSource("")
                        else
                            setSource(Qt.resolvedUrl(root.sheet.formView + ".qml"), { sheet: root.sheet })
                    }
                    Component.onCompleted: show()
                }

                FormTextField {
                    objectName: "source.interval"
                    label: "Check Every (Seconds)"
                    value: root.sheet.pollSeconds
                    Layout.fillWidth: false
                    Layout.preferredWidth: 160
                    onEdited: text => root.sheet.pollSeconds = text
                }

                // What it is reached through: its failures wait while that is down.
                ColumnLayout {
                    spacing: 4
                    Layout.fillWidth: true
                    visible: root.sheet.parentChoices.length > 1
                    Text {
                        text: "Sits Behind"
                        color: Theme.text
                        font.pixelSize: 12
                        font.weight: Font.DemiBold
                    }
                    ComboBox {
                        objectName: "source.dependsOn"
                        model: root.sheet.parentChoices
                        currentIndex: root.sheet.parentIndex
                        Layout.fillWidth: true
                        Accessible.name: "Sits behind"
                        Accessible.description: dependsHelp.text
                        onActivated: index => root.sheet.parentIndex = index
                    }
                    Text {
                        id: dependsHelp
                        text: "While the source it sits behind is down, this one's failures are put down to it: no notification of their own, and gray instead of red."
                        color: Theme.secondary
                        font.pixelSize: 11
                        wrapMode: Text.WordWrap
                        Layout.fillWidth: true
                    }
                }

                // Alerts.
                ColumnLayout {
                    spacing: 4
                    Layout.fillWidth: true
                    Text {
                        text: "Alerts"
                        color: Theme.text
                        font.pixelSize: 12
                        font.weight: Font.DemiBold
                    }
                    Switch {
                        objectName: "source.alerts"
                        text: "Notify when this source goes down"
                        checked: root.sheet.alertsEnabled
                        Accessible.name: "Alerts"
                        Accessible.description: alertsHelp.text
                        onToggled: root.sheet.alertsEnabled = checked
                    }
                    Text {
                        id: alertsHelp
                        objectName: "source.alertsHelp"
                        text: "Turned on while this source is down, alerts stay quiet about that outage and its recovery; the next outage is notified."
                        color: Theme.secondary
                        font.pixelSize: 11
                        wrapMode: Text.WordWrap
                        Layout.fillWidth: true
                    }
                    RowLayout {
                        visible: root.sheet.alertsEnabled
                        spacing: 8
                        Text {
                            objectName: "source.thresholdLabel"
                            text: "Alert after " + root.sheet.alertThreshold.toFixed(0) + " failed checks"
                            color: Theme.text
                            font.pixelSize: 13
                        }
                        SpinBox {
                            objectName: "source.threshold"
                            from: 1
                            to: 10
                            stepSize: 1
                            editable: false
                            value: root.sheet.alertThreshold
                            Accessible.name: "Alert after " + value + " failed checks"
                            onValueModified: root.sheet.alertThreshold = value
                        }
                    }
                }
            }
        }

        Text {
            objectName: "source.error"
            visible: !root.sheet.choosing && text !== ""
            text: root.sheet.validationMessage
            color: Theme.formError
            font.pixelSize: 12
            wrapMode: Text.WordWrap
            Layout.fillWidth: true
        }

        // The whole answer of a test, wrapped: a reason cut to "Conne…" tells the user nothing.
        RowLayout {
            objectName: "source.testStatus"
            visible: !root.sheet.choosing && root.sheet.testPassed !== undefined && root.sheet.testPassed !== null
            spacing: 6
            Layout.fillWidth: true
            Icon {
                Layout.alignment: Qt.AlignTop
                Layout.topMargin: 1
                symbol: root.sheet.testPassed === true ? "checkmark.circle.fill" : "xmark.circle"
                color: root.sheet.testPassed === true ? Theme.formPassed : Theme.formError
                size: 14
            }
            Text {
                objectName: "source.testText"
                text: root.sheet.testPassed === true ? "Connected" : "Failed: " + root.sheet.testText
                color: Theme.text
                font.pixelSize: 12
                wrapMode: Text.Wrap
                Layout.fillWidth: true
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }
        }

        RowLayout {
            Layout.fillWidth: true
            spacing: 8
            Item { Layout.fillWidth: true }
            GhostPill {
                objectName: "source.cancel"
                text: "Cancel"
                Accessible.name: "Cancel"
                onClicked: root.sheet.cancel()
            }
            GhostPill {
                objectName: "source.test"
                visible: !root.sheet.choosing
                text: root.sheet.testing ? "Testing…" : "Test Connection"
                Accessible.name: text
                enabled: root.sheet.complete && !root.sheet.testing
                onClicked: root.sheet.testConnection()
            }
            ProminentPill {
                objectName: "source.save"
                visible: !root.sheet.choosing
                text: root.sheet.editing ? "Save Changes" : "Save Source"
                Accessible.name: text
                enabled: root.sheet.complete && !root.sheet.testing && !root.sheet.saving
                opacity: enabled ? (down ? 0.8 : 1) : 0.45
                onClicked: root.sheet.save()
            }
            ProminentPill {
                objectName: "source.next"
                visible: root.sheet.choosing
                text: "Next"
                Accessible.name: "Next"
                enabled: root.selectedKind !== ""
                opacity: enabled ? (down ? 0.8 : 1) : 0.45
                onClicked: root.sheet.chooseKind(root.selectedKind)
            }
        }
    }

    // A failed write of the secret: the sheet stays open and nothing was added or changed.
    Dialog {
        id: saveFailed
        objectName: "source.saveFailed"
        anchors.centerIn: parent
        width: 340
        modal: true
        title: "Couldn't Save Source"
        standardButtons: Dialog.Ok
        Text {
            objectName: "source.saveFailedText"
            width: parent.width
            text: root.sheet.saveError
            color: Theme.text
            font.pixelSize: 13
            wrapMode: Text.WordWrap
        }
        onClosed: root.sheet.dismissSaveError()
    }
    Connections {
        target: root.sheet
        function onModeChanged() {
            if (root.sheet.choosing)
                root.selectedKind = ""
            kindFields.show()
        }
        function onStatusChanged() {
            if (root.sheet.saveError !== "" && !saveFailed.opened)
                saveFailed.open()
        }
    }
    // Another source was asked for while this sheet holds input: nothing is dropped unasked.
    MessageAlert {
        objectName: "source.question"
        anchors.fill: parent
        title: root.editor.question !== "" ? "Discard Changes?" : ""
        body: root.editor.question
        cancelTitle: "Keep Editing"
        actionTitle: "Discard"
        destructive: true
        onDismissed: root.editor.keepEditing()
        onAction: root.editor.discardChanges()
    }
}
