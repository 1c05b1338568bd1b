// The first-run guide, in the workspace window until setup is done: five steps (welcome,
// accessibility, provider, shortcuts, finish). Continue is never blocked; finishing needs a
// ready provider. Return continues, so the whole guide works from the keyboard.
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

Item {
    id: guide
    Accessible.name: "Brindlet setup"
    readonly property int step: prefs.onboardingStep

    function advance() {
        if (step < 4)
            prefs.onboardingStep = step + 1
        else if (prefs.isProviderReady)
            prefs.finishOnboarding()
    }
    Shortcut {
        sequences: ["Return", "Enter"]
        onActivated: guide.advance()
    }

    ColumnLayout {
        anchors.centerIn: parent
        width: Math.min(570, parent.width - 40)
        spacing: 14

        // progress: the current step's bar is longer, reached steps are highlighted
        Row {
            spacing: 6
            Repeater {
                model: 5
                Rectangle {
                    width: index === guide.step ? 34 : 18
                    height: 5
                    radius: 2.5
                    color: index <= guide.step ? palette.highlight : palette.mid
                }
            }
        }

        // 0: welcome
        ColumnLayout {
            visible: guide.step === 0
            Layout.fillWidth: true
            Label { text: "B"; font.pixelSize: 48; font.bold: true; color: "#8a5a2b" }
            Label { text: "AI help, wherever you write"; font.pixelSize: 24; font.bold: true }
            Label {
                Layout.fillWidth: true
                wrapMode: Text.WordWrap
                text: "Select text in almost any Mac app, ask Brindlet to transform it, review the result, and safely put it back. Or open Quick Command to create something new."
            }
            Label { text: "✓ Free. No Brindlet account. No API keys stored." }
        }

        // 1: accessibility
        ColumnLayout {
            visible: guide.step === 1
            Layout.fillWidth: true
            Label { text: "Enable selected-text actions"; font.pixelSize: 22; font.bold: true }
            Label {
                Layout.fillWidth: true
                wrapMode: Text.WordWrap
                text: "Accessibility lets Brindlet detect your selection and safely return approved results. Brindlet does not passively read your clipboard."
            }
            Label { text: prefs.accessibilityGranted ? "✓ Accessibility enabled" : "⚠ Accessibility not enabled" }
            RowLayout {
                visible: !prefs.accessibilityGranted
                Button { text: "Open Accessibility Settings…"; Accessible.name: text; onClicked: prefs.requestAccessibility() }
                Button { text: "Refresh"; Accessible.name: text; onClicked: prefs.refreshAccessibility() }
            }
            Label { text: "You can continue without this permission and enable it later in Settings."; font.pixelSize: 11 }
            Label {
                Layout.fillWidth: true
                wrapMode: Text.WordWrap
                font.pixelSize: 11
                text: "On this desktop, Brindlet switches on the accessibility bus (AT-SPI) itself. Applications that were already running, Qt applications in particular, must be restarted before Brindlet can read their text."
            }
        }

        // 2: provider
        ColumnLayout {
            visible: guide.step === 2
            Layout.fillWidth: true
            Label { text: "Choose how Brindlet thinks"; font.pixelSize: 22; font.bold: true }
            Label {
                Layout.fillWidth: true
                wrapMode: Text.WordWrap
                text: "Brindlet uses software already installed on your Mac. Provider accounts, subscriptions, and model downloads remain separate."
            }
            Repeater {
                model: prefs.providers
                delegate: RowLayout {
                    Layout.fillWidth: true
                    Layout.maximumWidth: 560
                    Button {
                        Layout.fillWidth: true
                        highlighted: modelData.current
                        text: modelData.name + " — " + modelData.detail + (modelData.ready ? "   ✓" : "   ✗")
                        Accessible.name: modelData.name
                        Accessible.description: modelData.detail
                        onClicked: prefs.provider = index
                    }
                    // An agent program signs in with its own command, in a terminal the user sees.
                    Button {
                        visible: index > 0 && !modelData.ready
                        text: "Sign in…"
                        Accessible.name: "Sign in to " + modelData.name
                        onClicked: prefs.signIn(index)
                    }
                }
            }
            Label { visible: prefs.signInMessage.length > 0; text: prefs.signInMessage; wrapMode: Text.WordWrap; Layout.fillWidth: true }
            Label {
                visible: prefs.isOllama && prefs.ollamaModels.length === 0
                text: "No models yet? Run ollama pull llama3.2 in a terminal, then press Check again."
                wrapMode: Text.WordWrap
                Layout.fillWidth: true
            }
            RowLayout {
                visible: prefs.isOllama
                Label { text: "Ollama model" }
                ComboBox {
                    model: prefs.ollamaModels
                    currentIndex: prefs.ollamaModels.indexOf(prefs.ollamaModel)
                    displayText: prefs.ollamaModel.length > 0 ? prefs.ollamaModel : "Choose a model"
                    implicitContentWidthPolicy: ComboBox.WidestText
                    Accessible.name: "Ollama model"
                    onActivated: index => prefs.ollamaModel = prefs.ollamaModels[index]
                }
                Button { text: "↻"; Accessible.name: "Refresh installed Ollama models"; onClicked: prefs.refreshOllamaModels() }
            }
            Label { visible: prefs.isOllama; text: "Choose any model already installed in Ollama."; font.pixelSize: 11 }
            Button { text: "Check again"; Accessible.name: text; onClicked: prefs.checkProvidersAgain() }
        }

        // 3: shortcuts
        ColumnLayout {
            visible: guide.step === 3
            Layout.fillWidth: true
            Label { text: "Three shortcuts, zero context switching"; font.pixelSize: 22; font.bold: true }
            Label { text: "These defaults can be changed or disabled at any time in Settings." }
            Repeater {
                model: prefs.shortcuts
                delegate: RowLayout {
                    Layout.fillWidth: true
                    ColumnLayout {
                        Layout.fillWidth: true
                        Label { text: modelData.title; font.bold: true }
                        Label { text: modelData.subtitle; font.pixelSize: 11; wrapMode: Text.WordWrap; Layout.fillWidth: true }
                    }
                    Label { text: modelData.display; font.family: "monospace" }
                }
            }
        }

        // 4: finish
        ColumnLayout {
            visible: guide.step === 4
            Layout.fillWidth: true
            Label {
                text: prefs.isProviderReady ? "Brindlet is ready" : "Finish provider setup"
                font.pixelSize: 22
                font.bold: true
            }
            Label {
                Layout.fillWidth: true
                wrapMode: Text.WordWrap
                text: prefs.isProviderReady
                      ? "Use Quick Fix for instant corrections, Quick Command for any instruction, or open the workspace for longer drafts."
                      : "Return to the provider step and choose an installed, responding provider before finishing setup."
            }
            Label { visible: prefs.statusText.length > 0; text: "ℹ " + prefs.statusText; wrapMode: Text.WordWrap; Layout.fillWidth: true }
            // Trying it on real text: the user's own, in any application.
            Label {
                visible: prefs.isProviderReady
                Layout.fillWidth: true
                wrapMode: Text.WordWrap
                text: "Try it now: select a sentence in any application and press " + prefs.shortcuts[2].display + " for Quick Fix."
            }
        }

        RowLayout {
            Layout.fillWidth: true
            Button { visible: guide.step >= 1; text: "Back"; Accessible.name: text; onClicked: prefs.onboardingStep = guide.step - 1 }
            Item { Layout.fillWidth: true }
            Button {
                text: guide.step < 4 ? "Continue" : "Start using Brindlet"
                highlighted: true
                enabled: guide.step < 4 || prefs.isProviderReady
                Accessible.name: text
                onClicked: guide.advance()
            }
        }
    }
}
