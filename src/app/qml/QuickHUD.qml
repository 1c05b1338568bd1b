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
        enabled: ["compose", "moreActions", "providerPicker", "sourceDetail", "review", "quickFixStatus"].indexOf(session.phase) >= 0
        onActivated: session.close()
    }
    // Each phase that takes typing puts the keyboard in its first field, once its layout is in
    // place; the others take it away from a hidden field, which would still eat Return.
    property string phase: session.phase
    onPhaseChanged: Qt.callLater(focusPhase)
    function focusPhase() {
        const field = { "compose": instruction, "moreActions": presetSearch, "presetEditor": presetName,
                        "sourceDetail": session.isEditingSource ? sourceEditor : null }[phase]
        ;(field || root).forceActiveFocus()
    }
    Component.onCompleted: focusPhase()

    Shortcut {
        sequences: [StandardKey.Cancel]
        enabled: session.phase === "presetEditor"
        onActivated: session.cancelQuickPresetEditor()
    }
    Shortcut {
        sequence: StandardKey.New
        enabled: session.phase === "moreActions"
        onActivated: session.openQuickPresetEditor()
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
        sequences: ["Ctrl+Return", "Ctrl+Enter"]
        enabled: session.phase === "presetEditor"
        onActivated: session.saveQuickPreset()
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

        // compose, the preset library and the provider picker share the header and the chips
        ColumnLayout {
            visible: ["compose", "moreActions", "providerPicker"].indexOf(session.phase) >= 0
            Layout.fillWidth: true
            RowLayout {
                Layout.fillWidth: true
                ColumnLayout {
                    Layout.fillWidth: true
                    RowLayout {
                        Layout.fillWidth: true
                        Label { text: session.sourceTitle; font.bold: true; elide: Text.ElideRight; Layout.fillWidth: true }
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
                ToolButton {
                    text: "Read"
                    visible: session.hasSourceText
                    Accessible.name: "Read full selected text"
                    onClicked: session.openSourceDetail(false)
                }
                ToolButton {
                    text: "Edit"
                    visible: session.hasSourceText
                    Accessible.name: "Edit selected text"
                    onClicked: session.openSourceDetail(true)
                }
                ToolButton {
                    text: "Open"
                    Accessible.name: "Open Brindlet"
                    onClicked: session.openWorkspace()
                }
                ToolButton {
                    text: "Close"
                    Accessible.name: "Close quick actions"
                    onClicked: session.close()
                }
            }
            Flow {
                Layout.fillWidth: true
                spacing: 4
                Repeater {
                    model: session.primaryPresets
                    delegate: Button {
                        text: modelData.name
                        highlighted: modelData.selected
                        Accessible.name: modelData.name
                        onClicked: session.choosePreset(modelData.id, true)
                    }
                }
                Button {
                    text: "Actions"
                    highlighted: session.phase === "moreActions"
                    Accessible.name: "Actions"
                    onClicked: session.toggleMoreActions()
                }
            }
            // the preset library, in place of the instruction
            ColumnLayout {
                visible: session.phase === "moreActions"
                Layout.fillWidth: true
                RowLayout {
                    Layout.fillWidth: true
                    Label { text: "Actions"; font.bold: true; Layout.fillWidth: true }
                    Button { text: "Manage"; Accessible.name: "Manage"; onClicked: session.openPresetSettings() }
                    Button { text: "+"; Accessible.name: "New preset"; onClicked: session.openQuickPresetEditor() }
                }
                RowLayout {
                    Layout.fillWidth: true
                    TextField {
                        id: presetSearch
                        Layout.fillWidth: true
                        placeholderText: "Search actions"
                        text: session.presetSearch
                        Accessible.name: "Search presets and actions"
                        onTextChanged: if (text !== session.presetSearch) session.presetSearch = text
                        // Down and Return reach the list without the mouse.
                        Keys.onDownPressed: presetList.forceActiveFocus()
                        Keys.onReturnPressed: if (presetList.count > 0) session.choosePreset(session.libraryPresets[0].id, true)
                    }
                    Button {
                        visible: session.presetSearch.length > 0
                        text: "×"
                        Accessible.name: "Clear preset search"
                        onClicked: session.presetSearch = ""
                    }
                }
                ListView {
                    id: presetList
                    Layout.fillWidth: true
                    Layout.preferredHeight: 190
                    clip: true
                    model: session.libraryPresets
                    keyNavigationEnabled: true
                    delegate: ItemDelegate {
                        width: presetList.width
                        text: (modelData.selected ? "✓ " : "") + modelData.name + (modelData.custom ? "   · Custom" : "   · Built-in")
                        highlighted: ListView.isCurrentItem && presetList.activeFocus
                        Accessible.name: modelData.name
                        onClicked: session.choosePreset(modelData.id, true)
                        Keys.onReturnPressed: session.choosePreset(modelData.id, true)
                    }
                    Label {
                        visible: presetList.count === 0
                        anchors.centerIn: parent
                        text: session.presetSearch.length > 0 ? "No actions match your search."
                                                              : "Create a preset for a task you repeat."
                    }
                }
            }
            TextArea {
                id: instruction
                visible: session.phase !== "moreActions"
                Layout.fillWidth: true
                placeholderText: session.instructionPlaceholder
                text: session.instruction
                wrapMode: TextEdit.Wrap
                Accessible.name: "Instruction"
                // Tab leaves the field for its controls rather than typing a tab.
                KeyNavigation.priority: KeyNavigation.BeforeItem
                KeyNavigation.tab: providerChip
                onTextChanged: if (text !== session.instruction) session.instruction = text
            }
            RowLayout {
                visible: session.phase !== "moreActions"
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
            // a result kept from before, until a new one is ready
            RowLayout {
                visible: session.phase === "compose" && session.hasResult
                Layout.fillWidth: true
                ColumnLayout {
                    Layout.fillWidth: true
                    Label { text: "Last result ready"; font.bold: true }
                    Label { text: "Kept until a new result is ready"; font.pixelSize: 11 }
                }
                Button {
                    text: "Review"
                    Accessible.name: "Review"
                    Accessible.description: "Opens the retained result for review"
                    onClicked: session.reviewRetainedResult()
                }
                ToolButton { text: "×"; Accessible.name: "Discard last result"; onClicked: session.discardResult() }
            }
        }

        // a new preset, made from the HUD
        ColumnLayout {
            visible: session.phase === "presetEditor"
            Layout.fillWidth: true
            RowLayout {
                Button { text: "Back"; Accessible.name: "Back"; onClicked: session.cancelQuickPresetEditor() }
                Label { text: "New Preset"; font.bold: true }
            }
            TextField {
                id: presetName
                Layout.fillWidth: true
                placeholderText: "Preset name"
                text: session.quickPresetName
                Accessible.name: "Preset name"
                onTextChanged: if (text !== session.quickPresetName) session.quickPresetName = text
                KeyNavigation.tab: presetInstruction
            }
            TextArea {
                id: presetInstruction
                Layout.fillWidth: true
                Layout.preferredHeight: 72
                wrapMode: TextEdit.Wrap
                placeholderText: "What should Brindlet do?"
                background: Rectangle { color: palette.base; border.color: palette.mid; radius: 4 }
                text: session.quickPresetInstruction
                Accessible.name: "Preset instruction"
                KeyNavigation.priority: KeyNavigation.BeforeItem
                KeyNavigation.tab: savePreset
                onTextChanged: if (text !== session.quickPresetInstruction) session.quickPresetInstruction = text
            }
            Label { text: "✓ " + (session.hasSourceText ? "Selected text" : "Selection optional") + " · Smart delivery" }
            RowLayout {
                Layout.fillWidth: true
                Label { text: "You can fine-tune behavior later in Settings."; font.pixelSize: 11; Layout.fillWidth: true }
                Button { text: "Cancel"; Accessible.name: "Cancel"; onClicked: session.cancelQuickPresetEditor() }
                Button {
                    id: savePreset
                    text: "Save Preset"
                    highlighted: true
                    enabled: session.quickPresetName.trim().length > 0 && session.quickPresetInstruction.trim().length > 0
                    Accessible.name: "Save Preset"
                    onClicked: session.saveQuickPreset()
                    Keys.onReturnPressed: session.saveQuickPreset()
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
                id: sourceEditor
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
                     && ["compose", "moreActions", "presetEditor", "providerPicker", "review", "generating"].indexOf(session.phase) >= 0
            Layout.fillWidth: true
            wrapMode: Text.WordWrap
            text: session.statusText
            Accessible.name: session.statusText
        }
    }
}
