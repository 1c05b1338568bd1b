#pragma once

#include "AIProviding.h"
#include "ClaudeWarmWorkerClient.h"
#include "CodexAppServerClient.h"
#include "CursorWarmWorkerClient.h"
#include "GeminiWarmWorkerClient.h"
#include "OllamaClient.h"

namespace brindlet {

// Routes every request by provider. Ollama is spoken to directly; the agent programs are
// reached through their warm clients, and only Claude's and Codex's may fall back to a one-shot run.
class AIProviderService final : public AIProviding {
public:
    static constexpr auto requestTimeout = std::chrono::seconds(120);

    // Whether a failure asks the user to sign in again, which no retry can fix.
    static bool isAuthenticationFailure(const std::exception_ptr& error);

    Task<QString> generate(QString prompt, ProviderKind provider, ProviderConfiguration configuration,
        PartialTextHandler onPartialText) override;
    Task<void> prepare(ProviderKind provider, ProviderConfiguration configuration) override;
    Task<ProviderReadiness> readiness(ProviderKind provider, ProviderConfiguration configuration) override;
    Task<QStringList> ollamaModels(QString ollamaURL) override;
    Task<void> preloadOllamaModel(ProviderConfiguration configuration) override;

    ClaudeWarmWorkerClient& claudeClient() { return claude_; }
    CursorWarmWorkerClient& cursorClient() { return cursor_; }
    CodexAppServerClient& codexClient() { return codex_; }

private:
    Task<QString> generateWithFallback(QString prompt, ProviderKind provider, PartialTextHandler onPartialText);
    Task<QString> runOneShot(QString prompt, ProviderKind provider, PartialTextHandler onPartialText);

    OllamaClient ollama_;
    ClaudeWarmWorkerClient claude_;
    CodexAppServerClient codex_;
    CursorWarmWorkerClient cursor_;
    GeminiWarmWorkerClient gemini_;
};

} // namespace brindlet
