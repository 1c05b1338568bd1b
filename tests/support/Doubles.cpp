#include "Doubles.h"

namespace brindlet::test {

Task<QString> ScriptedProvider::generate(
    QString prompt, ProviderKind provider, ProviderConfiguration configuration, PartialTextHandler onPartialText)
{
    auto generation = std::make_shared<Generation>();
    generation->prompt = prompt;
    generation->provider = provider;
    generation->configuration = configuration;
    generation->onPartialText = onPartialText;
    generations.push_back(generation);
    try {
        for (;;) {
            while (generation->steps.empty()) {
                generation->wake = std::make_shared<Completion<bool>>();
                co_await generation->wake->wait();
            }
            auto step = std::move(generation->steps.front());
            generation->steps.pop_front();
            if (auto* preview = std::get_if<QString>(&step)) {
                co_await onPartialText(*preview);
            } else if (auto* final = std::get_if<std::pair<bool, QString>>(&step)) {
                generation->ended = true;
                co_return final->second;
            } else {
                generation->ended = true;
                std::rethrow_exception(std::get<std::exception_ptr>(step));
            }
        }
    } catch (const CancellationError&) {
        generation->sawCancellation = true;
        generation->ended = true;
        if (!generation->answerDespiteCancellation)
            throw;
    }
    co_return *generation->answerDespiteCancellation;
}

Task<ProviderReadiness> ScriptedProvider::readiness(ProviderKind provider, ProviderConfiguration)
{
    calls << QStringLiteral("readiness(%1)").arg(wireName(provider));
    if (holdReadiness) {
        auto pending = std::make_shared<Completion<ProviderReadiness>>();
        pendingReadiness[provider] = pending;
        co_return co_await pending->wait();
    }
    co_return readinessAnswers.count(provider)
        ? readinessAnswers[provider]
        : ProviderReadiness { ProviderReadiness::State::ready, QStringLiteral("ok"), {} };
}

} // namespace brindlet::test
