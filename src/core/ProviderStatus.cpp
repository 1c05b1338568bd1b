#include "ProviderStatus.h"

#include "domain/OllamaReadiness.h"
#include "providers/AIProviding.h"
#include "settings/SettingsStore.h"
#include "tasks/Runtime.h"

namespace brindlet {

ProviderStatus::ProviderStatus(AIProviding& providers, SettingsStore& settings, QObject* parent)
    : QObject(parent)
    , providers_(providers)
    , settings_(settings)
{
    for (ProviderKind kind : allProviderKinds)
        readiness_[kind] = ProviderReadiness::checkingValue();
}

bool ProviderStatus::isReady(ProviderKind kind) const
{
    const auto it = readiness_.find(kind);
    return it != readiness_.end() && it->second.state == ProviderReadiness::State::ready;
}

QStringList ProviderStatus::ollamaModels() const
{
    const auto it = readiness_.find(ProviderKind::ollama);
    return it != readiness_.end() ? it->second.ollamaModels : QStringList();
}

void ProviderStatus::set(ProviderKind kind, const ProviderReadiness& readiness)
{
    readiness_[kind] = readiness;
    emit readinessChanged();
}

void ProviderStatus::setRefreshing(bool refreshing)
{
    isRefreshingOllamaModels_ = refreshing;
    emit isRefreshingOllamaModelsChanged();
}

void ProviderStatus::showFixed(const ProviderReadinessMap& readiness)
{
    readiness_ = readiness;
    emit readinessChanged();
}

void ProviderStatus::refreshAll()
{
    const ProviderConfiguration configuration = settings_.providerConfiguration();
    for (ProviderKind kind : allProviderKinds) {
        set(kind, ProviderReadiness::checkingValue());
        spawn(runReadinessCheck(QPointer<ProviderStatus>(this), &providers_, kind, configuration));
    }
}

Task<void> ProviderStatus::runReadinessCheck(
    QPointer<ProviderStatus> status, AIProviding* providers, ProviderKind kind, ProviderConfiguration configuration)
{
    const ProviderReadiness answer = co_await providers->readiness(kind, configuration);
    if (!status)
        co_return;
    status->set(kind, answer);
    if (kind != ProviderKind::ollama)
        co_return;
    // A refresh stores the first model; it does not load it.
    if (const auto first = modelToChoose(status->settings_.ollamaModel(), answer.ollamaModels))
        status->settings_.setOllamaModel(*first);
}

void ProviderStatus::refreshOllamaModels()
{
    if (isRefreshingOllamaModels_)
        return;
    setRefreshing(true);
    spawn(runModelListing(QPointer<ProviderStatus>(this), &providers_, settings_.ollamaURL()));
}

Task<void> ProviderStatus::runModelListing(QPointer<ProviderStatus> status, AIProviding* providers, QString url)
{
    std::optional<QStringList> models;
    try {
        models = co_await providers->ollamaModels(url);
    } catch (...) {
    }
    if (status)
        status->finishModelListing(url, models);
}

void ProviderStatus::finishModelListing(const QString& url, const std::optional<QStringList>& models)
{
    // An answer for an address the user has since changed says nothing about the new one.
    if (settings_.ollamaURL() == url) {
        const QString chosen = settings_.ollamaModel();
        set(ProviderKind::ollama, ollamaReadiness(models, chosen));
        if (const auto first = modelToChoose(chosen, models.value_or(QStringList()))) {
            settings_.setOllamaModel(*first);
            spawn(providers_.preloadOllamaModel(settings_.providerConfiguration()));
        }
    }
    setRefreshing(false);
}

} // namespace brindlet
