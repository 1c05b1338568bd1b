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
    radius: hud.phase === "bubble" ? 15 : 20
    color: palette.window
    border.color: palette.mid
    Accessible.role: Accessible.Pane
    Accessible.name: hud.phase === "bubble" ? "Brindlet selected-text actions" : "Brindlet quick actions"

    // The bubble beside a selection: one round button that opens the HUD for it.
    RoundButton {
        visible: hud.phase === "bubble"
        anchors.centerIn: parent
        width: 40
        height: 40
        text: "B"
        font.bold: true
        Accessible.name: "Open Brindlet for selected text"
        // The help text is told, not shown: a tooltip inside so small a panel covers the button.
        Accessible.description: "Ask Brindlet"
        onClicked: hud.pressBubble()
    }

    Shortcut {
        sequences: [StandardKey.Cancel]
        enabled: ["compose", "providerPicker", "sourceDetail", "review", "quickFixStatus"].indexOf(hud.phase) >= 0
        onActivated: hud.close()
    }
    Shortcut {
        sequences: ["Ctrl+Return", "Ctrl+Enter"]
        enabled: hud.phase === "compose" || hud.phase === "providerPicker"
        onActivated: hud.generate()
    }
    Shortcut {
        sequences: ["Return", "Enter"]
        enabled: hud.phase === "review" && !hud.isDelivering
        onActivated: hud.usePrimary()
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
            visible: hud.phase === "compose" || hud.phase === "providerPicker"
            Layout.fillWidth: true
            RowLayout {
                Layout.fillWidth: true
                ColumnLayout {
                    Layout.fillWidth: true
                    RowLayout {
                        Label { text: hud.sourceTitle; font.bold: true }
                        Label { text: "Edited"; visible: hud.isSourceEdited && hud.hasSourceText; color: palette.highlight }
                    }
                    Label {
                        text: hud.sourcePreview
                        elide: Text.ElideRight
                        Layout.fillWidth: true
                        maximumLineCount: 2
                        wrapMode: Text.WordWrap
                    }
                }
                Button {
                    text: "Read"
                    visible: hud.hasSourceText
                    Accessible.name: "Read full selected text"
                    onClicked: hud.openSourceDetail(false)
                }
                Button {
                    text: "Edit"
                    visible: hud.hasSourceText
                    Accessible.name: "Edit selected text"
                    onClicked: hud.openSourceDetail(true)
                }
                Button {
                    text: "Close"
                    Accessible.name: "Close quick actions"
                    onClicked: hud.close()
                }
            }
            TextArea {
                id: instruction
                Layout.fillWidth: true
                placeholderText: hud.instructionPlaceholder
                text: hud.instruction
                wrapMode: TextEdit.Wrap
                Accessible.name: "Instruction"
                // Tab leaves the field for its controls rather than typing a tab.
                KeyNavigation.priority: KeyNavigation.BeforeItem
                KeyNavigation.tab: providerChip
                focus: hud.phase === "compose"
                onTextChanged: if (text !== hud.instruction) hud.instruction = text
                onVisibleChanged: if (visible) forceActiveFocus()
            }
            RowLayout {
                Layout.fillWidth: true
                Button {
                    id: providerChip
                    text: hud.providerName
                    flat: true
                    Accessible.name: "Provider: " + hud.providerName
                    onClicked: hud.toggleProviderPicker()
                }
                Item { Layout.fillWidth: true }
                Button {
                    text: "Generate"
                    highlighted: true
                    Accessible.name: "Generate"
                    onClicked: hud.generate()
                }
            }
        }

        // the provider list
        ColumnLayout {
            visible: hud.phase === "providerPicker"
            Layout.fillWidth: true
            spacing: 2
            Repeater {
                model: hud.providers
                delegate: Button {
                    Layout.fillWidth: true
                    flat: !modelData.current
                    highlighted: modelData.current
                    text: modelData.name + " · " + modelData.subtitle
                    Accessible.name: modelData.name
                    Accessible.description: modelData.subtitle
                    onClicked: hud.selectProvider(index)
                }
            }
            RowLayout {
                visible: hud.isOllama
                Label { text: "OLLAMA MODEL"; font.bold: true }
                Button {
                    text: "Refresh"
                    enabled: !hud.isRefreshingOllamaModels
                    Accessible.name: "Refresh"
                    onClicked: hud.refreshOllamaModels()
                }
                Label {
                    visible: hud.isRefreshingOllamaModels && hud.ollamaModels.length === 0
                    text: "Checking installed models…"
                }
            }
            Flow {
                visible: hud.isOllama
                Layout.fillWidth: true
                spacing: 4
                Repeater {
                    model: hud.ollamaModels
                    delegate: Button {
                        text: modelData
                        Accessible.name: "Use Ollama model " + modelData
                        onClicked: hud.selectOllamaModel(modelData)
                    }
                }
            }
        }

        // the selected text in full, to read or edit
        ColumnLayout {
            visible: hud.phase === "sourceDetail"
            Layout.fillWidth: true
            Accessible.name: "Selected text detail"
            RowLayout {
                Layout.fillWidth: true
                ColumnLayout {
                    Layout.fillWidth: true
                    Label { text: hud.isEditingSource ? "Edit selected text" : "Selected text"; font.bold: true }
                    Label { text: hud.capturedFrom; visible: hud.capturedFrom.length > 0 }
                }
                Button {
                    text: "Edit"
                    visible: !hud.isEditingSource && !hud.isSourceReadOnly
                    Accessible.name: "Edit selected text"
                    onClicked: hud.openSourceDetail(true)
                }
                Button { text: "Close"; Accessible.name: "Close quick actions"; onClicked: hud.close() }
            }
            TextArea {
                visible: hud.isEditingSource
                Layout.fillWidth: true
                Layout.preferredHeight: 180
                wrapMode: TextEdit.Wrap
                text: hud.sourceText
                placeholderText: "Enter the text Brindlet should work with…"
                Accessible.name: "Editable selected text"
                onTextChanged: if (text !== hud.sourceText) hud.sourceText = text
                onVisibleChanged: if (visible) forceActiveFocus()
            }
            Label {
                visible: !hud.isEditingSource
                Layout.fillWidth: true
                Layout.preferredHeight: 180
                wrapMode: Text.WordWrap
                text: hud.sourceText.length > 0 ? hud.sourceText
                                                : "No working text. Choose Edit to add text or revert to the captured selection."
                Accessible.name: "Full selected text"
            }
            Label {
                Layout.fillWidth: true
                wrapMode: Text.WordWrap
                font.pixelSize: 11
                text: (hud.isSourceReadOnly ? "Return to quick actions before editing this source."
                                            : "Edits change Brindlet’s working input only. The source app changes only after Replace.")
                      + "  " + hud.sourceCounts
            }
            RowLayout {
                Layout.fillWidth: true
                Item { Layout.fillWidth: true }
                Button {
                    text: "Revert"
                    visible: hud.isEditingSource && hud.isSourceEdited
                    Accessible.name: "Revert"
                    onClicked: hud.revertSource()
                }
                Button {
                    text: hud.isSourceReadOnly ? "Back to review" : "Done"
                    highlighted: true
                    Accessible.name: text
                    onClicked: hud.closeSourceDetail()
                }
            }
        }

        // generating
        ColumnLayout {
            visible: hud.phase === "generating"
            Layout.fillWidth: true
            Label { text: hud.generationPreview.length > 0 ? "Writing…" : "Connecting…"; font.bold: true }
            Label { text: "You can review and edit the complete result before using it." }
            BusyIndicator { running: parent.visible; implicitHeight: 24; implicitWidth: 24 }
            Label {
                Layout.fillWidth: true
                wrapMode: Text.WordWrap
                text: hud.generationPreview.length > 0 ? hud.generationPreview : "Waiting for the first words…"
                Accessible.name: "Preview"
            }
            Button { text: "Cancel"; Accessible.name: "Cancel"; onClicked: hud.cancel() }
        }

        // quickFixGenerating
        ColumnLayout {
            visible: hud.phase === "quickFixGenerating"
            Layout.fillWidth: true
            Label { text: hud.isDelivering ? "Replacing selection…" : "Fixing writing…"; font.bold: true }
            Label { text: hud.sourceTitle.indexOf("Selected in ") === 0 ? hud.sourceTitle : hud.providerName }
            Button { text: "Cancel"; Accessible.name: "Cancel"; onClicked: hud.cancel() }
        }

        // quickFixStatus
        RowLayout {
            visible: hud.phase === "quickFixStatus"
            Layout.fillWidth: true
            Label {
                Layout.fillWidth: true
                wrapMode: Text.WordWrap
                text: hud.statusText.length > 0 ? hud.statusText : "Quick Fix could not continue."
            }
            Button { text: "Close Quick Fix"; Accessible.name: "Close Quick Fix"; onClicked: hud.close() }
        }

        // review
        ColumnLayout {
            visible: hud.phase === "review"
            Layout.fillWidth: true
            RowLayout {
                Layout.fillWidth: true
                Button {
                    text: "Back"
                    Accessible.name: "Back to quick actions"
                    ToolTip.text: "Returns to the quick actions while keeping this result"
                    onClicked: hud.back()
                }
                ColumnLayout {
                    Layout.fillWidth: true
                    Label { text: "Ready to review"; font.bold: true }
                    Label { text: hud.attachedTo; visible: hud.attachedTo.length > 0 }
                }
                Button { text: "Close"; Accessible.name: "Close quick actions"; onClicked: hud.close() }
            }
            Label {
                Layout.fillWidth: true
                wrapMode: Text.WordWrap
                text: hud.result
                Accessible.name: "Result"
            }
            Button {
                text: "View source"
                visible: hud.hasSourceText
                Accessible.name: "View source"
                onClicked: hud.openSourceDetail(false)
            }
            RowLayout {
                Layout.fillWidth: true
                Button { text: "Regenerate"; Accessible.name: "Regenerate"; onClicked: hud.regenerate() }
                Button {
                    text: "Copy"
                    visible: hud.deliveryLabel !== "Copy"
                    Accessible.name: "Copy"
                    onClicked: hud.copy()
                }
                Item { Layout.fillWidth: true }
                Button {
                    text: hud.isDelivering ? "Returning…" : hud.deliveryLabel
                    highlighted: true
                    Accessible.name: hud.deliveryLabel
                    onClicked: hud.usePrimary()
                }
            }
        }

        // confirmation
        Label {
            visible: hud.phase === "confirmation"
            text: hud.statusText.length > 0 ? hud.statusText : "Done"
            font.bold: true
        }

        // The status line of every phase that has one.
        Label {
            visible: hud.statusText.length > 0
                     && ["compose", "providerPicker", "review", "generating"].indexOf(hud.phase) >= 0
            Layout.fillWidth: true
            wrapMode: Text.WordWrap
            text: hud.statusText
            color: "#b3261e"
            Accessible.name: hud.statusText
        }
    }
}
