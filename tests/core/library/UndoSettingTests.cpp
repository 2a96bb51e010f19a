#include <gtest/gtest.h>

#include <stdexcept>

#include "core/base/JsonReader.h"
#include "core/base/JsonWriter.h"
#include "core/library/AppSettings.h"

namespace wordloom {
namespace {

std::string encoded(const AppSettings& settings) {
    JsonWriter writer;
    encodeAppSettings(writer, settings);
    return writer.take();
}

TEST(UndoSettingTests, OnByDefaultAndWrittenOnlyWhenTurnedOff) {
    AppSettings settings;
    EXPECT_TRUE(settings.undoExpansionWithBackspace);
    EXPECT_EQ(encoded(settings).find("undoExpansionWithBackspace"), std::string::npos);

    setSettingFromText(settings, SettingField::undoExpansionWithBackspace, "false");
    const auto json = encoded(settings);
    EXPECT_NE(json.find("\"undoExpansionWithBackspace\""), std::string::npos) << json;
    JsonDocument document(json);
    EXPECT_FALSE(decodeAppSettings(document.root()).undoExpansionWithBackspace);
    EXPECT_EQ(settingValueText(settings, SettingField::undoExpansionWithBackspace), "false");
}

TEST(UndoSettingTests, UnreadableValuesKeepTheDefaultAndBadTextIsRefused) {
    JsonDocument document(R"({"undoExpansionWithBackspace": "no"})");
    EXPECT_TRUE(decodeAppSettings(document.root()).undoExpansionWithBackspace);

    AppSettings settings;
    EXPECT_THROW(setSettingFromText(settings, SettingField::undoExpansionWithBackspace, "maybe"),
                 std::invalid_argument);
    EXPECT_TRUE(settings.undoExpansionWithBackspace);
}

}  // namespace
}  // namespace wordloom
