#pragma once

#include "selection/SelectionError.h"

// Recording doubles for the model's collaborators. They do what a test scripts and write down
// every call, in order, so that tests can assert on what the model asked of the world.

#include "EventLoop.h"
#include "analytics/AnalyticsClient.h"
#include "platform/AccessibilityServing.h"
#include "providers/AIProviding.h"
#include "selection/SelectionServing.h"
#include "settings/InMemoryDefaultsStore.h"
#include "shortcuts/GlobalHotKeyManaging.h"
#include "tasks/Completion.h"
#include "windows/WindowCoordinating.h"

#include <QStringList>

#include <deque>
#include <memory>
#include <variant>
#include <vector>

namespace brindlet::test {

class RecordingSelectionService final : public SelectionServing {
public:
    std::function<void(std::optional<SelectionSnapshot>)> onSelectionChanged;
    std::optional<SelectionSnapshot> nextCapture;
    QStringList calls;

    void setOnSelectionChanged(std::function<void(std::optional<SelectionSnapshot>)> callback) override
    {
        calls << QStringLiteral("setOnSelectionChanged");
        onSelectionChanged = std::move(callback);
    }
    void startMonitoring() override { calls << QStringLiteral("startMonitoring"); }
    std::optional<SelectionSnapshot> capture(bool interactive) override
    {
        calls << (interactive ? QStringLiteral("capture(true)") : QStringLiteral("capture(false)"));
        return nextCapture;
    }
    void requestAccessibilityAccess() override { calls << QStringLiteral("requestAccessibilityAccess"); }
    std::optional<SelectionError::Kind> deliveryFailure;
    // Set, a delivery waits for the test to resolve it.
    bool holdDelivery = false;
    std::shared_ptr<Completion<bool>> pendingDelivery;
    Task<QString> deliver(QString, SelectionSnapshot, DeliveryPreference) override
    {
        calls << QStringLiteral("deliver");
        if (holdDelivery) {
            pendingDelivery = std::make_shared<Completion<bool>>();
            co_await pendingDelivery->wait();
        }
        if (deliveryFailure)
            throw SelectionError(*deliveryFailure);
        co_return QString();
    }
    std::optional<SelectionSnapshot> recheckPassively() override
    {
        calls << QStringLiteral("recheckPassively");
        return nextCapture;
    }
};

// A provider whose every generation is driven step by step by the test.
class ScriptedProvider final : public AIProviding {
public:
    struct Generation {
        QString prompt;
        ProviderKind provider;
        ProviderConfiguration configuration;
        // Steps the test feeds: a preview, a final text, or an error.
        using Step = std::variant<QString /*preview*/, std::pair<bool, QString> /*final*/, std::exception_ptr>;
        void preview(const QString& text) { push(Step(text)); }
        void finish(const QString& text) { push(Step(std::pair<bool, QString>(true, text))); }
        void fail(std::exception_ptr error) { push(Step(std::move(error))); }
        bool ended = false;
        bool sawCancellation = false;
        // A misbehaving provider that answers although its task was cancelled.
        std::optional<QString> answerDespiteCancellation;
        // The model's preview handler, for a test that calls it from outside the generation.
        PartialTextHandler onPartialText;

        std::deque<Step> steps;
        std::shared_ptr<Completion<bool>> wake;
        void push(Step step)
        {
            steps.push_back(std::move(step));
            if (wake)
                std::exchange(wake, nullptr)->resolve(true);
        }
    };

    std::vector<std::shared_ptr<Generation>> generations;
    QStringList calls;
    std::map<ProviderKind, ProviderReadiness> readinessAnswers;
    std::map<ProviderKind, std::shared_ptr<Completion<ProviderReadiness>>> pendingReadiness;
    bool holdReadiness = false;

