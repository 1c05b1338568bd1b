// Brindlet's settings, in three sections: General (behaviour, login, accessibility, privacy, the
// shortcuts and their recorder, updates), AI (the providers) and Presets (custom presets listed
// under a search, the chosen one edited in place; Delete asks first). Every control writes
// through at once.
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

Page {
    id: root
    implicitWidth: 720
    implicitHeight: 520
    Accessible.name: "Brindlet settings"

    header: TabBar {
        id: tabs
        currentIndex: prefs.section
        onCurrentIndexChanged: prefs.section = currentIndex
        TabButton { text: "General"; Accessible.name: "General" }
        TabButton { text: "AI"; Accessible.name: "AI" }
        TabButton { text: "Presets"; Accessible.name: "Presets" }
    }

    Shortcut {
        sequence: "Ctrl+Q"
        onActivated: session.closeWindows()
    }

    // Each opening and each section starts the keyboard at the section's first control, so that
    // the controls below are a known number of Tabs away.
    function focusSection() {
        if (tabs.currentIndex === 0)
            firstSetting.forceActiveFocus()
        else if (tabs.currentIndex === 2)
            search.forceActiveFocus()
    }
    Connections {
        target: root.Window.window
        function onVisibleChanged() { if (root.Window.window.visible) Qt.callLater(root.focusSection) }
    }
    Connections {
        target: tabs
        function onCurrentIndexChanged() { Qt.callLater(root.focusSection) }
    }
    Component.onCompleted: Qt.callLater(focusSection)
    Shortcut {
        sequences: ["Ctrl+Tab", "Ctrl+PgDown"]
        onActivated: tabs.currentIndex = (tabs.currentIndex + 1) % tabs.count
    }
    Shortcut {
        sequences: ["Ctrl+Shift+Tab", "Ctrl+PgUp"]
        onActivated: tabs.currentIndex = (tabs.currentIndex + tabs.count - 1) % tabs.count
    }

    // While a shortcut is recorded, the presses go to the recorder, which reads them from the
    // desktop; here they are only kept from the controls. Losing the keyboard (a click
    // elsewhere) ends the recording with the shortcut as it was.
    Item {
        id: recorderKeys
        Keys.onPressed: event => event.accepted = prefs.recording >= 0
        onActiveFocusChanged: if (!activeFocus) prefs.endRecording()
    }

    property string pendingDeletion: ""
    property string pendingName: ""
    function askToDelete(id, name) {
        pendingDeletion = id
        pendingName = name
        confirm.open()
    }

    StackLayout {
        anchors.fill: parent
        anchors.margins: 16
        currentIndex: tabs.currentIndex

        // General
        ScrollView {
            contentWidth: availableWidth
            ColumnLayout {
                width: parent.width
                spacing: 8
                Label { text: "App behavior"; font.bold: true }
                Switch {
                    id: firstSetting
                    text: "Keep Brindlet running after Dock Quit"
                    checked: prefs.keepRunning
                    onToggled: prefs.keepRunning = checked
                }
                Label {
                    Layout.fillWidth: true
                    wrapMode: Text.WordWrap
                    font.pixelSize: 11
                    text: "Dock → Quit closes Brindlet windows while keeping menu-bar actions, keyboard shortcuts, and selected-text assistance available. Use Quit Brindlet Completely from the menu bar to exit."
                }
                Switch {
                    id: loginSwitch
                    text: "Start Brindlet when I log in"
                    checked: prefs.startAtLogin
                    onToggled: prefs.startAtLogin = checked
                }
                Label { visible: prefs.startAtLoginError.length > 0; text: prefs.startAtLoginError; wrapMode: Text.WordWrap; Layout.fillWidth: true }
                Button { text: "Run Setup Again…"; Accessible.name: "Run Setup Again…"; onClicked: prefs.restartOnboarding() }

                Label { text: "Selected text"; font.bold: true; topPadding: 8 }
                Switch {
                    text: "Show Brindlet beside selected text"
                    checked: prefs.showBubble
                    onToggled: prefs.showBubble = checked
                }
                Label {
                    Layout.fillWidth: true
                    wrapMode: Text.WordWrap
                    font.pixelSize: 11
                    text: "Brindlet observes native Accessibility selection state. Passive monitoring never presses Copy or reads the clipboard. When an app rejects direct insertion, Brindlet may briefly use the clipboard to return your result, then restores its previous contents."
                }
                RowLayout {
                    Label { text: "Accessibility" }
                    Label { text: prefs.accessibilityGranted ? "✓ Enabled" : "⚠ Not enabled" }
                    Button {
                        text: prefs.accessibilityGranted ? "Refresh" : "Enable…"
                        Accessible.name: text
                        onClicked: prefs.accessibilityGranted ? prefs.refreshAccessibility() : prefs.requestAccessibility()
                    }
                }

                Label { text: "Privacy"; font.bold: true; topPadding: 8 }
                Switch {
                    text: "Share anonymous usage analytics"
                    checked: prefs.analytics
                    onToggled: prefs.analytics = checked
                }
                Label {
                    Layout.fillWidth: true
                    wrapMode: Text.WordWrap
                    font.pixelSize: 11
                    text: "Helps improve Brindlet using coarse events such as feature use, provider family, outcome, and app/system version. Brindlet never sends selected text, prompts, results, preset contents, source-app names, URLs, paths, clipboard data, model names, or provider output. Turning this off immediately clears the anonymous identifier and queued events on this Mac."
                }

                Label { text: "Keyboard shortcuts"; font.bold: true; topPadding: 8 }
                Label {
                    Layout.fillWidth: true
                    wrapMode: Text.WordWrap
                    font.pixelSize: 11
                    text: "Click a shortcut, then press the new combination. Use Command, Option, or Control with another key. Press Delete while recording to disable it; changes apply immediately."
                }
                Repeater {
                    model: prefs.shortcuts
                    delegate: ColumnLayout {
                        Layout.fillWidth: true
                        RowLayout {
                            Layout.fillWidth: true
                            ColumnLayout {
                                Layout.fillWidth: true
                                Label { text: modelData.title; font.bold: true }
                                Label { text: modelData.subtitle; font.pixelSize: 11; wrapMode: Text.WordWrap; Layout.fillWidth: true }
                            }
                            // The recorder: a press while it records becomes the shortcut.
                            Button {
                                id: recorder
                                text: modelData.display
                                font.family: "monospace"
                                Accessible.name: "Keyboard shortcut"
                                Accessible.description: "Click, then press a shortcut. Press Delete to disable or Escape to cancel."
                                // The keyboard first: beginning rebuilds the rows, this one with them.
                                onClicked: { recorderKeys.forceActiveFocus(); prefs.beginRecording(index) }
                            }
                            Button {
                                text: "×"
                                enabled: !modelData.cleared
                                Accessible.name: "Disable " + modelData.title
                                onClicked: prefs.clearShortcut(index)
                            }
                            Button {
                                text: "↺"
                                enabled: !modelData.isDefault
                                Accessible.name: "Restore default " + modelData.title + " shortcut"
                                onClicked: prefs.restoreDefaultShortcut(index)
                            }
                        }
                        Label { visible: modelData.message.length > 0; text: "⚠ " + modelData.message; wrapMode: Text.WordWrap; Layout.fillWidth: true }
                    }
                }

                Label { text: "Updates"; font.bold: true; topPadding: 8 }
                Switch {
                    text: "Automatically check for updates"
                    enabled: updates.isConfigured && updates.updater !== null
                    checked: updates.updater !== null && updates.updater.automaticallyChecksForUpdates
                    onToggled: if (updates.updater) updates.updater.automaticallyChecksForUpdates = checked
                }
                Label {
                    text: updates.isConfigured ? "Brindlet checks its signed website feed and asks before installing an update."
                                               : "Release builds require the Brindlet update signing key before updates can start."
                    font.pixelSize: 11
                }
                RowLayout {
                    Button {
                        text: "Check Now"
                        enabled: updates.updater !== null && updates.updater.canCheckForUpdates
                        onClicked: updates.checkForUpdates()
                    }
                    Button {
                        text: "Install and Relaunch"
                        visible: updates.updater !== null && updates.updater.canInstall
                        onClicked: updates.updater.installUpdate()
                    }
                }
                Label {
                    visible: updates.updater !== null && updates.updater.status.length > 0
                    text: updates.updater ? updates.updater.status : ""
                    wrapMode: Text.WordWrap
                    Layout.fillWidth: true
                }
                Label {
                    text: (updates.isConfigured ? "Automatic updates enabled" : "Updates unavailable in this build")
                          + " · Version " + updates.currentVersion
                    font.pixelSize: 11
                }
            }
        }

        // AI
        ScrollView {
            contentWidth: availableWidth
            ColumnLayout {
                width: parent.width
                spacing: 8
                Label { text: "Default provider"; font.bold: true }
                ComboBox {
                    model: prefs.providers
                    textRole: "name"
                    currentIndex: prefs.provider
                    implicitContentWidthPolicy: ComboBox.WidestText
                    Accessible.name: "Provider"
                    onActivated: index => prefs.provider = index
                }
                Label { text: prefs.providers[prefs.provider].subtitle; font.pixelSize: 11 }

                Label { text: "Ollama"; font.bold: true; topPadding: 8 }
                Label { text: "Ollama-compatible server address" }
                TextField {
                    Layout.fillWidth: true
                    text: prefs.ollamaURL
                    Accessible.name: "Ollama-compatible server address"
                    onEditingFinished: if (text !== prefs.ollamaURL) prefs.ollamaURL = text
                }
                RowLayout {
                    Label { text: "Model" }
                    ComboBox {
                        model: prefs.ollamaModels
                        currentIndex: prefs.ollamaModels.indexOf(prefs.ollamaModel)
                        displayText: prefs.ollamaModel.length > 0 ? prefs.ollamaModel : "Choose a model"
                        implicitContentWidthPolicy: ComboBox.WidestText
                        Accessible.name: "Model"
                        onActivated: index => prefs.ollamaModel = prefs.ollamaModels[index]
                    }
                    Button {
                        text: "Refresh"
                        enabled: !prefs.isRefreshingOllamaModels
                        Accessible.name: "Refresh"
                        onClicked: prefs.refreshOllamaModels()
                    }
                }
                Label { text: prefs.ollamaDetail; wrapMode: Text.WordWrap; Layout.fillWidth: true }
                Label {
                    Layout.fillWidth: true
                    wrapMode: Text.WordWrap
                    font.pixelSize: 11
                    text: "Brindlet preloads the selected model and asks Ollama to keep it loaded indefinitely for instant use. Ollama may continue using memory after Brindlet closes."
                }

                Label { text: "CLI providers"; font.bold: true; topPadding: 8 }
                Label {
                    Layout.fillWidth: true
                    wrapMode: Text.WordWrap
                    font.pixelSize: 11
                    text: "No API key is requested or stored. Brindlet reuses each CLI's existing sign-in and isolates every request. Fast response mode minimizes reasoning where the provider supports it. Tools are disabled, and every CLI request runs in a restricted temporary session."
                }
                Repeater {
                    model: prefs.providers.slice(1)
                    delegate: RowLayout {
                        Layout.fillWidth: true
                        Label { text: modelData.name; font.bold: true; Layout.preferredWidth: 120 }
                        Label { text: modelData.ready ? "✓ Ready" : "⚠ Needs setup"; Layout.preferredWidth: 110 }
                        Label { text: modelData.detail; wrapMode: Text.WordWrap; Layout.fillWidth: true }
                    }
                }
                Button { text: "Check Again"; Accessible.name: "Check Again"; onClicked: prefs.checkProvidersAgain() }
            }
        }

        // Presets
        RowLayout {
            spacing: 16

            ColumnLayout {
                Layout.preferredWidth: 220
                Layout.maximumWidth: 220
                Layout.fillHeight: true
                RowLayout {
                    Label { text: "Preset Library"; font.bold: true; Layout.fillWidth: true }
                    Label { text: library.customCount + " custom" }
                }
                TextField {
                    id: search
                    Layout.fillWidth: true
                    placeholderText: "Search presets"
                    Accessible.name: "Search presets"
                    text: library.search
                    onTextChanged: if (text !== library.search) library.search = text
                    Keys.onDownPressed: list.forceActiveFocus()
                }
                ListView {
                    id: list
                    Layout.fillWidth: true
                    Layout.fillHeight: true
                    clip: true
                    model: library.presets
                    keyNavigationEnabled: true
                    delegate: ItemDelegate {
                        width: list.width
                        text: modelData.name
                        highlighted: modelData.id === library.selectedID
                        Accessible.name: modelData.name
                        onClicked: library.select(modelData.id)
                        Keys.onReturnPressed: library.select(modelData.id)
                        Keys.onDeletePressed: root.askToDelete(modelData.id, modelData.name)
                        TapHandler {
                            acceptedButtons: Qt.RightButton
                            onTapped: rowMenu.popup()
                        }
                        Menu {
                            id: rowMenu
                            MenuItem { text: "Delete"; onTriggered: root.askToDelete(modelData.id, modelData.name) }
                        }
                    }
                    onCurrentIndexChanged: if (activeFocus && currentIndex >= 0) library.select(library.presets[currentIndex].id)
                    onActiveFocusChanged: if (activeFocus && count > 0) library.select(library.presets[Math.max(currentIndex, 0)].id)
                    ColumnLayout {
                        visible: list.count === 0
                        anchors.centerIn: parent
                        width: parent.width - 20
                        Label {
                            text: library.search.length > 0 ? "No Results" : "No Presets"
                            font.bold: true
                            Layout.alignment: Qt.AlignHCenter
                        }
                        Label {
                            text: library.search.length > 0 ? "Try a different name or instruction."
                                                            : "Create a reusable action for a task you repeat."
                            wrapMode: Text.WordWrap
                            horizontalAlignment: Text.AlignHCenter
                            Layout.fillWidth: true
                        }
                    }
                }
                Button {
                    text: "+ New Preset"
                    Accessible.name: "New preset"
                    onClicked: { library.addPreset(); name.forceActiveFocus(); name.selectAll() }
                }
            }

            ColumnLayout {
                Layout.fillWidth: true
                Layout.fillHeight: true
                visible: !library.hasSelection
                Item { Layout.fillHeight: true }
                Label { text: "Select a Preset"; font.bold: true; Layout.alignment: Qt.AlignHCenter }
                Label { text: "Choose a preset from the library or create a new one."; Layout.alignment: Qt.AlignHCenter }
                Item { Layout.fillHeight: true }
            }

            ColumnLayout {
                Layout.fillWidth: true
                Layout.fillHeight: true
                visible: library.hasSelection
                RowLayout {
                    ColumnLayout {
                        Layout.fillWidth: true
                        Label { text: "Preset Details"; font.bold: true }
                        Label { text: "Changes save automatically and appear in the quick HUD." }
                    }
                    Button {
                        text: "Delete"
                        Accessible.name: "Delete " + library.name
                        onClicked: root.askToDelete(library.selectedID, library.name)
                    }
                }
                Label { text: "Name" }
                TextField {
                    id: name
                    Layout.fillWidth: true
                    text: library.name
                    Accessible.name: "Preset name"
                    onTextChanged: if (text !== library.name) library.name = text
                }
                Label { text: "Instruction" }
                TextArea {
                    Layout.fillWidth: true
                    Layout.preferredHeight: 110
                    wrapMode: TextEdit.Wrap
                    placeholderText: "Describe what Brindlet should do."
                    background: Rectangle { color: palette.base; border.color: palette.mid; radius: 4 }
                    text: library.instruction
                    Accessible.name: "Preset instruction"
                    KeyNavigation.priority: KeyNavigation.BeforeItem
                    KeyNavigation.tab: inputBox
                    onTextChanged: if (text !== library.instruction) library.instruction = text
                }
                Label {
                    visible: library.instruction.length === 0
                    text: "⚠ Add an instruction before using this preset."
                }
                RowLayout {
                    Label { text: "Input" }
                    ComboBox {
                        id: inputBox
                        model: ["Selection required", "Selection optional", "New content"]
                        implicitContentWidthPolicy: ComboBox.WidestText
                        currentIndex: library.input
                        Accessible.name: "Input"
                        onActivated: index => library.input = index
                    }
                    Label { text: "Action" }
                    ComboBox {
                        model: ["Smart", "Replace", "Insert", "Copy"]
                        currentIndex: library.delivery
                        Accessible.name: "Action"
                        onActivated: index => library.delivery = index
                    }
                }
                Item { Layout.fillHeight: true }
                Label { text: "Custom presets are stored locally and remain available offline."; font.pixelSize: 11 }
            }
        }
    }

    Dialog {
        id: confirm
        anchors.centerIn: parent
        modal: true
        title: "Delete this preset?"
        Label { text: root.pendingName }
        footer: DialogButtonBox {
            Button {
                text: "Delete Preset"
                Accessible.name: "Delete Preset"
                DialogButtonBox.buttonRole: DialogButtonBox.DestructiveRole
                onClicked: { library.remove(root.pendingDeletion); confirm.close() }
            }
            Button {
                text: "Cancel"
                DialogButtonBox.buttonRole: DialogButtonBox.RejectRole
                onClicked: confirm.close()
            }
        }
        onOpened: footer.contentChildren[0].forceActiveFocus()
    }
}
