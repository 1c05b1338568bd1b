#pragma once

// What a listing of Ollama's models says about Ollama, in the words every surface uses.

#include "ProviderTypes.h"

#include <QString>
#include <QStringList>

#include <optional>

namespace brindlet {

namespace OllamaWords {
inline const QString notResponding = QStringLiteral("Ollama is not responding at this address.");
inline const QString noModels = QStringLiteral("Ollama is running, but no models are installed.");
inline const QString modelGone = QStringLiteral("The selected Ollama model is no longer installed.");
} // namespace OllamaWords

// Readiness from a listing (nullopt when the listing failed) and the model the user chose.
ProviderReadiness ollamaReadiness(const std::optional<QStringList>& models, const QString& chosenModel);

// The model to take when the user has chosen none: the first installed one.
std::optional<QString> modelToChoose(const QString& chosenModel, const QStringList& models);

} // namespace brindlet
