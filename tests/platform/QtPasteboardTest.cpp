#include "platform/linux/QtPasteboard.h"
#include "support/EventLoop.h"
#include "support/PrivateDesktop.h"

#include <QGuiApplication>
#include <QProcess>

#include <gtest/gtest.h>

#include <optional>

using namespace brindlet;
using namespace brindlet::test;

namespace {

// What another application reads from the clipboard, as that type; nullopt when it offers none.
std::optional<QByteArray> readAs(const QString& type)
{
    QProcess xclip;
    xclip.start(u"xclip"_qs, { u"-o"_qs, u"-selection"_qs, u"clipboard"_qs, u"-t"_qs, type });
    // Our own clipboard answers through this event loop, so wait in it.
    runUntil([&] { return xclip.state() == QProcess::NotRunning; }, std::chrono::seconds(5));
    if (xclip.exitStatus() != QProcess::NormalExit || xclip.exitCode() != 0)
        return std::nullopt;
    return xclip.readAllStandardOutput();
}

// Another application takes the clipboard with one type.
void writeAs(const QString& type, const QByteArray& bytes)
{
    QProcess xclip;
    xclip.start(u"xclip"_qs, { u"-i"_qs, u"-selection"_qs, u"clipboard"_qs, u"-t"_qs, type });
    xclip.write(bytes);
    xclip.closeWriteChannel();
    xclip.waitForFinished(5000); // it leaves a child behind that serves the selection
}

TEST(QtPasteboard, WritesReadsCountsAndRestoresEveryType)
{
    QtPasteboard pasteboard;
    const qint64 start = pasteboard.changeCount();

    ASSERT_TRUE(pasteboard.setString(u"hello ✓"_qs));
    EXPECT_EQ(readAs(u"UTF8_STRING"_qs), QByteArray("hello ✓"));
    EXPECT_GT(pasteboard.changeCount(), start);

    // A change by another application counts too, and its item is read with its type.
    const qint64 beforeOther = pasteboard.changeCount();
    writeAs(u"text/html"_qs, "<b>theirs</b>");
    ASSERT_TRUE(runUntil([&] { return pasteboard.changeCount() > beforeOther; }, std::chrono::seconds(5)));
    const QList<PasteboardItem> saved = pasteboard.items();
    ASSERT_EQ(saved.size(), 1);
    EXPECT_TRUE(saved[0].contains({ u"text/html"_qs, "<b>theirs</b>" }));

    // What was saved goes back with every type it had.
    pasteboard.setString(u"ours"_qs);
    pasteboard.writeItems({ { { u"text/html"_qs, "<b>theirs</b>" }, { u"text/plain"_qs, "theirs" } } });
    EXPECT_EQ(readAs(u"text/html"_qs), QByteArray("<b>theirs</b>"));
    EXPECT_EQ(readAs(u"text/plain"_qs), QByteArray("theirs"));

    pasteboard.clearContents();
    EXPECT_FALSE(readAs(u"text/plain"_qs));
}

} // namespace

// The clipboard needs a real display and a GUI application on it, made before any test runs.
int main(int argc, char** argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    std::optional<PrivateDesktop> desktop;
    if (!::testing::GTEST_FLAG(list_tests))
        desktop.emplace();
    qputenv("QT_QPA_PLATFORM", desktop ? "xcb" : "offscreen");
    QGuiApplication app(argc, argv);
    if (desktop && !desktop->problem().isEmpty()) {
        fprintf(stderr, "%s\n", qPrintable(desktop->problem()));
        return 1;
    }
    return RUN_ALL_TESTS();
}
