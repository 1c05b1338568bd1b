// The HUD's placement, with the design's rules and numbers, on one display and on two.

#include "windows/HUDPlacement.h"

#include <gtest/gtest.h>

using namespace brindlet;

namespace {

// Two 1000 by 800 displays side by side; the window space's origin is the bottom left of the
// first. Their visible frames leave 20 points at the top for a panel bar.
const std::vector<DisplayGeometry> displays { { QRectF(0, 0, 1000, 800), QRectF(0, 0, 1000, 800) },
    { QRectF(1000, 0, 1000, 800), QRectF(1000, 0, 1000, 800) } };
const QList<QRectF> visible { QRectF(0, 0, 1000, 780), QRectF(1000, 0, 1000, 780) };

QRectF hudFrame(const std::optional<Rect>& selection, QPointF pointer, QuickHUDPhase phase = QuickHUDPhase::compose)
{
    std::optional<QuickHUDStablePlacement> stable;
    const QuickHUDAnchor anchor = resolveAnchor(selection, displays, visible, pointer);
    return frameForPhase(phase, panelSize(phase, false, 0), anchor, stable);
}

TEST(HUDPlacement, FollowsTheDesignsRules)
{
    // No bounds: at the pointer, x = pointer.x - 40, below it; the largest HUD decides the edge.
    EXPECT_EQ(hudFrame(std::nullopt, { 500, 600 }), QRectF(460, 170 + 420 - 258, 448, 258));
    // A selection near the right edge, far from the pointer: clamped to maxX(V) - 448 - 12.
    EXPECT_EQ(hudFrame(Rect { 900, 100, 80, 16 }, { 100, 100 }).x(), 1000 - 448 - 12);
    // A selection on the second display with the pointer far away on the first: the second.
    EXPECT_GE(hudFrame(Rect { 1500, 100, 80, 16 }, { 100, 700 }).x(), 1000);
    // The pointer within 72 points of the selection: the pointer wins.
    EXPECT_EQ(hudFrame(Rect { 1500, 100, 80, 16 }, { 1450, 690 }).x(), 1450 - 40);
    // A rectangle off every display: the pointer anchor.
    EXPECT_EQ(hudFrame(Rect { 5000, 5000, 10, 10 }, { 300, 300 }).x(), 260);
    // No screens at all: the pointer in a 1024 by 768 frame at the origin.
    const QuickHUDAnchor lost = resolveAnchor(std::nullopt, {}, {}, { 10, 10 });
    EXPECT_EQ(lost.visibleFrame, QRectF(0, 0, 1024, 768));
    // Review heights: 100 characters give 258, held up to 300; 2000 give 420.
    EXPECT_EQ(panelSize(QuickHUDPhase::review, true, 100).height(), 300);
    EXPECT_EQ(panelSize(QuickHUDPhase::review, true, 2000).height(), 420);
    // A click 1 point outside the panel is on it; 3 points out closes it.
    EXPECT_FALSE(isOutsideClick(QRectF(100, 100, 448, 258), { 99, 200 }));
    EXPECT_TRUE(isOutsideClick(QRectF(100, 100, 448, 258), { 97, 200 }));
    EXPECT_TRUE(isOutsideClick(QRectF(100, 100, 448, 258), { 300, 361 }));
}

// Near the bottom of the screen the panel opens above the selection, and height changes move
// only its top edge; below a selection, only its bottom edge.
TEST(HUDPlacement, KeepsTheEdgeNearTheSelectionStill)
{
    const std::pair<Rect, QuickHUDStablePlacement::Attachment> rows[] = {
        { Rect { 300, 740, 80, 16 }, QuickHUDStablePlacement::Attachment::bottom }, // near the bottom
        { Rect { 300, 100, 80, 16 }, QuickHUDStablePlacement::Attachment::top },
    };
    for (const auto& [selection, attachment] : rows) {
        const QuickHUDAnchor anchor = resolveAnchor(selection, displays, visible, { 900, 400 });
        std::optional<QuickHUDStablePlacement> stable;
        const QRectF compose
            = frameForPhase(QuickHUDPhase::compose, panelSize(QuickHUDPhase::compose, false, 0), anchor, stable);
        const QRectF generating
            = frameForPhase(QuickHUDPhase::generating, panelSize(QuickHUDPhase::generating, false, 0), anchor, stable);
        ASSERT_TRUE(stable);
        EXPECT_EQ(stable->attachment, attachment);
        if (attachment == QuickHUDStablePlacement::Attachment::bottom) {
            EXPECT_EQ(compose.y(), generating.y());
        } else {
            EXPECT_EQ(compose.y() + compose.height(), generating.y() + generating.height());
        }
        // Below the selection means under its lower edge in the window space.
        const double selectionBottom = 800 - (selection.y + selection.height);
        if (attachment == QuickHUDStablePlacement::Attachment::top) {
            EXPECT_LE(compose.y() + compose.height(), selectionBottom);
        }
    }
    // A bubble near the right edge flips to the left of its point.
    const QuickHUDAnchor edge = resolveAnchor(Rect { 950, 100, 40, 16 }, displays, visible, { 100, 100 });
    std::optional<QuickHUDStablePlacement> none;
    EXPECT_LT(frameForPhase(QuickHUDPhase::bubble, { 46, 46 }, edge, none).x(), edge.bubblePoint.x());
}

} // namespace
