#pragma once

// What the QML surfaces read: the model's state in plain strings and flags, since QML cannot
// read its optional and struct properties, and its operations in the forms the controls call.

#include "core/AppModel.h"

namespace brindlet {

class SessionView : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString phase READ phase NOTIFY changed)
    Q_PROPERTY(QString sourceTitle READ sourceTitle NOTIFY changed)
    Q_PROPERTY(QString sourcePreview READ sourcePreview NOTIFY changed)
    Q_PROPERTY(QString instructionPlaceholder READ instructionPlaceholder NOTIFY changed)
    Q_PROPERTY(QString instruction READ instruction WRITE setInstruction NOTIFY changed)
    Q_PROPERTY(QString generationPreview READ generationPreview NOTIFY changed)
    Q_PROPERTY(QString result READ result WRITE setResult NOTIFY changed)
    Q_PROPERTY(bool isGenerating READ isGenerating NOTIFY changed)
    Q_PROPERTY(bool hasResult READ hasResult NOTIFY changed)
    Q_PROPERTY(QString statusText READ statusText NOTIFY changed)
    Q_PROPERTY(QString deliveryLabel READ deliveryLabel NOTIFY changed)
    // The application the result belongs to, if it is known.
    Q_PROPERTY(QString attachedTo READ attachedTo NOTIFY changed)
    Q_PROPERTY(QString providerName READ providerName NOTIFY changed)
    Q_PROPERTY(bool isDelivering READ isDelivering NOTIFY changed)
    // The provider list: for each provider its name, subtitle and whether it is the current one.
    Q_PROPERTY(QVariantList providers READ providers NOTIFY changed)
    Q_PROPERTY(bool isOllama READ isOllama NOTIFY changed)
    Q_PROPERTY(QStringList ollamaModels READ ollamaModels NOTIFY changed)
    Q_PROPERTY(QString ollamaModel READ ollamaModel NOTIFY changed)
    Q_PROPERTY(bool isRefreshingOllamaModels READ isRefreshingOllamaModels NOTIFY changed)
    // The selected text and its detail view.
    Q_PROPERTY(bool hasSourceText READ hasSourceText NOTIFY changed)
    Q_PROPERTY(bool isSourceEdited READ isSourceEdited NOTIFY changed)
    Q_PROPERTY(QString sourceText READ sourceText WRITE setSourceText NOTIFY changed)
    Q_PROPERTY(bool isEditingSource READ isEditingSource NOTIFY changed)
    Q_PROPERTY(bool isSourceReadOnly READ isSourceReadOnly NOTIFY changed)
    Q_PROPERTY(QString capturedFrom READ capturedFrom NOTIFY changed)
    Q_PROPERTY(QString sourceCounts READ sourceCounts NOTIFY changed)
    // The workspace's own words for the source and the instruction.
    Q_PROPERTY(bool hasSnapshot READ hasSnapshot NOTIFY changed)
    Q_PROPERTY(QString workspaceSourceTitle READ workspaceSourceTitle NOTIFY changed)
    Q_PROPERTY(QString workspaceSourceText READ workspaceSourceText NOTIFY changed)
    Q_PROPERTY(QString workspacePlaceholder READ workspacePlaceholder NOTIFY changed)
    Q_PROPERTY(bool statusIsSuccess READ statusIsSuccess NOTIFY changed)
    Q_PROPERTY(bool accessibilityGranted READ accessibilityGranted NOTIFY changed)
    // Presets, each as { id, name, custom, selected }: the HUD's chips and its library, the
    // workspace's grid under its own search, and the HUD editor's two fields.
    Q_PROPERTY(QVariantList primaryPresets READ primaryPresets NOTIFY changed)
    Q_PROPERTY(QVariantList libraryPresets READ libraryPresets NOTIFY changed)
    Q_PROPERTY(QString presetSearch READ presetSearch WRITE setPresetSearch NOTIFY changed)
    Q_PROPERTY(QVariantList workspacePresets READ workspacePresets NOTIFY changed)
    Q_PROPERTY(QString workspacePresetSearch READ workspacePresetSearch WRITE setWorkspacePresetSearch NOTIFY changed)
    Q_PROPERTY(QString quickPresetName READ quickPresetName WRITE setQuickPresetName NOTIFY changed)
    Q_PROPERTY(
        QString quickPresetInstruction READ quickPresetInstruction WRITE setQuickPresetInstruction NOTIFY changed)

