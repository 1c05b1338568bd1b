#include "QuickHUDPanel.h"

#include <QGuiApplication>
#include <QMetaEnum>
#include <QQmlContext>
#include <QScreen>

namespace brindlet {

namespace {
constexpr int gap = 8;

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
    for (const char* signal : { SIGNAL(quickHUDPhaseChanged()), SIGNAL(snapshotChanged()),
             SIGNAL(workingSourceTextChanged()), SIGNAL(instructionChanged()), SIGNAL(generationPreviewChanged()),
             SIGNAL(resultChanged()), SIGNAL(statusMessageChanged()), SIGNAL(resultContextChanged()),
             SIGNAL(isDeliveringChanged()), SIGNAL(providerChanged()), SIGNAL(selectedPresetIDChanged()) })
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
    view_.setFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
    view_.setTitle(QStringLiteral("Brindlet quick actions"));
    view_.setResizeMode(QQuickView::SizeViewToRootObject);
    view_.rootContext()->setContextProperty(QStringLiteral("hud"), &hudView_);
    view_.setSource(QUrl(QStringLiteral("qrc:/brindlet/qml/QuickHUD.qml")));
}

QPoint panelPosition(const std::optional<Rect>& selection, const QSize& panel, const QRect& screen)
{
    if (!selection)
        return { screen.x() + (screen.width() - panel.width()) / 2,
            screen.y() + screen.height() / 3 - panel.height() / 2 };
    int x = int(selection->x);
    int y = int(selection->y + selection->height) + gap;
    if (y + panel.height() > screen.bottom())
        y = int(selection->y) - gap - panel.height();
    x = std::clamp(x, screen.left(), std::max(screen.left(), screen.right() - panel.width()));
    y = std::clamp(y, screen.top(), std::max(screen.top(), screen.bottom() - panel.height()));
    return { x, y };
}

void QuickHUDPanel::showQuickHUD(std::optional<Rect> bounds, std::optional<std::int32_t>)
{
    QScreen* screen = QGuiApplication::primaryScreen();
    if (bounds) {
        if (QScreen* holding = QGuiApplication::screenAt(QPoint(int(bounds->x), int(bounds->y))))
            screen = holding;
    }
    view_.setPosition(panelPosition(bounds, view_.size(), screen->geometry()));
    quickHUDPhaseDidChange(model_.quickHUDPhase());
    view_.show();
    if (takesKeyboard(model_.quickHUDPhase()))
        view_.requestActivate();
}

void QuickHUDPanel::quickHUDPhaseDidChange(QuickHUDPhase phase)
{
    view_.setFlag(Qt::WindowDoesNotAcceptFocus, !takesKeyboard(phase));
}

void QuickHUDPanel::hideQuickHUD()
{
    view_.hide();
}

void QuickHUDPanel::showSelectionBubble(std::optional<Rect>)
{
    // The bubble is not drawn yet; the shortcuts open the HUD.
}

void QuickHUDPanel::hideSelectionBubble() { }

void QuickHUDPanel::closeApplicationWindows()
{
    view_.hide();
}

void QuickHUDPanel::bringWorkspaceForward()
{
    // There is no workspace window yet.
}

void QuickHUDPanel::resignKeyboard()
{
    // The panel stays on screen; the source application takes the focus when it is activated.
    view_.setFlag(Qt::WindowDoesNotAcceptFocus, true);
}

} // namespace brindlet
