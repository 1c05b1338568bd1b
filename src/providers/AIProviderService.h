#pragma once

#include "AIProviding.h"
#include "OllamaClient.h"

namespace brindlet {

// Routes every request by provider. Ollama is spoken to directly; the agent programs are
// reached through their warm clients.
class AIProviderService final : public AIProviding {
public:
    static constexpr double requestTimeout = 120.0;

    Task<QString> generate(QString prompt, ProviderKind provider, ProviderConfiguration configuration,
        PartialTextHandler onPartialText) override;
    Task<void> prepare(ProviderKind provider, ProviderConfiguration configuration) override;
    Task<ProviderReadiness> readiness(ProviderKind provider, ProviderConfiguration configuration) override;
    Task<QStringList> ollamaModels(QString ollamaURL) override;
    Task<void> preloadOllamaModel(ProviderConfiguration configuration) override;

private:
    OllamaClient ollama_;
};

} // namespace brindlet
