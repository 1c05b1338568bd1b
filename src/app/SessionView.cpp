#include "SessionView.h"

#include "core/PresetLists.h"
#include "settings/SettingsStore.h"

#include <QMetaEnum>
#include <QRegularExpression>

namespace brindlet {

SessionView::SessionView(AppModel& model, QObject* parent)
    : QObject(parent)
    , model_(model)
{
    for (const char* signal :
        { SIGNAL(quickHUDPhaseChanged()), SIGNAL(snapshotChanged()), SIGNAL(workingSourceTextChanged()),
            SIGNAL(instructionChanged()), SIGNAL(generationPreviewChanged()), SIGNAL(resultChanged()),
            SIGNAL(statusMessageChanged()), SIGNAL(resultContextChanged()), SIGNAL(isDeliveringChanged()),
            SIGNAL(providerChanged()), SIGNAL(selectedPresetIDChanged()), SIGNAL(providerReadinessChanged()),
            SIGNAL(isRefreshingOllamaModelsChanged()), SIGNAL(sourceDetailModeChanged()), SIGNAL(isGeneratingChanged()),
            SIGNAL(accessibilityGrantedChanged()), SIGNAL(presetSearchQueryChanged()), SIGNAL(quickPresetNameChanged()),
            SIGNAL(quickPresetInstructionChanged()) })
        connect(&model_, signal, this, SIGNAL(changed()));
    connect(&model_.settings(), SIGNAL(ollamaModelChanged()), this, SIGNAL(changed()));
    connect(&model_.settings(), SIGNAL(customPresetsChanged()), this, SIGNAL(changed()));
}

QString SessionView::phase() const
{
    return QString::fromLatin1(QMetaEnum::fromType<QuickHUDPhase>().valueToKey(int(model_.quickHUDPhase())));
}

QString SessionView::sourceTitle() const
{
    const auto& snapshot = model_.snapshot();
    if (snapshot && snapshot->hasText() && !snapshot->appName.isEmpty())
        return QStringLiteral("Selected in ") + snapshot->appName;
    if (snapshot && !snapshot->appName.isEmpty())
        return QStringLiteral("Cursor in ") + snapshot->appName;
    return QStringLiteral("New content");
}

QString SessionView::sourcePreview() const
{
    const auto& snapshot = model_.snapshot();
    if (snapshot && snapshot->hasText()) {
        const QString text = model_.workingSourceText().trimmed().replace(QLatin1Char('\n'), QLatin1Char(' '));
        return text.isEmpty() ? QStringLiteral("No working text. Edit or revert the captured selection.") : text;
    }
    if (snapshot)
        return QStringLiteral("The result can be inserted at the saved cursor.");
    return QStringLiteral("Describe anything you want Brindlet to write.");
}

QString SessionView::instructionPlaceholder() const
{
    const auto preset = model_.selectedPreset();
    if (preset && preset->isBuiltIn && preset->name == u"Translate")
        return QStringLiteral("Translate into which language?");
    if (model_.snapshot() && model_.snapshot()->hasText())
        return QStringLiteral("Tell Brindlet what to do with this text…");
    return QStringLiteral("What would you like to write?");
}

QVariantList SessionView::providers() const
{
    QVariantList rows;
    for (const ProviderKind kind : allProviderKinds) {
        rows.append(QVariantMap { { QStringLiteral("name"), displayName(kind) },
            { QStringLiteral("subtitle"), subtitle(kind) }, { QStringLiteral("current"), kind == model_.provider() } });
    }
    return rows;
}

QString SessionView::capturedFrom() const
{
    const auto& snapshot = model_.snapshot();
    return snapshot && !snapshot->appName.isEmpty() ? QStringLiteral("Captured from ") + snapshot->appName : QString();
}

QString SessionView::sourceCounts() const
{
    const QString text = model_.workingSourceText();
    const qsizetype words = text.split(QRegularExpression(QStringLiteral("\\s+")), Qt::SkipEmptyParts).size();
    return QStringLiteral("%1 words · %2 characters").arg(words).arg(text.size());
}

void SessionView::openSourceDetail(bool editing)
{
    openedFromReview_ = model_.quickHUDPhase() == QuickHUDPhase::review;
    model_.openSourceDetail(editing);
    emit changed();
}

void SessionView::selectProvider(int index)
{
    if (index >= 0 && index < int(allProviderKinds.size()))
        model_.selectProvider(allProviderKinds[std::size_t(index)]);
}

QString SessionView::attachedTo() const
{
    const auto& context = model_.resultContext();
    return context && context->appName ? *context->appName : QString();
}

QString SessionView::ollamaModel() const
{
    return model_.settings().ollamaModel();
}

QString SessionView::workspaceSourceTitle() const
{
    const auto& snapshot = model_.snapshot();
    if (!snapshot)
        return QStringLiteral("New content");
    return snapshot->hasText() ? QStringLiteral("Selected text") : QStringLiteral("Ready at cursor");
}

QString SessionView::workspaceSourceText() const
{
    const auto& snapshot = model_.snapshot();
    if (!snapshot)
        return QStringLiteral("Describe what you want. The result can be copied when it is ready.");
    return snapshot->hasText() ? *snapshot->text : QStringLiteral("The result can be inserted at the saved cursor.");
}

QString SessionView::workspacePlaceholder() const
{
    const auto preset = model_.selectedPreset();
    if (preset && preset->isBuiltIn && preset->name == u"Translate")
        return QStringLiteral("Which language should Brindlet translate this into?");
    if (model_.snapshot() && model_.snapshot()->hasText())
        return QStringLiteral("What should Brindlet do with this text?");
    return QStringLiteral("What would you like to write?");
}

bool SessionView::statusIsSuccess() const
{
    const QString text = model_.statusText();
    return text.contains(u"copied", Qt::CaseInsensitive) || text.contains(u"replaced", Qt::CaseInsensitive);
}

QVariantList SessionView::rows(const QList<Preset>& presets) const
{
    QVariantList rows;
    for (const Preset& preset : presets) {
        rows.append(QVariantMap { { QStringLiteral("id"), preset.id.toString(QUuid::WithoutBraces) },
            { QStringLiteral("name"),
                preset.name.trimmed().isEmpty() ? QStringLiteral("Untitled Preset") : preset.name },
            { QStringLiteral("custom"), !preset.isBuiltIn },
            { QStringLiteral("selected"), model_.selectedPresetID() == preset.id } });
    }
    return rows;
}

QVariantList SessionView::workspacePresets() const
{
    return rows(matchingPresets(model_.availablePresets(), workspacePresetSearch_));
}

void SessionView::setWorkspacePresetSearch(const QString& value)
{
    workspacePresetSearch_ = value;
    emit changed();
}

void SessionView::choosePreset(const QString& id, bool inHUD)
{
    const QUuid wanted = QUuid::fromString(id);
    for (const Preset& preset : model_.allPresets()) {
        if (preset.id != wanted)
            continue;
        if (inHUD)
            model_.chooseHUDPreset(preset);
        else
            model_.choosePreset(preset);
        return;
    }
}

bool SessionView::createPreset(const QString& name, const QString& instruction, int input, int delivery)
{
    if (input < 0 || input >= int(allPresetInputs.size()) || delivery < 0
        || delivery >= int(allDeliveryPreferences.size()))
        return false;
    return model_
        .createPreset(
            name, instruction, allPresetInputs[std::size_t(input)], allDeliveryPreferences[std::size_t(delivery)])
        .has_value();
}

void SessionView::closeWindows()
{
    model_.dismissQuickHUD();
    emit windowsCloseRequested();
}

void SessionView::close()
{
    model_.dismissQuickHUD();
}

void SessionView::usePrimary()
{
    if (model_.deliveryLabel() == u"Copy")
        model_.copyResult();
    else
        model_.deliver();
}

} // namespace brindlet
