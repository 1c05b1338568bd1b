#pragma once

// Where the Quick HUD's panel goes, in the two spaces of the design: selections arrive in the
// accessibility space (origin at the top left of the primary display, y down), panels are
// placed in the window space (origin at the bottom left, y up). Rectangles here are plain
// numbers: y is the lower edge in the window space. A platform converts its own coordinates
// at one seam (DisplayGeometry) and leaves this arithmetic as it is.

#include "domain/Enums.h"
#include "domain/SelectionSnapshot.h"

#include <QList>
#include <QPointF>
#include <QRectF>
#include <QSizeF>

#include <optional>
#include <vector>

namespace brindlet {

struct DisplayGeometry {
    QRectF accessibilityFrame;
    QRectF windowFrame;
};

struct QuickHUDAnchor {
    QRectF frame; // the line beside which the panel opens; width 0
    QRectF visibleFrame; // of the display the panel stays on
    QPointF bubblePoint;
};

// Which edge of the HUD stays put while its height changes.
struct QuickHUDStablePlacement {
    enum class Attachment { top, bottom };
    double originX = 0;
    double edgeY = 0;
    Attachment attachment = Attachment::top;
};

std::optional<QPointF> toWindowSpace(QPointF point, const std::vector<DisplayGeometry>& displays);
std::optional<QRectF> toWindowSpace(const Rect& rectangle, const std::vector<DisplayGeometry>& displays);
// The visible frame holding most of the rectangle, or the one holding its centre.
std::optional<QRectF> visibleFrameFor(const QRectF& rectangle, const QList<QRectF>& visibleFrames);
QuickHUDAnchor resolveAnchor(const std::optional<Rect>& accessibilityAnchor,
    const std::vector<DisplayGeometry>& displays, const QList<QRectF>& visibleFrames, QPointF pointer);
// The lower-left corner of a panel of this size at the anchor.
QPointF positionPanel(QSizeF size, const QuickHUDAnchor& anchor);
QSizeF panelSize(QuickHUDPhase phase, bool hasResult, qsizetype resultLength);
// The panel's frame for a phase. The first HUD phase of a showing decides, for the largest
// size, which edge stays put; later phases keep that edge and move only the other.
QRectF frameForPhase(
    QuickHUDPhase phase, QSizeF size, const QuickHUDAnchor& anchor, std::optional<QuickHUDStablePlacement>& stable);
// Whether a click at this point closes the open HUD: a click within 2 points of the panel
// counts as on it.
bool isOutsideClick(const QRectF& panelFrame, QPointF click);

} // namespace brindlet
