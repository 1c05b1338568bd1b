// Guarded delivery on a real desktop, in this process: what must not be written is not, and a
// paste leaves the user's clipboard as it was.

#include "platform/AccessibilityVocabulary.h"
#include "platform/linux/LinuxDesktop.h"
#include "selection/SelectionError.h"
#include "selection/SelectionService.h"
#include "support/EventLoop.h"
#include "support/Keyboard.h"
#include "support/TestEditor.h"
#include "support/XClip.h"

#include <gtest/gtest.h>

// Xlib's macros would break gtest's headers: it comes last.
#include <X11/keysym.h>

using namespace brindlet;
using namespace brindlet::test;

namespace {

class GuardedDelivery : public ::testing::Test {
protected:
    LinuxDesktop desktop;
    SelectionService selection { { &desktop.accessibility(), &desktop.x11(), &desktop.x11(), &desktop.log(),
        &desktop.pasteboard(), &desktop.x11() } };

    SelectionSnapshot captureFrom(TestEditor& editor)
    {
        EXPECT_TRUE(editor.waitUntilReady());
        std::optional<SelectionSnapshot> snapshot;
        // The editor joins the accessibility bus a little after its window shows.
        EXPECT_TRUE(
            runUntil([&] { return (snapshot = selection.capture(true)).has_value(); }, std::chrono::seconds(10)));
        return snapshot.value_or(SelectionSnapshot {});
    }
};

TEST_F(GuardedDelivery, ASelectionChangedSinceCaptureIsNotWritten)
{
    TestEditor editor(TestEditor::Kind::gtkEntry, u"alpha beta gamma"_qs, { { 6, 10 } });
    const SelectionSnapshot snapshot = captureFrom(editor);
    ASSERT_EQ(snapshot.text, u"beta"_qs);

    // The user moves on: End leaves a bare cursor at the end of the line.
    pressChord({ XK_End });
    const ElementHandle field = snapshot.target->element;
    ASSERT_TRUE(runUntil([&] {
        return desktop.accessibility().copyAttributeValue(field, AXAttribute::selectedText).as<QString>() == QString();
    }));

    EXPECT_EQ(runOutcome(selection.deliver(u"BETA"_qs, snapshot, DeliveryPreference::replace)),
        SelectionError(SelectionError::Kind::targetChanged).description());
    EXPECT_TRUE(editor.reportedTexts().isEmpty()) << editor.reportedTexts().join(u" | ").toStdString();
}

TEST_F(GuardedDelivery, APasteFallbackGivesTheClipboardBack)
{
    writeClipboardAs(u"text/html"_qs, "<b>earlier</b>");
    TestEditor editor(TestEditor::Kind::gtkEntryRefusingDirectWrites, u"alpha beta gamma"_qs, { { 6, 10 } });
    const SelectionSnapshot snapshot = captureFrom(editor);

    EXPECT_EQ(runTask(selection.deliver(u"BETA"_qs, snapshot, DeliveryPreference::replace)),
        u"Replaced the selected text."_qs);
    EXPECT_TRUE(editor.waitForText(u"alpha BETA gamma"_qs));
    EXPECT_EQ(readClipboardAs(u"text/html"_qs), QByteArray("<b>earlier</b>"));
}

} // namespace
