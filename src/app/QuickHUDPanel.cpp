#include "QuickHUDPanel.h"

#include <QCursor>
#include <QGuiApplication>
#include <QMetaEnum>
#include <QQmlContext>
#include <QRegularExpression>
#include <QScreen>

namespace brindlet {

namespace {
bool takesKeyboard(QuickHUDPhase phase)
{
    // Quick Fix runs over the user's document: its panel only reports.
    return phase != QuickHUDPhase::quickFixGenerating && phase != QuickHUDPhase::quickFixStatus
        && phase != QuickHUDPhase::confirmation && phase != QuickHUDPhase::bubble;
}
} // namespace

QuickHUDView::QuickHUDView(AppModel& model, QObject* parent)
    : QObject(parent)
    , model_(model)
{
    for (const char* signal :
        { SIGNAL(quickHUDPhaseChanged()), SIGNAL(snapshotChanged()), SIGNAL(workingSourceTextChanged()),
            SIGNAL(instructionChanged()), SIGNAL(generationPreviewChanged()), SIGNAL(resultChanged()),
            SIGNAL(statusMessageChanged()), SIGNAL(resultContextChanged()), SIGNAL(isDeliveringChanged()),
            SIGNAL(providerChanged()), SIGNAL(selectedPresetIDChanged()), SIGNAL(providerReadinessChanged()),
            SIGNAL(isRefreshingOllamaModelsChanged()), SIGNAL(sourceDetailModeChanged()) })
        connect(&model_, signal, this, SIGNAL(changed()));
}

QString QuickHUDView::phase() const
{
    return QString::fromLatin1(QMetaEnum::fromType<QuickHUDPhase>().valueToKey(int(model_.quickHUDPhase())));
}

QString QuickHUDView::sourceTitle() const
{
    const auto& snapshot = model_.snapshot();
    if (snapshot && snapshot->hasText() && !snapshot->appName.isEmpty())
        return QStringLiteral("Selected in ") + snapshot->appName;
    if (snapshot && !snapshot->appName.isEmpty())
        return QStringLiteral("Cursor in ") + snapshot->appName;
    return QStringLiteral("New content");
}

QString QuickHUDView::sourcePreview() const
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

QString QuickHUDView::instructionPlaceholder() const
{
    const auto preset = model_.selectedPreset();
    if (preset && preset->isBuiltIn && preset->name == u"Translate")
        return QStringLiteral("Translate into which language?");
    if (model_.snapshot() && model_.snapshot()->hasText())
        return QStringLiteral("Tell Brindlet what to do with this text…");
    return QStringLiteral("What would you like to write?");
}

QVariantList QuickHUDView::providers() const
{
    static const std::pair<ProviderKind, const char*> subtitles[] = {
        { ProviderKind::ollama, "Uses your configured Ollama-compatible server" },
        { ProviderKind::claude, "Uses your Claude login" },
        { ProviderKind::codex, "Uses your Codex login" },
        { ProviderKind::cursor, "Uses your Cursor login" },
        { ProviderKind::gemini, "Uses your Google sign-in from Gemini CLI" },
    };
    QVariantList rows;
    for (const auto& [kind, subtitle] : subtitles) {
        rows.append(QVariantMap { { QStringLiteral("name"), displayName(kind) },
            { QStringLiteral("subtitle"), QString::fromUtf8(subtitle) },
            { QStringLiteral("current"), kind == model_.provider() } });
    }
    return rows;
}

QString QuickHUDView::capturedFrom() const
{
    const auto& snapshot = model_.snapshot();
    return snapshot && !snapshot->appName.isEmpty() ? QStringLiteral("Captured from ") + snapshot->appName : QString();
}

QString QuickHUDView::sourceCounts() const
{
    const QString text = model_.workingSourceText();
    const qsizetype words = text.split(QRegularExpression(QStringLiteral("\\s+")), Qt::SkipEmptyParts).size();
    return QStringLiteral("%1 words · %2 characters").arg(words).arg(text.size());
}

void QuickHUDView::openSourceDetail(bool editing)
{
    openedFromReview_ = model_.quickHUDPhase() == QuickHUDPhase::review;
    model_.openSourceDetail(editing);
    emit changed();
}

void QuickHUDView::selectProvider(int index)
{
    if (index >= 0 && index < int(allProviderKinds.size()))
        model_.selectProvider(allProviderKinds[std::size_t(index)]);
}

QString QuickHUDView::attachedTo() const
{
    const auto& context = model_.resultContext();
    return context && context->appName ? QStringLiteral("Attached to ") + *context->appName : QString();
}

void QuickHUDView::close()
{
    model_.dismissQuickHUD();
}

void QuickHUDView::usePrimary()
{
    if (model_.deliveryLabel() == u"Copy")
        model_.copyResult();
    else
        model_.deliver();
}

QuickHUDPanel::QuickHUDPanel(AppModel& model)
    : model_(model)
    , hudView_(model)
{
}

QQuickView& QuickHUDPanel::view()
{
    // Made at first need and then kept: an idle program carries no QML scene.
    if (!view_) {
        view_ = std::make_unique<QQuickView>();
        view_->setFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
        view_->setTitle(QStringLiteral("Brindlet quick actions"));
        view_->setResizeMode(QQuickView::SizeRootObjectToView);
        view_->rootContext()->setContextProperty(QStringLiteral("hud"), &hudView_);
        view_->setSource(QUrl(QStringLiteral("qrc:/brindlet/qml/QuickHUD.qml")));
    }
    return *view_;
}

namespace {

// The one seam between Qt's coordinates and the design's two spaces. On X11, Qt's global
// coordinates are the accessibility space (the root window, origin top left); the window space
// has its origin at the bottom left of the primary screen. The flip is its own inverse.
double flipLine()
{
    const QRect primary = QGuiApplication::primaryScreen()->geometry();
    return primary.y() + primary.height();
}

QRectF flipped(const QRectF& rectangle)
{
    return QRectF(
        rectangle.x(), flipLine() - (rectangle.y() + rectangle.height()), rectangle.width(), rectangle.height());
}

QuickHUDAnchor anchorFor(const std::optional<Rect>& bounds)
{
    std::vector<DisplayGeometry> displays;
    QList<QRectF> visibleFrames;
    for (const QScreen* screen : QGuiApplication::screens()) {
        displays.push_back({ QRectF(screen->geometry()), flipped(QRectF(screen->geometry())) });
        visibleFrames.append(flipped(QRectF(screen->availableGeometry())));
    }
    const QPoint pointer = QCursor::pos();
    return resolveAnchor(bounds, displays, visibleFrames, QPointF(pointer.x(), flipLine() - pointer.y()));
}

} // namespace

void QuickHUDPanel::layOut(QuickHUDPhase phase)
{
    if (!anchor_)
        anchor_ = anchorFor(std::nullopt);
    const QSizeF size = panelSize(phase, model_.hasResult(), model_.result().size());
    view().setGeometry(flipped(frameForPhase(phase, size, *anchor_, stable_)).toRect());
}

void QuickHUDPanel::showQuickHUD(std::optional<Rect> bounds, std::optional<std::int32_t>)
{
    anchor_ = anchorFor(bounds);
    stable_.reset();
    layOut(model_.quickHUDPhase());
    quickHUDPhaseDidChange(model_.quickHUDPhase());
    view().show();
    if (takesKeyboard(model_.quickHUDPhase()))
        view().requestActivate();
}

void QuickHUDPanel::quickHUDPhaseDidChange(QuickHUDPhase phase)
{
    if (!view_)
        return;
    view_->setFlag(Qt::WindowDoesNotAcceptFocus, !takesKeyboard(phase));
    if (view_->isVisible())
        layOut(phase);
}

void QuickHUDPanel::hideQuickHUD()
{
    if (view_)
        view_->hide();
    anchor_.reset();
    stable_.reset();
}

void QuickHUDPanel::showSelectionBubble(std::optional<Rect> bounds)
{
    anchor_ = anchorFor(bounds);
    stable_.reset();
    layOut(QuickHUDPhase::bubble);
    quickHUDPhaseDidChange(QuickHUDPhase::bubble);
    view().show(); // beside the selection, never taking the keyboard from it
}

void QuickHUDPanel::hideSelectionBubble()
{
    if (view_ && model_.quickHUDPhase() == QuickHUDPhase::bubble)
        view_->hide();
}

void QuickHUDPanel::closeApplicationWindows()
{
    if (view_)
        view_->hide();
}

void QuickHUDPanel::bringWorkspaceForward()
{
    // There is no workspace window yet.
}

void QuickHUDPanel::resignKeyboard()
{
    // The panel stays on screen; the source application takes the focus when it is activated.
    if (view_)
        view_->setFlag(Qt::WindowDoesNotAcceptFocus, true);
}

} // namespace brindlet
