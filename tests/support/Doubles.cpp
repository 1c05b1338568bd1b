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

Task<void> RecordingAnalytics::record(AnalyticsEventType type, AnalyticsDimensions dimensions)
{
    // The closed vocabulary: no event may carry any other word, and never any text of the user's.
    static const std::pair<std::optional<QString> AnalyticsDimensions::*, QStringList> vocabulary[] = {
        { &AnalyticsDimensions::provider, { u"ollama"_qs, u"claude"_qs, u"codex"_qs, u"cursor"_qs, u"gemini"_qs } },
        { &AnalyticsDimensions::action,
            { u"custom"_qs, u"new_content"_qs, u"preset"_qs, u"fix_writing"_qs, u"rewrite"_qs, u"summarize"_qs,
                u"explain"_qs, u"translate"_qs, u"unknown"_qs } },
        { &AnalyticsDimensions::trigger,
            { u"selection_bubble"_qs, u"global_hotkey"_qs, u"menu_bar"_qs, u"workspace_toolbar"_qs, u"workspace"_qs } },
        { &AnalyticsDimensions::surface, { u"quick_hud"_qs, u"workspace"_qs, u"quick_fix"_qs, u"onboarding"_qs } },
        { &AnalyticsDimensions::delivery, { u"smart"_qs, u"replace"_qs, u"insert"_qs, u"copy"_qs } },
        { &AnalyticsDimensions::outcome,
            { u"success"_qs, u"cancelled"_qs, u"replaced"_qs, u"inserted"_qs, u"copied"_qs, u"unchanged"_qs,
                u"rejected"_qs, u"validation"_qs, u"provider_unavailable"_qs, u"provider_error"_qs, u"timeout"_qs,
                u"stale_target"_qs, u"unknown"_qs } },
        { &AnalyticsDimensions::durationBucket,
            { u"lt1s"_qs, u"1to3s"_qs, u"3to10s"_qs, u"10to30s"_qs, u"30splus"_qs } },
    };
    for (const auto& [member, words] : vocabulary) {
        if (const auto& word = dimensions.*member; word && !words.contains(*word))
            outOfVocabulary << wireName(type) + u": "_qs + *word;
    }
    events.push_back({ type, std::move(dimensions) });
    return finishedTask();
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
