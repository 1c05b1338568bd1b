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
    Component.onCompleted: instruction.forceActiveFocus()

    Shortcut {
        sequence: "Ctrl+Q"
        onActivated: session.closeWindows()
    }
    Shortcut {
        sequences: ["Ctrl+Return", "Ctrl+Enter"]
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
                text: "Quick Command"
                Accessible.name: "Quick Command"
                onClicked: session.openQuickCommand()
            }
        }
    }

    ScrollView {
        id: scroll
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
}
