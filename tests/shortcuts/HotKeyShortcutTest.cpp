#include "shortcuts/HotKeyShortcut.h"
#include "support/Printers.h"

#include <QJsonDocument>

#include <gtest/gtest.h>

using namespace brindlet;

namespace {

constexpr std::uint64_t control = KeyEvent::controlFlag, option = KeyEvent::optionFlag, shift = KeyEvent::shiftFlag,
                        command = KeyEvent::commandFlag;

struct KeyCase : NamedRow {
    KeyEvent event;
    std::optional<QString> displayText;
};

class ShortcutFromKey : public ::testing::TestWithParam<KeyCase> { };

TEST_P(ShortcutFromKey, BuildsOrRefuses)
{
    const auto shortcut = HotKeyShortcut::fromKeyEvent(GetParam().event);
    EXPECT_EQ(shortcut ? std::optional(shortcut->displayText()) : std::nullopt, GetParam().displayText);
}

BRINDLET_ROWS(Shortcuts, ShortcutFromKey, KeyCase { "shiftAloneIsRefused", { shift, 0, u"a"_qs }, std::nullopt },
    KeyCase { "noModifiers", { 0, 0, u"a"_qs }, std::nullopt },
    KeyCase { "optionLetter", { option, 0, u"a"_qs }, u"⌥A"_qs },
    KeyCase { "commandSpaceFromTable", { command, 49, u" "_qs }, u"⌘Space"_qs },
    KeyCase { "tableWinsOverCharacters", { control | shift, 36, u"\r"_qs }, u"⌃⇧Return"_qs },
    KeyCase { "keypadEnterIsReturnToo", { command, 76, u"\u0003"_qs }, u"⌘Return"_qs },
    KeyCase { "allModifiersInOrder", { command | shift | option | control, 123, std::nullopt }, u"⌃⌥⇧⌘←"_qs },
    KeyCase { "charactersTrimmedAndUppercased", { control, 0, u" a "_qs }, u"⌃A"_qs },
    KeyCase { "noCharactersNotInTable", { command, 10, std::nullopt }, std::nullopt },
    KeyCase { "blankCharactersNotInTable", { command, 10, u" \n"_qs }, std::nullopt },
    KeyCase { "otherFlagsIgnored", { command | 0x10000 | 0x800000, 40, u"k"_qs }, u"⌘K"_qs },
    KeyCase { "forwardDelete", { option, 117, std::nullopt }, u"⌥⌦"_qs });

TEST(HotKeyShortcut, SerialisedFormRoundTripsAndRejectsBadFields)
{
    const HotKeyShortcut shortcut { 38, { 5 }, u"J"_qs };
    EXPECT_EQ(shortcut.toJson(), QByteArray("{\"keyCode\":38,\"modifiers\":5,\"keyLabel\":\"J\"}"));
    EXPECT_EQ(HotKeyShortcut::fromJsonObject(QJsonDocument::fromJson(shortcut.toJson()).object()), shortcut);
    for (const char* bad :
        { "{\"keyCode\":-1,\"modifiers\":5,\"keyLabel\":\"J\"}", "{\"keyCode\":1.5,\"modifiers\":5,\"keyLabel\":\"J\"}",
            "{\"keyCode\":1,\"modifiers\":\"5\",\"keyLabel\":\"J\"}", "{\"keyCode\":1,\"modifiers\":5}" })
        EXPECT_FALSE(HotKeyShortcut::fromJsonObject(QJsonDocument::fromJson(bad).object())) << bad;
}

} // namespace
