#pragma once

// An in-memory desktop that implements the platform interfaces: applications with windows and
// accessibility trees whose text elements keep value, selected range and selected text
// consistent as they are read and written. Scenes are built in a few lines; faults (reads that
// fail or return the wrong kind, parents that loop, hosts that defer their tree) are data.

#include "platform/AccessibilityServing.h"
#include "platform/KeyEventPosting.h"
#include "platform/PasteboardServing.h"
#include "platform/PointerServing.h"
#include "platform/SystemLogging.h"
#include "platform/WorkspaceServing.h"

#include <QHash>
#include <QList>
#include <QSet>
#include <QStringList>

#include <map>
#include <memory>
#include <vector>

namespace brindlet::simulated {

class SimulatedDesktop;

// One node of an application's accessibility tree.
class SimElement : public std::enable_shared_from_this<SimElement> {
public:
    std::uint64_t identity = 0;
    std::int32_t processID = 0;
    QString role;
    std::optional<QString> identifier, description, title;
    std::weak_ptr<SimElement> parent;
    std::optional<std::weak_ptr<SimElement>> parentOverride; // for trees whose parents loop
    std::vector<std::shared_ptr<SimElement>> children;
    bool alive = true;

    // Text, when the element holds any. Ranges are UTF-16 units.
    bool isText = false;
    QString value;
    TextRange selection;
    bool selectedTextSettable = true;
    QPointF origin; // where the first character sits; characters are laid out on a grid
    double charWidth = 8;
    double lineHeight = 16;

    // A selection that only text markers expose (web content).
    std::optional<QString> markerSelection;

    // How the element takes a write of AXSelectedText, and whether it takes a paste.
    enum class WriteBehaviour {
        accepts, // replaces the selection and leaves the cursor after it
        changesNothing, // reports success and changes nothing
        refuses, // reports a failure and changes nothing
        collapsesSelection, // reports success, drops the selected text and inserts nothing
    };
    WriteBehaviour writeBehaviour = WriteBehaviour::accepts;
    bool acceptsPaste = true;
    int writes = 0;
    int pastes = 0;

    // A fault: a read that returns a value of another kind.
    std::map<QString, AXValue> wrongKindReads;

    std::shared_ptr<SimElement> addChild(const QString& childRole);
    QString selectedText() const { return value.mid(selection.location, selection.length); }
    // Puts text in place of the selection and the cursor after it.
    void replaceSelection(const QString& text);
    Rect boundsOf(TextRange range) const;
};
using SimElementPtr = std::shared_ptr<SimElement>;

struct SimApplication {
    RunningApplication info;
    SimElementPtr element; // role AXApplication; its children are the windows
    std::weak_ptr<SimElement> focusedWindow;
    std::weak_ptr<SimElement> focusedElement;
    // A host that publishes its tree only after AXManualAccessibility is written.
    bool defersTree = false;
    bool treePublished = true;
    AXStatus manualAccessibilityStatus = AXErrorCode::success;
    int manualAccessibilityRequests = 0;
    bool refusesFront = false; // activation never brings it forward
    int activations = 0;

