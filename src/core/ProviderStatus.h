#pragma once

// Whether each provider can be used and why not, and the list of installed Ollama models, kept
// current by checks that run as tasks and report back on the main thread.

#include "domain/ProviderKind.h"
#include "domain/ProviderTypes.h"
#include "tasks/Task.h"

#include <QObject>
#include <QPointer>
#include <QStringList>

#include <map>
#include <optional>

namespace brindlet {

class AIProviding;
class SettingsStore;

using ProviderReadinessMap = std::map<ProviderKind, ProviderReadiness>;

class ProviderStatus : public QObject {
    Q_OBJECT

public:
    ProviderStatus(AIProviding& providers, SettingsStore& settings, QObject* parent = nullptr);

    const ProviderReadinessMap& readiness() const { return readiness_; }
    bool isReady(ProviderKind kind) const;
    bool isRefreshingOllamaModels() const { return isRefreshingOllamaModels_; }
    QStringList ollamaModels() const;

    // Checks every provider again; each shows "Checking…" until its answer lands. An empty
    // model choice takes the first installed model.
    void refreshAll();
    // Shows fixed answers instead, for the marketing preview.
    void showFixed(const ProviderReadinessMap& readiness);
    // Lists Ollama's models again, unless a listing is under way. An answer for an address the
    // user has changed since is dropped. A first model chosen this way is also loaded.
    void refreshOllamaModels();

signals:
    void readinessChanged();
    void isRefreshingOllamaModelsChanged();

private:
    static Task<void> runReadinessCheck(QPointer<ProviderStatus> status, AIProviding* providers, ProviderKind kind,
        ProviderConfiguration configuration);
    static Task<void> runModelListing(QPointer<ProviderStatus> status, AIProviding* providers, QString url);
    void finishModelListing(const QString& url, const std::optional<QStringList>& models);
    void set(ProviderKind kind, const ProviderReadiness& readiness);
    void setRefreshing(bool refreshing);

    AIProviding& providers_;
    SettingsStore& settings_;
    ProviderReadinessMap readiness_;
    bool isRefreshingOllamaModels_ = false;
};

} // namespace brindlet
