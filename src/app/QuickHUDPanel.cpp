#include "QuickHUDPanel.h"

#include "SettingsWindow.h"
#include "WorkspaceWindow.h"

#include <QCursor>
#include <QGuiApplication>
#include <QQmlContext>
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

QuickHUDPanel::QuickHUDPanel(
    AppModel& model, SessionView& session, WorkspaceWindow& workspace, SettingsWindow& settings)
    : model_(model)
    , session_(session)
    , workspace_(workspace)
    , settings_(settings)
{
    const auto watchDisplay = [this](QScreen* screen) {
        QObject::connect(screen, &QScreen::geometryChanged, &displayWatch_, [this] { dismissIfOpen(); });
    };
    for (QScreen* screen : QGuiApplication::screens())
        watchDisplay(screen);
    QObject::connect(qApp, &QGuiApplication::screenAdded, &displayWatch_, [this, watchDisplay](QScreen* screen) {
        watchDisplay(screen);
        dismissIfOpen();
    });
    QObject::connect(qApp, &QGuiApplication::screenRemoved, &displayWatch_, [this] { dismissIfOpen(); });
}

void QuickHUDPanel::dismissIfOpen()
{
    if (model_.quickHUDPhase() != QuickHUDPhase::bubble)
        model_.dismissQuickHUD();
}

void QuickHUDPanel::watchClicks(QuickHUDPhase phase)
{
    if (phase == QuickHUDPhase::bubble || !view_ || !view_->isVisible()) {
        clicks_.stop();
        return;
    }
    clicks_.start(X11InputMonitor::Kind::click, [this](const X11InputMonitor::Press& click) {
        if (view_ && isOutsideClick(QRectF(view_->geometry()), QPointF(click.pointer)))
            dismissIfOpen();
    });
}

QQuickView& QuickHUDPanel::view()
{
    // Made at first need and then kept: an idle program carries no QML scene.
    if (!view_) {
        view_ = std::make_unique<QQuickView>();
        view_->setFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
        view_->setTitle(QStringLiteral("Brindlet quick actions"));
        view_->setResizeMode(QQuickView::SizeRootObjectToView);
        view_->rootContext()->setContextProperty(QStringLiteral("session"), &session_);
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

void QuickHUDPanel::showQuickHUD(std::optional<Rect> bounds, std::optional<std::int32_t> processID)
{
    anchor_ = anchorFor(bounds);
    stable_.reset();
    layOut(model_.quickHUDPhase());
    quickHUDPhaseDidChange(model_.quickHUDPhase());
    view().show();
    watchClicks(model_.quickHUDPhase());
    if (processID)
        sourceExit_.watch(*processID, [this] { dismissIfOpen(); });
    else
        sourceExit_.stop();
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
    watchClicks(phase);
}

void QuickHUDPanel::hideQuickHUD()
{
    if (view_)
        view_->hide();
    anchor_.reset();
    stable_.reset();
    clicks_.stop();
    sourceExit_.stop();
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
    workspace_.close();
    settings_.close();
}

void QuickHUDPanel::bringWorkspaceForward()
{
    workspace_.bringForward();
}

void QuickHUDPanel::resignKeyboard()
{
    // The panel stays on screen; the source application takes the focus when it is activated.
    if (view_)
        view_->setFlag(Qt::WindowDoesNotAcceptFocus, true);
}

} // namespace brindlet
