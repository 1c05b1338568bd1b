#include "AIProviderService.h"

#include "ProviderError.h"

namespace brindlet {

namespace {
// The agent programs' clients are not part of this build yet.
ProviderError notAvailableYet(ProviderKind provider)
{
    return ProviderError::unavailable(
        displayName(provider) + QStringLiteral(" is not available in this version of Brindlet yet."));
}
} // namespace

Task<QString> AIProviderService::generate(
    QString prompt, ProviderKind provider, ProviderConfiguration configuration, PartialTextHandler onPartialText)
{
    if (provider != ProviderKind::ollama)
        throw notAvailableYet(provider);
    co_return co_await ollama_.generate(std::move(prompt), std::move(configuration), std::move(onPartialText));
}

Task<void> AIProviderService::prepare(ProviderKind provider, ProviderConfiguration configuration)
{
    if (provider != ProviderKind::ollama)
        co_return;
    try {
        co_await ollama_.preload(std::move(configuration));
    } catch (const CancellationError&) {
        throw;
    } catch (...) {
        // Warming up is best effort; the next request reports whatever is wrong.
    }
}

Task<ProviderReadiness> AIProviderService::readiness(ProviderKind provider, ProviderConfiguration configuration)
{
    using State = ProviderReadiness::State;
    if (provider != ProviderKind::ollama)
        co_return ProviderReadiness { State::unavailable, notAvailableYet(provider).description(), {} };

    QStringList models;
    try {
        models = co_await ollama_.models(configuration.ollamaURL);
    } catch (const CancellationError&) {
        throw;
    } catch (...) {
        co_return ProviderReadiness { State::unavailable, QStringLiteral("Ollama is not responding at this address."),
            {} };
    }
    if (models.isEmpty())
        co_return ProviderReadiness { State::unavailable,
            QStringLiteral("Ollama is running, but no models are installed."), {} };
    if (!configuration.ollamaModel.isEmpty() && !models.contains(configuration.ollamaModel))
        co_return ProviderReadiness { State::unavailable,
            QStringLiteral("The selected Ollama model is no longer installed."), models };
    const QString plural = models.size() == 1 ? QString() : QStringLiteral("s");
    co_return ProviderReadiness { State::ready,
        QStringLiteral("Ollama is running with %1 installed model%2.").arg(models.size()).arg(plural), models };
}

Task<QStringList> AIProviderService::ollamaModels(QString ollamaURL)
{
    co_return co_await ollama_.models(std::move(ollamaURL));
}

Task<void> AIProviderService::preloadOllamaModel(ProviderConfiguration configuration)
{
    co_await ollama_.preload(std::move(configuration));
}

} // namespace brindlet
