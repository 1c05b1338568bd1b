#pragma once

#include "domain/ProviderKind.h"
#include "domain/ProviderTypes.h"
#include "tasks/Task.h"

#include <QString>
#include <QStringList>

#include <functional>

namespace brindlet {

// Receives the whole text so far, never a delta. It is awaited, so a slow receiver slows the
// stream.
using PartialTextHandler = std::function<Task<void>(QString)>;

// The one place the rest of the system asks a model for text.
class AIProviding {
public:
    virtual ~AIProviding() = default;
    // Returns the final text. Fails with ProviderError, CancellationError or a PlatformError.
    virtual Task<QString> generate(
        QString prompt, ProviderKind provider, ProviderConfiguration configuration, PartialTextHandler onPartialText)
        = 0;
    // Never fails.
    virtual Task<void> prepare(ProviderKind provider, ProviderConfiguration configuration) = 0;
    // Never fails: the outcome is in the record.
    virtual Task<ProviderReadiness> readiness(ProviderKind provider, ProviderConfiguration configuration) = 0;
    virtual Task<QStringList> ollamaModels(QString ollamaURL) = 0;
    virtual Task<void> preloadOllamaModel(ProviderConfiguration configuration) = 0;
};

} // namespace brindlet
