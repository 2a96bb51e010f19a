#include <gtest/gtest.h>

#include "core/base/Base64.h"
#include "core/base/Iso8601.h"
#include "core/base/JsonReader.h"
#include "core/base/JsonWriter.h"
#include "core/base/Uuid.h"

using namespace wordloom;
using namespace std::chrono;

TEST(Uuid, ReadsAnyCaseWritesUpperCaseAndRejectsMalformedText) {
    auto id = Uuid::parse("6f1c2b1e-1234-4c3d-9e8f-0123456789ab");
    ASSERT_TRUE(id);
    EXPECT_EQ(id->toString(), "6F1C2B1E-1234-4C3D-9E8F-0123456789AB");
    EXPECT_EQ(Uuid::parse(id->toString()), id);
    EXPECT_FALSE(Uuid::parse("6f1c2b1e12344c3d9e8f0123456789ab"));
    EXPECT_FALSE(Uuid::parse("6f1c2b1e-1234-4c3d-9e8f-0123456789ag"));
    EXPECT_FALSE(Uuid::parse("6f1c2b1e-1234-4c3d-9e8f_0123456789ab"));
    EXPECT_FALSE(Uuid::parse(""));
}

TEST(Uuid, RandomIdsAreVersionFourAndDistinct) {
    const auto a = Uuid::random();
    const auto b = Uuid::random();
    EXPECT_NE(a, b);
    EXPECT_EQ(a.toString()[14], '4');
    EXPECT_NE(std::string("89AB").find(a.toString()[19]), std::string::npos);
}

TEST(Iso8601, WritesWholeSecondsInUtc) {
    const auto time =
        sys_days{year{2026} / November / 21} + hours{9} + minutes{30} + milliseconds{999};
    EXPECT_EQ(formatIso8601(time), "2026-11-21T09:30:00Z");
}

TEST(Iso8601, ReadsFractionsAndOffsets) {
    const auto expected = sys_days{year{2026} / November / 21} + hours{9} + minutes{30};
    EXPECT_EQ(parseIso8601("2026-11-21T09:30:00Z"), expected);
    EXPECT_EQ(parseIso8601("2026-11-21T11:30:00+02:00"), expected);
    EXPECT_EQ(parseIso8601("2026-11-21T04:00:00-0530"), expected);
    EXPECT_EQ(parseIso8601("2026-11-21T09:30:00.250Z"), expected + milliseconds{250});
    EXPECT_FALSE(parseIso8601("2026-11-21T09:30:00"));  // no zone
    EXPECT_FALSE(parseIso8601("2026-02-30T09:30:00Z"));
    EXPECT_FALSE(parseIso8601("2026-11-21T09:30:00Zjunk"));
    EXPECT_FALSE(parseIso8601("yesterday"));
}

TEST(Iso8601, DatesATimestampCannotHoldAreRefusedNotOverflowed) {
    EXPECT_FALSE(parseIso8601("8795-01-01T00:00:00Z"));
    EXPECT_FALSE(parseIso8601("1500-06-01T00:00:00Z"));
    EXPECT_FALSE(parseIso8601("2262-12-31T23:59:59.999999999-23:59"));
    EXPECT_TRUE(parseIso8601("2200-01-01T00:00:00Z"));
    EXPECT_TRUE(parseIso8601("1700-01-01T00:00:00Z"));
    JsonDocument document(R"([1e300, -1e15, 9.0e9, 0.5])");
    const auto dates = *json::asArray(document.root());
    std::vector<std::optional<Timestamp>> read;
    for (auto element : dates) {
        read.push_back(json::asDate(element));
    }
    EXPECT_FALSE(read[0]);
    EXPECT_FALSE(read[1]);
    EXPECT_FALSE(read[2]);  // the year 2286
    EXPECT_EQ(read[3], referenceDate2001() + milliseconds{500});
}

