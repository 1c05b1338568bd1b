#include "OllamaReadiness.h"

namespace brindlet {

ProviderReadiness ollamaReadiness(const std::optional<QStringList>& models, const QString& chosenModel)
{
    using State = ProviderReadiness::State;
    if (!models)
        return { State::unavailable, OllamaWords::notResponding, {} };
    if (models->isEmpty())
        return { State::unavailable, OllamaWords::noModels, {} };
    if (!chosenModel.isEmpty() && !models->contains(chosenModel))
        return { State::unavailable, OllamaWords::modelGone, *models };
    const QString plural = models->size() == 1 ? QString() : QStringLiteral("s");
    return { State::ready,
        QStringLiteral("Ollama is running with %1 installed model%2.").arg(models->size()).arg(plural), *models };
}

std::optional<QString> modelToChoose(const QString& chosenModel, const QStringList& models)
{
    if (!chosenModel.isEmpty() || models.isEmpty())
        return std::nullopt;
    return models.first();
}

} // namespace brindlet
