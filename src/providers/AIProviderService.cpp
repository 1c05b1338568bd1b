#include "AIProviderService.h"

#include "domain/OllamaReadiness.h"

#include "AgentReadiness.h"
#include "ManagedCLIProcess.h"
#include "ProviderError.h"
#include "domain/DescribedError.h"
#include "tasks/OffMainThread.h"

#include <QDir>

namespace brindlet {

bool AIProviderService::isAuthenticationFailure(const std::exception_ptr& error)
{
    const QString text = describe(error).toLower();
    for (const char* word : { "authenticate", "authentication", "oauth", "not signed in", "log in again" }) {
        if (text.contains(QLatin1String(word)))
            return true;
    }
    return false;
}

Task<QString> AIProviderService::generate(
    QString prompt, ProviderKind provider, ProviderConfiguration configuration, PartialTextHandler onPartialText)
{
    switch (provider) {
    case ProviderKind::ollama:
        co_return co_await ollama_.generate(std::move(prompt), std::move(configuration), std::move(onPartialText));
    case ProviderKind::claude:
        co_return co_await generateWithFallback(std::move(prompt), provider, std::move(onPartialText));
    case ProviderKind::cursor:
        co_return co_await cursor_.generate(std::move(prompt), requestTimeout, std::move(onPartialText));
    case ProviderKind::gemini:
        co_return co_await gemini_.generate(std::move(prompt), requestTimeout, std::move(onPartialText));
    case ProviderKind::codex:
        co_return co_await generateWithFallback(std::move(prompt), provider, std::move(onPartialText));
    }
    throw ProviderError::unavailable(QStringLiteral("This provider is not known."));
}

Task<QString> AIProviderService::generateWithFallback(
    QString prompt, ProviderKind provider, PartialTextHandler onPartialText)
{
    std::exception_ptr warmFailure;
    try {
        if (provider == ProviderKind::codex)
            co_return co_await codex_.generate(prompt, requestTimeout, onPartialText);
        co_return co_await claude_.generate(prompt, requestTimeout, onPartialText);
    } catch (const CancellationError&) {
        throw CancellationError();
    } catch (...) {
        warmFailure = std::current_exception();
    }
    // Signing in again, or a model that hangs, is not fixed by starting the program once more.
    if (isAuthenticationFailure(warmFailure))
        std::rethrow_exception(warmFailure);
    try {
        std::rethrow_exception(warmFailure);
    } catch (const ProviderError& error) {
        if (error.kind() == ProviderError::Kind::timedOut)
            throw;
    } catch (...) {
    }
    co_return co_await runOneShot(std::move(prompt), provider, std::move(onPartialText));
}

Task<QString> AIProviderService::runOneShot(QString prompt, ProviderKind provider, PartialTextHandler onPartialText)
{
    // Resolving the program may ask the login shell, which blocks: never on the main thread.
    CLIInvocation invocation = co_await runOffMainThread([provider] { return oneShotInvocation(provider); });
    ManagedCLIProcess oneShot(requestTimeout);
    const QString text = co_await oneShot.runToCompletion(std::move(invocation), prompt);
    co_await onPartialText(text);
    co_return text;
}

Task<void> AIProviderService::prepare(ProviderKind provider, ProviderConfiguration configuration)
{
    if (provider == ProviderKind::claude)
        co_await claude_.prepare();
    if (provider == ProviderKind::cursor)
        co_await cursor_.prepare();
    if (provider == ProviderKind::codex)
        co_await codex_.prepare();
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
    if (provider != ProviderKind::ollama)
        co_return co_await agentReadiness(provider, QDir::homePath());

    std::optional<QStringList> models;
    try {
        models = co_await ollama_.models(configuration.ollamaURL);
    } catch (const CancellationError&) {
        throw;
    } catch (...) {
    }
    co_return ollamaReadiness(models, configuration.ollamaModel);
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