TEST(Base64, RoundTripsAndRejectsGarbage) {
    const Bytes bytes{0x00, 0xFF, 0x10, 0x80, 0x7F};
    EXPECT_EQ(encodeBase64(bytes), "AP8QgH8=");
    EXPECT_EQ(decodeBase64("AP8Q\ngH8="), bytes);
    EXPECT_EQ(decodeBase64(""), Bytes{});
    EXPECT_FALSE(decodeBase64("A*=="));
}

TEST(JsonWriter, EscapesEverythingJsonRequiresAndNothingElse) {
    EXPECT_EQ(JsonWriter::quoted("a\"b\\c\n\x01/\u00e9"), "\"a\\\"b\\\\c\\n\\u0001/\u00e9\"");
}

TEST(JsonWriter, EscapesAtEveryPositionOfLongText) {
    // The writer skips clean text eight bytes at a time; compare it with a plain byte loop for
    // every special byte at every offset, around word boundaries.
    const auto reference = [](const std::string& text) {
        std::string out = "\"";
        for (unsigned char c : text) {
            char buffer[8];
            if (c == '"' || c == '\\') {
                out += '\\';
                out += static_cast<char>(c);
            } else if (c == '\n') {
                out += "\\n";
            } else if (c < 0x20) {
                std::snprintf(buffer, sizeof buffer, "\\u%04x", c);
                out += (c == '\r')   ? "\\r"
                       : (c == '\t') ? "\\t"
                       : (c == '\b') ? "\\b"
                       : (c == '\f') ? "\\f"
                                     : buffer;
            } else {
                out += static_cast<char>(c);
            }
        }
        return out + "\"";
    };
    for (const char special : {'"', '\\', '\n', '\x01', '\x1f', '\t'}) {
        for (std::size_t position = 0; position < 24; ++position) {
            std::string text = "caf\u00e9 lorem ipsum dolor sit amet";  // non-ASCII bytes too
            text[position] = special;
            EXPECT_EQ(JsonWriter::quoted(text), reference(text)) << position;
        }
    }
    EXPECT_EQ(JsonWriter::quoted(std::string(17, ' ') + "\x7f\xff"),
              reference(std::string(17, ' ') + "\x7f\xff"));
}

TEST(JsonWriter, PrettyOutputParsesBackToTheSameValues) {
    JsonWriter w;
    w.beginObject();
    w.key("empty");
    w.beginArray();
    w.endArray();
    w.key("list");
    w.beginArray();
    w.value(std::int64_t{-3});
    w.value(2.5);
    w.value(true);
    w.null();
    w.endArray();
    w.field("name", "x");
    w.endObject();
    const std::string text = w.take();
    EXPECT_NE(text.find("\n  \"list\" : [\n    -3,"), std::string::npos) << text;
    JsonDocument document(text);
    auto object = json::asObject(document.root());
    ASSERT_TRUE(object);
    auto list = json::asArray(*json::member(*object, "list"));
    ASSERT_TRUE(list);
    EXPECT_EQ(list->size(), 4u);
    EXPECT_EQ(json::asString(*json::member(*object, "name")), "x");
}

TEST(JsonReader, ForgivingAccessorsAndParseErrors) {
    JsonDocument document(
        R"({"n": 3.0, "s": "t", "d": "2026-11-21T09:30:00Z", "old": 0, "b": "yes"})");
    auto object = *json::asObject(document.root());
    EXPECT_EQ(json::asInt(*json::member(object, "n")), 3);
    EXPECT_FALSE(json::asBool(*json::member(object, "b")));
    EXPECT_FALSE(json::asInt(*json::member(object, "s")));
    EXPECT_EQ(json::asDate(*json::member(object, "old")), referenceDate2001());
    EXPECT_FALSE(json::member(object, "missing"));
    EXPECT_THROW(JsonDocument("{\"a\": }"), JsonError);
    EXPECT_THROW(JsonDocument(""), JsonError);
}