public:
    explicit SessionView(AppModel& model, QObject* parent = nullptr);

    QString phase() const;
    QString sourceTitle() const;
    QString sourcePreview() const;
    QString instructionPlaceholder() const;
    QString instruction() const { return model_.instruction(); }
    void setInstruction(const QString& value) { model_.setInstruction(value); }
    QString generationPreview() const { return model_.generationPreview(); }
    QString result() const { return model_.result(); }
    void setResult(const QString& value) { model_.setResult(value); }
    bool isGenerating() const { return model_.isGenerating(); }
    bool hasResult() const { return model_.hasResult(); }
    QString statusText() const { return model_.statusText(); }
    QString deliveryLabel() const { return model_.deliveryLabel(); }
    QString attachedTo() const;
    QString providerName() const { return model_.providerLabel(); }
    bool isDelivering() const { return model_.isDelivering(); }
    QVariantList providers() const;
    bool isOllama() const { return model_.provider() == ProviderKind::ollama; }
    QStringList ollamaModels() const { return model_.ollamaModels(); }
    QString ollamaModel() const;
    bool isRefreshingOllamaModels() const { return model_.isRefreshingOllamaModels(); }
    bool hasSourceText() const { return model_.snapshot() && model_.snapshot()->hasText(); }
    bool isSourceEdited() const { return model_.isSourceEdited(); }
    QString sourceText() const { return model_.workingSourceText(); }
    void setSourceText(const QString& value) { model_.setWorkingSourceText(value); }
    bool isEditingSource() const { return model_.sourceDetailMode() == QuickHUDSourceMode::edit; }
    // Opened from a result, the source can only be read.
    bool isSourceReadOnly() const { return openedFromReview_; }
    QString capturedFrom() const;
    QString sourceCounts() const;
    bool hasSnapshot() const { return model_.snapshot().has_value(); }
    QString workspaceSourceTitle() const;
    QString workspaceSourceText() const;
    QString workspacePlaceholder() const;
    bool statusIsSuccess() const;
    bool accessibilityGranted() const { return model_.accessibilityGranted(); }
    QVariantList primaryPresets() const { return rows(model_.primaryPresets()); }
    QVariantList libraryPresets() const { return rows(model_.visiblePresets()); }
    QString presetSearch() const { return model_.presetSearchQuery(); }
    void setPresetSearch(const QString& value) { model_.setPresetSearchQuery(value); }
    QVariantList workspacePresets() const;
    QString workspacePresetSearch() const { return workspacePresetSearch_; }
    void setWorkspacePresetSearch(const QString& value);
    QString quickPresetName() const { return model_.quickPresetName(); }
    void setQuickPresetName(const QString& value) { model_.setQuickPresetName(value); }
    QString quickPresetInstruction() const { return model_.quickPresetInstruction(); }
    void setQuickPresetInstruction(const QString& value) { model_.setQuickPresetInstruction(value); }

    Q_INVOKABLE void generate() { model_.generate(); }
    Q_INVOKABLE void close();
    Q_INVOKABLE void cancel() { model_.userCancelGeneration(); }
    // The prominent button of review: deliver, or copy when that is the resolved delivery.
    Q_INVOKABLE void usePrimary();
    Q_INVOKABLE void copy() { model_.copyResult(); }
    Q_INVOKABLE void regenerate() { model_.regenerate(); }
    Q_INVOKABLE void back() { model_.returnToCompose(); }
    Q_INVOKABLE void reviewRetainedResult() { model_.reviewRetainedResult(); }
    Q_INVOKABLE void discardResult() { model_.discardResult(); }
    Q_INVOKABLE void toggleProviderPicker() { model_.toggleProviderPicker(); }
    Q_INVOKABLE void selectProvider(int index);
    Q_INVOKABLE void selectOllamaModel(const QString& name) { model_.selectOllamaModel(name, true, true); }
    Q_INVOKABLE void refreshOllamaModels() { model_.refreshOllamaModels(); }
    Q_INVOKABLE void pressBubble() { model_.selectionBubblePressed(); }
    Q_INVOKABLE void openSourceDetail(bool editing);
    Q_INVOKABLE void closeSourceDetail() { model_.closeSourceDetail(); }
    Q_INVOKABLE void revertSource() { model_.revertSourceEdits(); }
    Q_INVOKABLE void clearSession() { model_.clearSession(); }
    Q_INVOKABLE void openWorkspace() { model_.openWorkspace(); }
    // Presets by their id; `inHUD` chooses the HUD's way, which also leaves the library.
    Q_INVOKABLE void choosePreset(const QString& id, bool inHUD);
    Q_INVOKABLE void toggleMoreActions() { model_.toggleMoreActions(); }
    Q_INVOKABLE void openQuickPresetEditor() { model_.openQuickPresetEditor(); }
    Q_INVOKABLE void cancelQuickPresetEditor() { model_.cancelQuickPresetEditor(); }
    Q_INVOKABLE void saveQuickPreset() { model_.saveQuickPreset(); }
    Q_INVOKABLE void openPresetSettings() { model_.openPresetSettings(); }
    Q_INVOKABLE void openSettings() { model_.openSettingsWindow(); }
    // The workspace editor's save; input and delivery are indexes into their lists.
    Q_INVOKABLE bool createPreset(const QString& name, const QString& instruction, int input, int delivery);
    Q_INVOKABLE void requestAccessibility() { model_.requestAccessibilityPermission(); }
    Q_INVOKABLE void openQuickCommand() { model_.presentQuickHUD(QuickHUDTrigger::workspaceToolbar); }
    // "Close Brindlet Windows": puts the application away and never quits it.
    Q_INVOKABLE void closeWindows();

signals:
    void changed();
    void windowsCloseRequested();

private:
    QVariantList rows(const QList<Preset>& presets) const;

    AppModel& model_;
    bool openedFromReview_ = false;
    QString workspacePresetSearch_;
};

} // namespace brindlet