    Task<QString> generate(QString prompt, ProviderKind provider, ProviderConfiguration configuration,
        PartialTextHandler onPartialText) override;
    Task<void> prepare(ProviderKind provider, ProviderConfiguration) override
    {
        calls << QStringLiteral("prepare(%1)").arg(wireName(provider));
        co_return;
    }
    Task<ProviderReadiness> readiness(ProviderKind provider, ProviderConfiguration) override;
    // Listings wait for the test to answer them.
    std::vector<std::shared_ptr<Completion<QStringList>>> pendingListings;
    Task<QStringList> ollamaModels(QString) override
    {
        pendingListings.push_back(std::make_shared<Completion<QStringList>>());
        co_return co_await pendingListings.back()->wait();
    }
    Task<void> preloadOllamaModel(ProviderConfiguration configuration) override
    {
        calls << QStringLiteral("preload(%1)").arg(configuration.ollamaModel);
        co_return;
    }
};

class RecordingHotKeys final : public GlobalHotKeyManaging {
public:
    std::function<void(GlobalHotKeyAction)> onPressed;
    std::vector<HotKeyShortcuts> registrations;
    std::map<GlobalHotKeyAction, GlobalHotKeyRegistrationError> failures;
    // A chord another program holds: any action asking for it fails.
    std::optional<HotKeyShortcut> heldElsewhere;
    int unregistrations = 0;

    void setOnPressed(std::function<void(GlobalHotKeyAction)> callback) override { onPressed = std::move(callback); }
    std::map<GlobalHotKeyAction, GlobalHotKeyRegistrationError> registerShortcuts(
        const HotKeyShortcuts& shortcuts) override
    {
        registrations.push_back(shortcuts);
        auto answer = failures;
        for (const auto& [action, shortcut] : shortcuts) {
            if (shortcut == heldElsewhere)
                answer[action] = { shortcut, GlobalHotKeyRegistrationError::Failure::shortcut, -9878 };
        }
        return answer;
    }
    void unregisterAll() override { ++unregistrations; }
};

// Writes down every event the model records and hands it on to a real client, enabled, whose
// transport keeps each body it would send: every model test thereby checks the wire too.
class RecordingAnalytics final : public AnalyticsTracking {
public:
    struct Event {
        AnalyticsEventType type;
        AnalyticsDimensions dimensions;
    };
    std::vector<Event> events;
    std::vector<bool> starts;
    std::vector<bool> enabledChanges;
    // Every word recorded outside the closed vocabulary, as "EVENT: word".
    QStringList outOfVocabulary;

    RecordingAnalytics();
    ~RecordingAnalytics() override;

    // Recorded at the call, not when the task runs, so order is the order of the calls.
    Task<void> start(bool enabled) override;
    Task<void> setEnabled(bool value) override;
    Task<void> record(AnalyticsEventType type, AnalyticsDimensions dimensions) override;
    QStringList typeNames() const
    {
        QStringList names;
        for (const auto& event : events)
            names << wireName(event.type);
        return names;
    }
    // Every string in the bodies sent so far that is not an identifier, a time, the build's
    // identity or a word of the closed vocabularies: text of any kind would show here.
    QStringList foreignWireStrings() const;

private:
    class KeepingTransport;
    InMemoryDefaultsStore defaults_;
    KeepingTransport* transport_;
    std::unique_ptr<AnalyticsClient> client_;
};

class RecordingWindows final : public WindowCoordinating {
public:
    QStringList calls;
    std::vector<QuickHUDPhase> phases;

    void quickHUDPhaseDidChange(QuickHUDPhase phase) override { phases.push_back(phase); }
    void showQuickHUD(std::optional<Rect>, std::optional<std::int32_t>) override
    {
        calls << QStringLiteral("showQuickHUD");
    }
    void hideQuickHUD() override { calls << QStringLiteral("hideQuickHUD"); }
    void showSelectionBubble(std::optional<Rect>) override { calls << QStringLiteral("showSelectionBubble"); }
    void hideSelectionBubble() override { calls << QStringLiteral("hideSelectionBubble"); }
    void closeApplicationWindows() override { calls << QStringLiteral("closeApplicationWindows"); }
    void bringWorkspaceForward() override { calls << QStringLiteral("bringWorkspaceForward"); }
    void resignKeyboard() override { calls << QStringLiteral("resignKeyboard"); }
};

} // namespace brindlet::test
