// The workspace: the full-window form of the quick actions. One scrolling column of source,
// instruction, status and result; Ctrl+Return generates or stops, Ctrl+Q puts Brindlet away.
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

Page {
    id: root
    // The window sizes the page; its own size never follows the scrolling content.
    implicitWidth: 900
    implicitHeight: 680
    Accessible.name: "Brindlet workspace"
    Component.onCompleted: if (prefs.hasCompletedOnboarding) instruction.forceActiveFocus()
    // Finishing setup hands the keyboard to the instruction.
    readonly property bool setUp: prefs.hasCompletedOnboarding
    onSetUpChanged: if (setUp) instruction.forceActiveFocus()

    Shortcut {
        sequence: "Ctrl+Q"
        onActivated: session.closeWindows()
    }
    Shortcut {
        sequence: "Ctrl+,"
        onActivated: session.openSettings()
    }
    Shortcut {
        sequences: ["Ctrl+Return", "Ctrl+Enter"]
        enabled: !presetEditor.opened && prefs.hasCompletedOnboarding
        onActivated: mainButton.clicked()
    }

    header: ToolBar {
        RowLayout {
            anchors.fill: parent
            anchors.leftMargin: 12
            anchors.rightMargin: 12
            Label { text: "Brindlet"; font.bold: true; Accessible.name: "Brindlet" }
            Item { Layout.fillWidth: true }
            ToolButton {
                visible: prefs.hasCompletedOnboarding
                text: "Quick Command"
                Accessible.name: "Quick Command"
                onClicked: session.openQuickCommand()
            }
            ToolButton {
                text: "Settings"
                Accessible.name: "Settings"
                onClicked: session.openSettings()
            }
        }
    }

    // Until setup is done, the window shows the first-run guide instead.
    Loader {
        anchors.fill: parent
        active: !prefs.hasCompletedOnboarding
        source: "Onboarding.qml"
        onLoaded: item.forceActiveFocus()
    }

    ScrollView {
        id: scroll
        visible: prefs.hasCompletedOnboarding
        anchors.fill: parent
        contentWidth: availableWidth

        ColumnLayout {
            x: Math.max(18, (scroll.availableWidth - width) / 2)
            width: Math.min(760, scroll.availableWidth - 36)
            spacing: 16

            Item { Layout.preferredHeight: 2 }

            // hero
            ColumnLayout {
                spacing: 4
                Label { text: "AI HELP, WHEREVER YOU WRITE"; font.pixelSize: 11; font.bold: true; color: palette.highlight }
                Label { text: "Write, transform, or understand anything."; font.pixelSize: 24; font.bold: true }
                Label { text: "Select text in any app for an instant action, or create something new here." }
            }

            // permission card
            Frame {
                visible: !session.accessibilityGranted
                Layout.fillWidth: true
                RowLayout {
                    anchors.fill: parent
                    ColumnLayout {
                        Layout.fillWidth: true
                        Label { text: "Enable selected-text actions"; font.bold: true }
                        Label {
                            Layout.fillWidth: true
                            wrapMode: Text.WordWrap
                            text: "Accessibility lets Brindlet detect selections and return results without passive clipboard access."
                        }
                    }
                    Button { text: "Enable…"; Accessible.name: "Enable…"; onClicked: session.requestAccessibility() }
                }
            }

            // source card
            Frame {
                Layout.fillWidth: true
                Accessible.name: session.workspaceSourceTitle
                RowLayout {
                    anchors.fill: parent
                    ColumnLayout {
                        Layout.fillWidth: true
                        Label { text: session.workspaceSourceTitle; font.bold: true }
                        TextArea {
                            Layout.fillWidth: true
                            Layout.maximumHeight: 160
                            readOnly: true
                            wrapMode: TextEdit.Wrap
                            background: null
                            text: session.workspaceSourceText
                            Accessible.name: session.workspaceSourceTitle
                        }
                    }
                    Button {
                        visible: session.hasSnapshot
                        text: "×"
                        Accessible.name: "Clear source"
                        ToolTip.text: "Work on new content instead"
                        ToolTip.visible: hovered
                        onClicked: session.clearSession()
                    }
                }
            }

            // presets
            ColumnLayout {
                Layout.fillWidth: true
                Label { text: "Quick actions"; font.bold: true }
                Label { text: "Built-in and saved presets"; font.pixelSize: 11 }
                RowLayout {
                    Layout.fillWidth: true
                    TextField {
                        id: presetSearch
                        Layout.preferredWidth: 154
                        placeholderText: "Search presets"
                        Accessible.name: "Search presets"
                        text: session.workspacePresetSearch
                        onTextChanged: if (text !== session.workspacePresetSearch) session.workspacePresetSearch = text
                    }
                    Item { Layout.fillWidth: true }
                    Button { text: "Manage"; Accessible.name: "Manage"; onClicked: session.openPresetSettings() }
                    Button { text: "+ New Preset"; Accessible.name: "New Preset"; onClicked: presetEditor.open() }
                }
                Flow {
                    Layout.fillWidth: true
                    spacing: 6
                    Repeater {
                        model: session.workspacePresets
                        delegate: Button {
                            text: modelData.name
                            highlighted: modelData.selected
                            Accessible.name: modelData.name
                            onClicked: session.choosePreset(modelData.id, false)
                        }
                    }
                }
                RowLayout {
                    visible: session.workspacePresets.length === 0
                    Label { text: "No presets match “" + session.workspacePresetSearch + "”" }
                    Button { text: "Clear"; Accessible.name: "Clear"; onClicked: session.workspacePresetSearch = "" }
                }
            }

            // instruction
            ColumnLayout {
                Layout.fillWidth: true
                ScrollView {
                    Layout.fillWidth: true
                    Layout.preferredHeight: 180
                    Layout.minimumHeight: 108
                    background: Rectangle { color: palette.base; border.color: palette.mid; radius: 4 }
                    TextArea {
                        id: instruction
                        placeholderText: session.workspacePlaceholder
                        text: session.instruction
                        wrapMode: TextEdit.Wrap
                        focus: true
                        Accessible.name: "Instruction"
                        KeyNavigation.priority: KeyNavigation.BeforeItem
                        KeyNavigation.tab: providerBox
                        onTextChanged: if (text !== session.instruction) session.instruction = text
                    }
                }
                RowLayout {
                    Layout.fillWidth: true
                    ComboBox {
                        id: providerBox
                        model: session.providers
                        textRole: "name"
                        currentIndex: session.providers.findIndex(row => row.current)
                        Accessible.name: "Provider"
                        onActivated: index => session.selectProvider(index)
                    }
                    ComboBox {
                        visible: session.isOllama
                        model: session.ollamaModels
                        currentIndex: session.ollamaModels.indexOf(session.ollamaModel)
                        displayText: session.ollamaModel.length > 0 ? session.ollamaModel : "Ollama model"
                        Accessible.name: "Ollama model"
                        onActivated: index => session.selectOllamaModel(session.ollamaModels[index])
                    }
                    Button {
                        visible: session.isOllama
                        text: "Refresh Models"
                        enabled: !session.isRefreshingOllamaModels
                        Accessible.name: "Refresh Models"
                        onClicked: session.refreshOllamaModels()
                    }
                    Item { Layout.fillWidth: true }
                    Button {
                        id: mainButton
                        text: session.isGenerating ? "Stop" : "Generate"
                        highlighted: true
                        Accessible.name: text
                        onClicked: session.isGenerating ? session.cancel() : session.generate()
                    }
                }
            }

            // status line
            Label {
                visible: session.statusText.length > 0
                Layout.fillWidth: true
                wrapMode: Text.WordWrap
                text: (session.statusIsSuccess ? "✓ " : "ℹ ") + session.statusText
                Accessible.name: session.statusText
            }

            // result
            ColumnLayout {
                visible: session.result.length > 0 || session.isGenerating
                Layout.fillWidth: true
                Label { text: session.isGenerating ? "Writing…" : "Ready"; font.bold: true }
                Label {
                    visible: session.isGenerating
                    Layout.fillWidth: true
                    wrapMode: Text.WordWrap
                    text: session.generationPreview.length > 0 ? session.generationPreview : "Waiting for the first words…"
                    Accessible.name: "Preview"
                }
                ScrollView {
                    visible: !session.isGenerating
                    Layout.fillWidth: true
                    Layout.preferredHeight: Math.min(260, Math.max(150, resultEditor.implicitHeight))
                    background: Rectangle { color: palette.base; border.color: palette.mid; radius: 4 }
                    TextArea {
                        id: resultEditor
                        text: session.result
                        wrapMode: TextEdit.Wrap
                        Accessible.name: "Result"
                        onTextChanged: if (text !== session.result) session.result = text
                    }
                }
                Label {
                    visible: session.attachedTo.length > 0 && !session.isGenerating
                    text: "Result remains attached to " + session.attachedTo
                }
                RowLayout {
                    visible: !session.isGenerating
                    Layout.fillWidth: true
                    Button {
                        text: "Generate again"
                        Accessible.name: "Generate again"
                        ToolTip.text: "Runs the same request again for a new result"
                        ToolTip.visible: hovered
                        onClicked: session.regenerate()
                    }
                    Item { Layout.fillWidth: true }
                    Button {
                        text: "Copy"
                        visible: session.deliveryLabel !== "Copy"
                        Accessible.name: "Copy"
                        onClicked: session.copy()
                    }
                    Button {
                        text: session.isDelivering ? "Returning…" : session.deliveryLabel
                        enabled: !session.isDelivering
                        highlighted: true
                        Accessible.name: session.deliveryLabel
                        onClicked: session.usePrimary()
                    }
                }
            }

            Item { Layout.preferredHeight: 18 }
        }
    }

    // A new preset, made here with every option.
    Dialog {
        id: presetEditor
        anchors.centerIn: parent
        width: 520
        modal: true
        title: "New Preset"
        onOpened: { newName.text = ""; newInstruction.text = ""; useWith.currentIndex = 1; result.currentIndex = 0; newName.forceActiveFocus() }
        readonly property bool complete: newName.text.trim().length > 0 && newInstruction.text.trim().length > 0
        function save() {
            if (complete && session.createPreset(newName.text, newInstruction.text, useWith.currentIndex, result.currentIndex))
                close()
        }
        ColumnLayout {
            anchors.fill: parent
            Label { text: "Save an instruction once, then run it from the workspace or Quick HUD."; wrapMode: Text.WordWrap; Layout.fillWidth: true }
            Label { text: "Name" }
            TextField {
                id: newName
                Layout.fillWidth: true
                placeholderText: "For example, Make concise"
                Accessible.name: "Preset name"
            }
            Label { text: "Instruction" }
            TextArea {
                id: newInstruction
                Layout.fillWidth: true
                Layout.preferredHeight: 90
                wrapMode: TextEdit.Wrap
                placeholderText: "Describe exactly what Brindlet should do."
                Accessible.name: "Preset instruction"
                background: Rectangle { color: palette.base; border.color: palette.mid; radius: 4 }
                KeyNavigation.priority: KeyNavigation.BeforeItem
                KeyNavigation.tab: useWith
            }
            RowLayout {
                Label { text: "Use with" }
                ComboBox {
                    id: useWith
                    model: ["Selected text", "Text or new content", "New content"]
                    implicitContentWidthPolicy: ComboBox.WidestText
                    Accessible.name: "Use with"
                    // New content has no selection to replace.
                    onCurrentIndexChanged: if (currentIndex === 2 && result.currentIndex === 1) result.currentIndex = 0
                }
                Label { text: "Result" }
                ComboBox {
                    id: result
                    model: ["Automatic", "Replace selection", "Insert at cursor", "Copy"]
                    implicitContentWidthPolicy: ComboBox.WidestText
                    Accessible.name: "Result"
                    delegate: ItemDelegate {
                        width: result.width
                        text: modelData
                        enabled: !(index === 1 && useWith.currentIndex === 2)
                    }
                }
            }
            Label { text: "Stored locally and available offline"; font.pixelSize: 11 }
        }
        footer: DialogButtonBox {
            Button { text: "Cancel"; DialogButtonBox.buttonRole: DialogButtonBox.RejectRole; onClicked: presetEditor.close() }
            Button {
                text: "Save Preset"
                enabled: presetEditor.complete
                Accessible.name: "Save Preset"
                DialogButtonBox.buttonRole: DialogButtonBox.AcceptRole
                onClicked: presetEditor.save()
            }
        }
        Shortcut {
            sequences: ["Ctrl+Return", "Ctrl+Enter"]
            enabled: presetEditor.opened
            onActivated: presetEditor.save()
        }
    }
}
