#pragma once

#include "AIProviding.h"

#include <QUrl>

namespace brindlet {

// Speaks HTTP to a local Ollama server: streaming generation, preload and the model list.
class OllamaClient {
public:
    static constexpr int generationTimeoutMs = 120'000;
    static constexpr int modelListTimeoutMs = 15'000;

    // The base address with `path` appended; throws ProviderError::invalidURL.
    static QUrl endpoint(const QString& baseAddress, const QString& path);

    Task<QString> generate(QString prompt, ProviderConfiguration configuration, PartialTextHandler onPartialText);
    Task<void> preload(ProviderConfiguration configuration);
    Task<QStringList> models(QString ollamaURL);
};

} // namespace brindlet