    SimElementPtr addWindow(const QString& title);
    void focus(const SimElementPtr& element); // its window becomes the focused window
};

class SimulatedDesktop final : public AccessibilityServing,
                               public WorkspaceServing,
                               public PointerServing,
                               public PasteboardServing,
                               public KeyEventPosting,
                               public SystemLogging {
public:
    // The simulated clipboard's type for plain text.
    static inline const QString plainTextType = QStringLiteral("text/plain;charset=utf-8");

    // ---- building scenes ----
    SimApplication& addApplication(std::int32_t processID, const QString& bundleIdentifier, std::optional<QString> name,
        std::optional<QString> bundleURL = std::nullopt);
    SimApplication& application(std::int32_t processID) { return applications_.at(processID); }
    // A text element under parent, with value and selection (a cursor when length is 0).
    SimElementPtr addText(const SimElementPtr& parent, const QString& role, const QString& value, TextRange selection);
    void bringToFront(std::int32_t processID) { frontmost_ = processID; }
    void removeApplication(std::int32_t processID); // the process ends; handles stay, reads fail
    void addFile(const QString& path) { files_.insert(path); }
    // A process that exists but belongs to another user: alive, yet no running application.
    void addForeignProcess(std::int32_t processID) { foreignProcesses_.insert(processID); }

    // ---- the world's state ----
    bool trusted = true;
    bool promptGrantsTrust = false; // what the permission prompt does
    std::int32_t ownProcessID = 100;
    bool ownApplicationActive = false;
    std::optional<QPointF> pointer;
    std::uint64_t mouseButtons = 0;
    bool setStringFails = false;
    bool keyUpCannotBeMade = false; // so the paste chord cannot be made in full
    // Called after each write to the clipboard, with the new change count: for clipboard
    // managers and users who act while a paste is under way.
    std::function<void(qint64)> onClipboardWrite;
    std::function<void(std::int32_t)> onActivate;

    // ---- what happened ----
    int accessibilityMessages = 0; // every call to the accessibility service
    int trustQueries = 0;
    QStringList postedKeyEvents; // "down pid=…" and "up pid=…"
    int accessibilitySettingsOpened = 0;
    QStringList logLines; // the messages, in order

    // ---- AccessibilityServing ----
    bool isProcessTrusted() override;
    bool isProcessTrustedWithPrompt() override;
    ElementHandle applicationElement(std::int32_t processID) override;
    AXResult copyAttributeValue(const ElementHandle& element, const QString& attribute) override;
    AXResult copyParameterizedAttributeValue(
        const ElementHandle& element, const QString& attribute, const AXValue& parameter) override;
    std::pair<AXStatus, bool> isAttributeSettable(const ElementHandle& element, const QString& attribute) override;
    AXStatus setAttributeValue(const ElementHandle& element, const QString& attribute, const AXValue& value) override;
    AXStatus performAction(const ElementHandle& element, const QString& action) override;
    std::uint64_t hash(const ElementHandle& element) override;

    // ---- WorkspaceServing ----
    std::optional<RunningApplication> frontmostApplication() override;
    std::int32_t currentProcessID() override { return ownProcessID; }
    bool isApplicationActive() override { return ownApplicationActive; }
    bool fileExists(const QString& path) override { return files_.contains(path); }
    void openAccessibilitySettings() override { ++accessibilitySettingsOpened; }
    bool isProcessAlive(std::int32_t processID) override;
    bool isRunningApplication(std::int32_t processID) override { return applications_.count(processID) > 0; }
    void activateApplication(std::int32_t processID) override;

    // ---- PasteboardServing ----
    qint64 changeCount() override { return changeCount_; }
    QList<PasteboardItem> items() override { return pasteboard_; }
    void clearContents() override;
    bool setString(const QString& text) override;
    void writeItems(const QList<PasteboardItem>& items) override;
    // The plain text on the clipboard, if any.
    std::optional<QString> clipboardText() const;

    // ---- KeyEventPosting ----
    std::unique_ptr<KeyChord> makePasteChord() override;

    // ---- PointerServing ----
    std::optional<QPointF> pointerLocation() override { return pointer; }
    std::uint64_t pressedMouseButtons() override { return mouseButtons; }

    // ---- SystemLogging ----
    void log(Level, const QString&, const QString& message) override { logLines << message; }

    // The handle the platform would give for an element.
    static ElementHandle handle(const SimElementPtr& element);
    // The element behind a handle, if it still exists.
    SimElementPtr resolve(const ElementHandle& handle) const;

private:
    SimApplication* applicationOf(const SimElement& element);
    AXResult readAttribute(SimElement& element, const QString& attribute);

    std::map<std::int32_t, SimApplication> applications_;
    void clipboardWritten();

    std::optional<std::int32_t> frontmost_;
    QSet<QString> files_;
    QSet<std::int32_t> foreignProcesses_;
    QList<PasteboardItem> pasteboard_;
    qint64 changeCount_ = 0;
};

} // namespace brindlet::simulated
