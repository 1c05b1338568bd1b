// Brindlet's settings: for now the preset library. Custom presets are listed under a search; the
// chosen one is edited in place, every change saved at once; Delete asks first.
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

Page {
    id: root
    implicitWidth: 720
    implicitHeight: 520
    Accessible.name: "Brindlet settings"

    header: TabBar {
        TabButton { text: "Presets"; Accessible.name: "Presets" }
    }

    property string pendingDeletion: ""
    property string pendingName: ""
    function askToDelete(id, name) {
        pendingDeletion = id
        pendingName = name
        confirm.open()
    }

    RowLayout {
        anchors.fill: parent
        anchors.margins: 16
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
                Component.onCompleted: forceActiveFocus()
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
