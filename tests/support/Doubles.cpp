#include "Doubles.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

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

namespace {

using DimensionMember = std::optional<QString> AnalyticsDimensions::*;
const std::pair<const char*, DimensionMember> dimensionNames[] = { { "provider", &AnalyticsDimensions::provider },
    { "action", &AnalyticsDimensions::action }, { "trigger", &AnalyticsDimensions::trigger },
    { "surface", &AnalyticsDimensions::surface }, { "delivery", &AnalyticsDimensions::delivery },
    { "outcome", &AnalyticsDimensions::outcome }, { "durationBucket", &AnalyticsDimensions::durationBucket } };

// The closed vocabulary of each dimension.
const QStringList& vocabulary(DimensionMember member)
{
    static const std::pair<DimensionMember, QStringList> words[] = {
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
    for (const auto& [candidate, list] : words) {
        if (candidate == member)
            return list;
    }
    Q_UNREACHABLE();
}

const AnalyticsAppIdentity testIdentity { u"1.0.0"_qs, u"1"_qs, u"12"_qs, u"x86_64"_qs };

} // namespace

class RecordingAnalytics::KeepingTransport final : public AnalyticsTransporting {
public:
    QList<QByteArray> bodies;
    Task<void> send(QList<AnalyticsEventRequest> requests) override
    {
        bodies << encodeAnalyticsBody(requests);
        return finishedTask();
    }
};

RecordingAnalytics::RecordingAnalytics()
{
    auto transport = std::make_unique<KeepingTransport>();
    transport_ = transport.get();
    client_ = std::make_unique<AnalyticsClient>(defaults_, std::move(transport), testIdentity);
    spawn(client_->start(true));
}

RecordingAnalytics::~RecordingAnalytics() = default;

Task<void> RecordingAnalytics::start(bool enabled)
{
    starts.push_back(enabled);
    return client_->setEnabled(enabled);
}

Task<void> RecordingAnalytics::setEnabled(bool value)
{
    enabledChanges.push_back(value);
    return client_->setEnabled(value);
}

Task<void> RecordingAnalytics::record(AnalyticsEventType type, AnalyticsDimensions dimensions)
{
    for (const auto& [name, member] : dimensionNames) {
        if (const auto& word = dimensions.*member; word && !vocabulary(member).contains(*word))
            outOfVocabulary << wireName(type) + u": "_qs + *word;
    }
    events.push_back({ type, dimensions });
    return client_->record(type, std::move(dimensions));
}

QStringList RecordingAnalytics::foreignWireStrings() const
{
    static const QRegularExpression uuid(u"^[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}$"_qs);
    static const QRegularExpression time(u"^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3}Z$"_qs);
    const std::pair<const char*, QString> fixed[]
        = { { "appVersion", testIdentity.version }, { "appBuild", testIdentity.build }, { "platform", u"linux"_qs },
              { "osMajor", testIdentity.osMajor }, { "architecture", testIdentity.architecture } };
    QStringList foreign;
    for (const QByteArray& body : transport_->bodies) {
        const QJsonObject envelope = QJsonDocument::fromJson(body).object();
        if (envelope.keys() != QStringList { u"events"_qs })
            foreign << QString::fromUtf8(body);
        for (const QJsonValue& value : envelope.value(u"events").toArray()) {
            QJsonObject event = value.toObject();
            for (const char* key : { "eventId", "installId", "sessionId" }) {
                if (!uuid.match(event.take(QLatin1String(key)).toString()).hasMatch())
                    foreign << QString::fromLatin1(key);
            }
            if (!analyticsEventType(event.take(u"eventType").toString()))
                foreign << u"eventType"_qs;
            if (!time.match(event.take(u"occurredAt").toString()).hasMatch())
                foreign << u"occurredAt"_qs;
            for (const auto& [key, expected] : fixed) {
                if (event.take(QLatin1String(key)).toString() != expected)
                    foreign << QString::fromLatin1(key);
            }
            QJsonObject dimensions = event.take(u"dimensions").toObject();
            for (const auto& [name, member] : dimensionNames) {
                const QJsonValue word = dimensions.take(QLatin1String(name));
                if (!word.isUndefined() && !vocabulary(member).contains(word.toString()))
                    foreign << word.toString();
            }
            for (const QString& key : event.keys() + dimensions.keys())
                foreign << key;
        }
    }
    return foreign;
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
