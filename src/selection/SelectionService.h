#pragma once

#include "SelectionServing.h"
#include "platform/AccessibilityServing.h"
#include "platform/KeyEventPosting.h"
#include "platform/PasteboardServing.h"
#include "platform/PointerServing.h"
#include "platform/SystemLogging.h"
#include "platform/WorkspaceServing.h"
#include "tasks/Runtime.h"

#include <QObject>
#include <QPointer>
#include <QSet>

#include <optional>
#include <vector>

namespace brindlet {

// The platform services the selection service reads and writes through.
struct SelectionPlatform {
    AccessibilityServing* accessibility = nullptr;
    WorkspaceServing* workspace = nullptr;
    PointerServing* pointer = nullptr;
    SystemLogging* log = nullptr;
    PasteboardServing* pasteboard = nullptr;
    KeyEventPosting* keyEvents = nullptr;
};

// Whether two captures are the same selection; bounds take part, so a scrolled selection is new.
struct SelectionIdentity {
    std::int32_t processID = 0;
    std::uint64_t elementHash = 0;
    QString text;
    std::optional<std::int64_t> rangeLocation;
    std::optional<std::int64_t> rangeLength;
    std::optional<Rect> bounds;
    friend bool operator==(const SelectionIdentity&, const SelectionIdentity&) = default;
};

// The one object that touches other applications' text: capture, passive monitoring and
// guarded delivery, all on the main thread.
class SelectionService final : public QObject, public SelectionServing {
    Q_OBJECT

public:
    static constexpr auto monitoringInterval = std::chrono::milliseconds(380);

    explicit SelectionService(SelectionPlatform platform, QObject* parent = nullptr);
    ~SelectionService() override;

    // SelectionServing
    void setOnSelectionChanged(std::function<void(std::optional<SelectionSnapshot>)> callback) override;
    void startMonitoring() override;
    std::optional<SelectionSnapshot> capture(bool interactive) override;
    void requestAccessibilityAccess() override;
    Task<QString> deliver(QString text, SelectionSnapshot snapshot, DeliveryPreference preference) override;
    std::optional<SelectionSnapshot> recheckPassively() override;

    // One pass of the monitoring loop; the loop calls it every 380 ms.
    void monitoringTick();

private:
    struct Payload {
        ElementHandle element;
        QString text;
        std::optional<TextRange> range;
        std::optional<Rect> bounds;
        bool isSettable = false;
    };
    struct FocusedMetadata {
        std::optional<QString> role, identifier, domIdentifier, elementDescription, title;
        QStringList ancestorRoles;
    };
    struct CachedSelectionSource {
        std::int32_t processID = 0;
        std::uint64_t focusedHash = 0;
        ElementHandle element;
    };
    struct CachedBrowserSelectionSources {
        std::int32_t processID = 0;
        std::vector<std::uint64_t> rootHashes;
        std::vector<ElementHandle> elements;
        Clock::time_point refreshedAt;
    };

    static Task<void> monitor(QPointer<SelectionService> service);

    // Capture.
    std::optional<Payload> read(const ElementHandle& element, bool allowEmpty);
    // Where the selection in range sits on screen, as the element reported the range.
    std::optional<Rect> selectionBounds(const ElementHandle& element, std::optional<TextRange> range);
    FocusedMetadata readMetadata(const ElementHandle& focused);
    static bool isAddressBarBrowser(const std::optional<QString>& bundleIdentifier);
    static bool isAddressBar(const FocusedMetadata& metadata);
    std::optional<QString> readString(const ElementHandle& element, const QString& attribute);

    // Web and browser sources.
    bool isDeferredHost(const std::optional<QString>& bundleURL, const std::optional<QString>& bundleIdentifier);
    void prepareDeferredHost(const ElementHandle& application, bool isDeferred, std::int32_t processID);
    std::optional<std::pair<QString, std::optional<Rect>>> readTextMarkerSelection(const ElementHandle& element);
    std::optional<ElementHandle> findAncestorWebArea(const ElementHandle& focused);
    std::optional<ElementHandle> cachedAncestorWebArea(const ElementHandle& focused, std::int32_t processID);
    std::vector<ElementHandle> searchWebAreas(const ElementHandle& root);
    std::optional<Payload> readBrowserWindowSelection(const ElementHandle& application, std::int32_t processID);
    std::optional<Payload> firstVisibleSelection(const std::vector<ElementHandle>& elements);
    bool hasRole(const ElementHandle& element, const QString& role);

    // Delivery.
    Task<bool> waitForFrontmost(std::int32_t processID);
    void restoreFocus(const SelectionTarget& target);
    bool isUnchanged(const SelectionTarget& target);
    bool readBack(const QString& text, const SelectionTarget& target);
    Task<bool> readBackLoop(QString text, std::shared_ptr<const SelectionTarget> target, Duration deadline);
    Task<void> waitForClipboardRead();
    Task<bool> guardedPaste(QString text, std::int32_t processID);
    bool postPasteShortcut(std::int32_t processID);
    void restoreClipboard(const QList<PasteboardItem>& saved);

    void logInfo(const QString& message);
    void logError(const QString& message);

    SelectionPlatform platform_;
    std::function<void(std::optional<SelectionSnapshot>)> onSelectionChanged_;
    std::optional<TaskHandle> monitoringTask_;
    std::optional<SelectionIdentity> lastIdentity_;
    std::optional<CachedSelectionSource> cachedWebSelectionSource_;
    std::optional<CachedBrowserSelectionSources> cachedBrowserSelectionSources_;
    QSet<std::int32_t> preparedAccessibilityProcessIDs_;
    bool lastPassiveCaptureHadSnapshot_ = false;
    bool passiveSelectionWasSuppressedForDrag_ = false;
};

} // namespace brindlet
