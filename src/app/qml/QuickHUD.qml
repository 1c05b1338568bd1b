// The Quick HUD: one panel whose content follows the model's phase. Every control has an
// accessible name, and the keyboard reaches everything: Ctrl+Return generates, Return uses the
// result, Escape closes.
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

Rectangle {
    id: root
    // The coordinator sizes the panel for each phase; the content fits or is clipped.
    clip: true
    radius: session.phase === "bubble" ? 15 : 20
    color: palette.window
    border.color: palette.mid
    Accessible.role: Accessible.Pane
    Accessible.name: session.phase === "bubble" ? "Brindlet selected-text actions" : "Brindlet quick actions"

    // The bubble beside a selection: one round button that opens the HUD for it.
    RoundButton {
        visible: session.phase === "bubble"
        anchors.centerIn: parent
        width: 40
        height: 40
        text: "B"
        font.bold: true
        Accessible.name: "Open Brindlet for selected text"
        // The help text is told, not shown: a tooltip inside so small a panel covers the button.
        Accessible.description: "Ask Brindlet"
        onClicked: session.pressBubble()
    }

    Shortcut {
        sequences: [StandardKey.Cancel]
        enabled: ["compose", "providerPicker", "sourceDetail", "review", "quickFixStatus"].indexOf(session.phase) >= 0
        onActivated: session.close()
    }
    Shortcut {
        sequence: "Ctrl+Q"
        onActivated: session.closeWindows()
    }
    Shortcut {
        sequences: ["Ctrl+Return", "Ctrl+Enter"]
        enabled: session.phase === "compose" || session.phase === "providerPicker"
        onActivated: session.generate()
    }
    Shortcut {
        sequences: ["Return", "Enter"]
        enabled: session.phase === "review" && !session.isDelivering
        onActivated: session.usePrimary()
    }

    ColumnLayout {
        id: column
        anchors.top: parent.top
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.margins: 16
        spacing: 10

        // compose, and the provider picker below it
        ColumnLayout {
            visible: session.phase === "compose" || session.phase === "providerPicker"
            Layout.fillWidth: true
            RowLayout {
                Layout.fillWidth: true
                ColumnLayout {
                    Layout.fillWidth: true
                    RowLayout {
                        Label { text: session.sourceTitle; font.bold: true }
                        Label { text: "Edited"; visible: session.isSourceEdited && session.hasSourceText; color: palette.highlight }
                    }
                    Label {
                        text: session.sourcePreview
                        elide: Text.ElideRight
                        Layout.fillWidth: true
                        maximumLineCount: 2
                        wrapMode: Text.WordWrap
                    }
                }
                Button {
                    text: "Read"
                    visible: session.hasSourceText
                    Accessible.name: "Read full selected text"
                    onClicked: session.openSourceDetail(false)
                }
                Button {
                    text: "Edit"
                    visible: session.hasSourceText
                    Accessible.name: "Edit selected text"
                    onClicked: session.openSourceDetail(true)
                }
                Button {
                    text: "Close"
                    Accessible.name: "Close quick actions"
                    onClicked: session.close()
                }
            }
            TextArea {
                id: instruction
                Layout.fillWidth: true
                placeholderText: session.instructionPlaceholder
                text: session.instruction
                wrapMode: TextEdit.Wrap
                Accessible.name: "Instruction"
                // Tab leaves the field for its controls rather than typing a tab.
                KeyNavigation.priority: KeyNavigation.BeforeItem
                KeyNavigation.tab: providerChip
                focus: session.phase === "compose"
                onTextChanged: if (text !== session.instruction) session.instruction = text
                onVisibleChanged: if (visible) forceActiveFocus()
            }
            RowLayout {
                Layout.fillWidth: true
                Button {
                    id: providerChip
                    text: session.providerName
                    flat: true
                    Accessible.name: "Provider: " + session.providerName
                    onClicked: session.toggleProviderPicker()
                }
                Item { Layout.fillWidth: true }
                Button {
                    text: "Generate"
                    highlighted: true
                    Accessible.name: "Generate"
                    onClicked: session.generate()
                }
            }
        }

        // the provider list
        ColumnLayout {
            visible: session.phase === "providerPicker"
            Layout.fillWidth: true
            spacing: 2
            Repeater {
                model: session.providers
                delegate: Button {
                    Layout.fillWidth: true
                    flat: !modelData.current
                    highlighted: modelData.current
                    text: modelData.name + " · " + modelData.subtitle
                    Accessible.name: modelData.name
                    Accessible.description: modelData.subtitle
                    onClicked: session.selectProvider(index)
                }
            }
            RowLayout {
                visible: session.isOllama
                Label { text: "OLLAMA MODEL"; font.bold: true }
                Button {
                    text: "Refresh"
                    enabled: !session.isRefreshingOllamaModels
                    Accessible.name: "Refresh"
                    onClicked: session.refreshOllamaModels()
                }
                Label {
                    visible: session.isRefreshingOllamaModels && session.ollamaModels.length === 0
                    text: "Checking installed models…"
                }
            }
            Flow {
                visible: session.isOllama
                Layout.fillWidth: true
                spacing: 4
                Repeater {
                    model: session.ollamaModels
                    delegate: Button {
                        text: modelData
                        Accessible.name: "Use Ollama model " + modelData
                        onClicked: session.selectOllamaModel(modelData)
                    }
                }
            }
        }

        // the selected text in full, to read or edit
        ColumnLayout {
            visible: session.phase === "sourceDetail"
            Layout.fillWidth: true
            Accessible.name: "Selected text detail"
            RowLayout {
                Layout.fillWidth: true
                ColumnLayout {
                    Layout.fillWidth: true
                    Label { text: session.isEditingSource ? "Edit selected text" : "Selected text"; font.bold: true }
                    Label { text: session.capturedFrom; visible: session.capturedFrom.length > 0 }
                }
                Button {
                    text: "Edit"
                    visible: !session.isEditingSource && !session.isSourceReadOnly
                    Accessible.name: "Edit selected text"
                    onClicked: session.openSourceDetail(true)
                }
                Button { text: "Close"; Accessible.name: "Close quick actions"; onClicked: session.close() }
            }
            TextArea {
                visible: session.isEditingSource
                Layout.fillWidth: true
                Layout.preferredHeight: 180
                wrapMode: TextEdit.Wrap
                text: session.sourceText
                placeholderText: "Enter the text Brindlet should work with…"
                Accessible.name: "Editable selected text"
                onTextChanged: if (text !== session.sourceText) session.sourceText = text
                onVisibleChanged: if (visible) forceActiveFocus()
            }
            Label {
                visible: !session.isEditingSource
                Layout.fillWidth: true
                Layout.preferredHeight: 180
                wrapMode: Text.WordWrap
                text: session.sourceText.length > 0 ? session.sourceText
                                                : "No working text. Choose Edit to add text or revert to the captured selection."
                Accessible.name: "Full selected text"
            }
            Label {
                Layout.fillWidth: true
                wrapMode: Text.WordWrap
                font.pixelSize: 11
                text: (session.isSourceReadOnly ? "Return to quick actions before editing this source."
                                            : "Edits change Brindlet’s working input only. The source app changes only after Replace.")
                      + "  " + session.sourceCounts
            }
            RowLayout {
                Layout.fillWidth: true
                Item { Layout.fillWidth: true }
                Button {
                    text: "Revert"
                    visible: session.isEditingSource && session.isSourceEdited
                    Accessible.name: "Revert"
                    onClicked: session.revertSource()
                }
                Button {
                    text: session.isSourceReadOnly ? "Back to review" : "Done"
                    highlighted: true
                    Accessible.name: text
                    onClicked: session.closeSourceDetail()
                }
            }
        }

        // generating
        ColumnLayout {
            visible: session.phase === "generating"
            Layout.fillWidth: true
            Label { text: session.generationPreview.length > 0 ? "Writing…" : "Connecting…"; font.bold: true }
            Label { text: "You can review and edit the complete result before using it." }
            BusyIndicator { running: parent.visible; implicitHeight: 24; implicitWidth: 24 }
            Label {
                Layout.fillWidth: true
                wrapMode: Text.WordWrap
                text: session.generationPreview.length > 0 ? session.generationPreview : "Waiting for the first words…"
                Accessible.name: "Preview"
            }
            Button { text: "Cancel"; Accessible.name: "Cancel"; onClicked: session.cancel() }
        }

        // quickFixGenerating
        ColumnLayout {
            visible: session.phase === "quickFixGenerating"
            Layout.fillWidth: true
            Label { text: session.isDelivering ? "Replacing selection…" : "Fixing writing…"; font.bold: true }
            Label { text: session.sourceTitle.indexOf("Selected in ") === 0 ? session.sourceTitle : session.providerName }
            Button { text: "Cancel"; Accessible.name: "Cancel"; onClicked: session.cancel() }
        }

        // quickFixStatus
        RowLayout {
            visible: session.phase === "quickFixStatus"
            Layout.fillWidth: true
            Label {
                Layout.fillWidth: true
                wrapMode: Text.WordWrap
                text: session.statusText.length > 0 ? session.statusText : "Quick Fix could not continue."
            }
            Button { text: "Close Quick Fix"; Accessible.name: "Close Quick Fix"; onClicked: session.close() }
        }

        // review
        ColumnLayout {
            visible: session.phase === "review"
            Layout.fillWidth: true
            RowLayout {
                Layout.fillWidth: true
                Button {
                    text: "Back"
                    Accessible.name: "Back to quick actions"
                    ToolTip.text: "Returns to the quick actions while keeping this result"
                    onClicked: session.back()
                }
                ColumnLayout {
                    Layout.fillWidth: true
                    Label { text: "Ready to review"; font.bold: true }
                    Label { text: "Attached to " + session.attachedTo; visible: session.attachedTo.length > 0 }
                }
                Button { text: "Close"; Accessible.name: "Close quick actions"; onClicked: session.close() }
            }
            Label {
                Layout.fillWidth: true
                wrapMode: Text.WordWrap
                text: session.result
                Accessible.name: "Result"
            }
            Button {
                text: "View source"
                visible: session.hasSourceText
                Accessible.name: "View source"
                onClicked: session.openSourceDetail(false)
            }
            RowLayout {
                Layout.fillWidth: true
                Button { text: "Regenerate"; Accessible.name: "Regenerate"; onClicked: session.regenerate() }
                Button {
                    text: "Copy"
                    visible: session.deliveryLabel !== "Copy"
                    Accessible.name: "Copy"
                    onClicked: session.copy()
                }
                Item { Layout.fillWidth: true }
                Button {
                    text: session.isDelivering ? "Returning…" : session.deliveryLabel
                    highlighted: true
                    Accessible.name: session.deliveryLabel
                    onClicked: session.usePrimary()
                }
            }
        }

        // confirmation
        Label {
            visible: session.phase === "confirmation"
            text: session.statusText.length > 0 ? session.statusText : "Done"
            font.bold: true
        }

        // The status line of every phase that has one.
        Label {
            visible: session.statusText.length > 0
                     && ["compose", "providerPicker", "review", "generating"].indexOf(session.phase) >= 0
            Layout.fillWidth: true
            wrapMode: Text.WordWrap
            text: session.statusText
            color: "#b3261e"
            Accessible.name: session.statusText
        }
    }
}
