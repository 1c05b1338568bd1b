#include "HUDPlacement.h"

#include <algorithm>
#include <cmath>

namespace brindlet {

namespace {

constexpr double pointerTrustMargin = 72;
const QSizeF largestHUD { 448, 420 };

double minY(const QRectF& r)
{
    return r.y();
}
double maxY(const QRectF& r)
{
    return r.y() + r.height();
}

bool containsGrown(const QRectF& frame, QPointF point, double by)
{
    const QRectF grown = frame.adjusted(-by, -by, by, by);
    return point.x() >= grown.left() && point.x() <= grown.right() && point.y() >= minY(grown)
        && point.y() <= maxY(grown);
}

std::optional<QRectF> firstHolding(const QList<QRectF>& frames, QPointF point)
{
    for (const QRectF& frame : frames) {
        if (containsGrown(frame, point, 1))
            return frame;
    }
    return std::nullopt;
}

bool isBubbleSized(QSizeF size)
{
    return size.width() <= 50 && size.height() <= 50;
}

} // namespace

std::optional<QPointF> toWindowSpace(QPointF point, const std::vector<DisplayGeometry>& displays)
{
    const DisplayGeometry* display = nullptr;
    for (const DisplayGeometry& candidate : displays) {
        if (candidate.accessibilityFrame.contains(point)) {
            display = &candidate;
            break;
        }
    }
    for (const DisplayGeometry& candidate : displays) {
        if (!display && containsGrown(candidate.accessibilityFrame, point, 0))
            display = &candidate;
    }
    if (!display)
        return std::nullopt;
    return QPointF(display->windowFrame.x() + (point.x() - display->accessibilityFrame.x()),
        maxY(display->windowFrame) - (point.y() - display->accessibilityFrame.y()));
}

std::optional<QRectF> toWindowSpace(const Rect& rectangle, const std::vector<DisplayGeometry>& displays)
{
    if (!std::isfinite(rectangle.x) || !std::isfinite(rectangle.y) || !std::isfinite(rectangle.width)
        || !std::isfinite(rectangle.height))
        return std::nullopt;
    const auto a = toWindowSpace(QPointF(rectangle.x, rectangle.y), displays);
    const auto b = toWindowSpace(QPointF(rectangle.x + rectangle.width, rectangle.y + rectangle.height), displays);
    if (!a || !b)
        return std::nullopt;
    return QRectF(
        std::min(a->x(), b->x()), std::min(a->y(), b->y()), std::abs(a->x() - b->x()), std::abs(a->y() - b->y()));
}

std::optional<QRectF> visibleFrameFor(const QRectF& rectangle, const QList<QRectF>& visibleFrames)
{
    const QRectF* best = nullptr;
    double bestArea = 0;
    for (const QRectF& frame : visibleFrames) {
        const QRectF overlap = frame.intersected(rectangle);
        const double area = overlap.isValid() ? overlap.width() * overlap.height() : 0;
        if (area > bestArea) {
            bestArea = area;
            best = &frame;
        }
    }
    if (best)
        return *best;
    return firstHolding(visibleFrames, rectangle.center());
}

QuickHUDAnchor resolveAnchor(const std::optional<Rect>& accessibilityAnchor,
    const std::vector<DisplayGeometry>& displays, const QList<QRectF>& visibleFrames, QPointF pointer)
{
    const QRectF fallback = visibleFrames.isEmpty() ? QRectF(0, 0, 1024, 768) : visibleFrames.constFirst();
    QRectF pointerFrame = firstHolding(visibleFrames, pointer).value_or(fallback);
    const auto converted = accessibilityAnchor ? toWindowSpace(*accessibilityAnchor, displays) : std::nullopt;
    const auto visible = converted ? visibleFrameFor(*converted, visibleFrames) : std::nullopt;
    if (converted && visible) {
        const QRectF& r = *converted;
        const auto atPointer = firstHolding(visibleFrames, pointer);
        // The user works at the pointer: near the selection, it is more trustworthy than the
        // bounds an application reports.
        if (!(atPointer && containsGrown(r, pointer, pointerTrustMargin))) {
            const QRectF& v = *visible;
            const QRectF overlap = r.intersected(v);
            const QRectF s = overlap.isValid() && !overlap.isEmpty() ? overlap : r;
            const double x = std::clamp(s.right(), v.left(), v.right());
            const double y = std::clamp(minY(s) + std::min(10.0, s.height() / 2), minY(v), maxY(v));
            return { QRectF(x, minY(s), 0, s.height()), v, QPointF(x, y) };
        }
        pointerFrame = *atPointer;
    }
    return { QRectF(pointer, QSizeF(0, 0)), pointerFrame, pointer };
}

QPointF positionPanel(QSizeF size, const QuickHUDAnchor& anchor)
{
    const QRectF& v = anchor.visibleFrame;
    const double w = size.width(), h = size.height();
    double x = 0, y = 0;
    if (isBubbleSized(size)) {
        x = anchor.bubblePoint.x() + 8;
        if (x + w > v.right() - 12)
            x = anchor.bubblePoint.x() - w - 8;
        y = anchor.bubblePoint.y() - h / 2;
    } else {
        x = anchor.frame.right() - 40;
        y = minY(anchor.frame) - h - 10; // below the selection
        if (y < minY(v) + 12) {
            const double above = maxY(anchor.frame) + 10;
            if (above + h <= maxY(v) - 12)
                y = above;
        }
    }
    // When the panel cannot fit, the right and top limits win.
    x = std::max(x, v.left() + 12);
    x = std::min(x, v.right() - w - 12);
    y = std::max(y, minY(v) + 12);
    y = std::min(y, maxY(v) - h - 12);
    return { x, y };
}

QSizeF panelSize(QuickHUDPhase phase, bool hasResult, qsizetype resultLength)
{
    switch (phase) {
    case QuickHUDPhase::bubble: return { 46, 46 };
    case QuickHUDPhase::compose: return { 448, hasResult ? 310.0 : 258.0 };
    case QuickHUDPhase::moreActions: return { 448, 400 };
    case QuickHUDPhase::presetEditor: return { 448, 326 };
    case QuickHUDPhase::providerPicker: return { 448, 410 };
    case QuickHUDPhase::sourceDetail: return { 448, 420 };
    case QuickHUDPhase::generating: return { 448, 300 };
    case QuickHUDPhase::quickFixGenerating:
    case QuickHUDPhase::quickFixStatus: return { 340, 104 };
    case QuickHUDPhase::review: {
        const double lines = std::max<double>(3, std::ceil(double(resultLength) / 58));
        return { 448, std::clamp(lines * 16 + 210, 300.0, 420.0) };
    }
    case QuickHUDPhase::confirmation: return { 448, 126 };
    }
    return { 448, 300 };
}

QRectF frameForPhase(
    QuickHUDPhase phase, QSizeF size, const QuickHUDAnchor& anchor, std::optional<QuickHUDStablePlacement>& stable)
{
    if (phase == QuickHUDPhase::bubble)
        return QRectF(positionPanel(size, anchor), size);
    if (!stable) {
        const QRectF q(positionPanel(largestHUD, anchor), largestHUD);
        const bool aboveSelection = anchor.frame.center().y() <= q.center().y();
        stable = aboveSelection
            ? QuickHUDStablePlacement { q.x(), minY(q), QuickHUDStablePlacement::Attachment::bottom }
            : QuickHUDStablePlacement { q.x(), maxY(q), QuickHUDStablePlacement::Attachment::top };
    }
    const double y = stable->attachment == QuickHUDStablePlacement::Attachment::top ? stable->edgeY - size.height()
                                                                                    : stable->edgeY;
    return QRectF(QPointF(stable->originX, y), size);
}

bool isOutsideClick(const QRectF& panelFrame, QPointF click)
{
    return !panelFrame.adjusted(-2, -2, 2, 2).contains(click);
}

} // namespace brindlet
