#include "platform/linux/QtPasteboard.h"
#include "support/EventLoop.h"
#include "support/XClip.h"

#include <gtest/gtest.h>

using namespace brindlet;
using namespace brindlet::test;

namespace {

TEST(QtPasteboard, WritesReadsCountsAndRestoresEveryType)
{
    QtPasteboard pasteboard;
    const qint64 start = pasteboard.changeCount();

    ASSERT_TRUE(pasteboard.setString(u"hello ✓"_qs));
    EXPECT_EQ(readClipboardAs(u"UTF8_STRING"_qs), QByteArray("hello ✓"));
    EXPECT_GT(pasteboard.changeCount(), start);

    // A change by another application counts too, and its item is read with its type.
    const qint64 beforeOther = pasteboard.changeCount();
    writeClipboardAs(u"text/html"_qs, "<b>theirs</b>");
    ASSERT_TRUE(runUntil([&] { return pasteboard.changeCount() > beforeOther; }, std::chrono::seconds(5)));
    const QList<PasteboardItem> saved = pasteboard.items();
    ASSERT_EQ(saved.size(), 1);
    EXPECT_TRUE(saved[0].contains({ u"text/html"_qs, "<b>theirs</b>" }));

    // What was saved goes back with every type it had.
    pasteboard.setString(u"ours"_qs);
    pasteboard.writeItems({ { { u"text/html"_qs, "<b>theirs</b>" }, { u"text/plain"_qs, "theirs" } } });
    EXPECT_EQ(readClipboardAs(u"text/html"_qs), QByteArray("<b>theirs</b>"));
    EXPECT_EQ(readClipboardAs(u"text/plain"_qs), QByteArray("theirs"));

    pasteboard.clearContents();
    EXPECT_FALSE(readClipboardAs(u"text/plain"_qs));
}

} // namespace
