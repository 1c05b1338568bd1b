#include "domain/Preset.h"

#include <QJsonDocument>
#include <QJsonObject>

#include "support/Printers.h"

#include <gtest/gtest.h>

using namespace brindlet;

TEST(Preset, EncodesTheSevenKeysInOrderAndRoundTrips)
{
    const Preset preset = Preset::builtIns()[2];
    EXPECT_EQ(preset.toJson(),
        QByteArray("{\"id\":\"B68F76DF-68AE-4F88-BC5A-582C8D316003\",\"name\":\"Fix Writing\",\"systemImage\":"
                   "\"checkmark.seal\",\"instruction\":\"Correct grammar, spelling, punctuation, and awkward "
                   "wording without changing the meaning.\",\"input\":\"selectionRequired\",\"delivery\":\"smart\","
                   "\"isBuiltIn\":true}"));
    const auto decoded = decodePresets(encodePresets(Preset::builtIns()));
    ASSERT_TRUE(decoded);
    EXPECT_EQ(*decoded, Preset::builtIns());
}

struct DecodeCase : NamedRow {
    const char* key;
    QJsonValue value; // undefined removes the key
};

class PresetStrictDecoding : public ::testing::TestWithParam<DecodeCase> { };

TEST_P(PresetStrictDecoding, RejectsTheRecord)
{
    QJsonObject object = QJsonDocument::fromJson(Preset::builtIns()[0].toJson()).object();
    ASSERT_TRUE(Preset::fromJsonObject(object));
    const DecodeCase& c = GetParam();
    if (c.value.isUndefined())
        object.remove(QLatin1String(c.key));
    else
        object.insert(QLatin1String(c.key), c.value);
    EXPECT_FALSE(Preset::fromJsonObject(object));
    // One bad record fails the whole list.
    EXPECT_FALSE(decodePresets("[" + Preset::builtIns()[1].toJson() + "," + QJsonDocument(object).toJson() + "]"));
}

BRINDLET_ROWS(Preset, PresetStrictDecoding,
    DecodeCase { "missingIsBuiltIn", "isBuiltIn", QJsonValue(QJsonValue::Undefined) },
    DecodeCase { "missingId", "id", QJsonValue(QJsonValue::Undefined) },
    DecodeCase { "missingName", "name", QJsonValue(QJsonValue::Undefined) },
    DecodeCase { "unknownInput", "input", QJsonValue(u"sometimes"_qs) },
    DecodeCase { "unknownDelivery", "delivery", QJsonValue(u"email"_qs) },
    DecodeCase { "bracedId", "id", QJsonValue(u"{B68F76DF-68AE-4F88-BC5A-582C8D316001}"_qs) },
    DecodeCase { "badId", "id", QJsonValue(u"not-a-uuid"_qs) },
    DecodeCase { "stringBoolean", "isBuiltIn", QJsonValue(u"true"_qs) });
