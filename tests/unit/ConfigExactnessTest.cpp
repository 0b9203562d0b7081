#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "FileChecks.h"
#include "TestSupport.h"
#include "config/AgentList.h"

namespace pellix {
namespace {

std::optional<std::string> rewritten(const std::string& bytes) {
    std::optional<ConfigDocument> document = ConfigDocument::parse(bytes);
    if (!document) return std::nullopt;
    return document->serialize();
}

TEST(ConfigExactness, IntegersBeyondSixtyFourBitsComeBackUnchanged) {
    EXPECT_EQ(rewritten(R"({"a":18446744073709551616,"b":-9223372036854775809,)"
                        R"("c":123456789012345678901234567890})"),
              "{\n  \"a\": 18446744073709551616,\n  \"b\": -9223372036854775809,\n"
              "  \"c\": 123456789012345678901234567890\n}");
}

TEST(ConfigExactness, DecimalsComeBackAsWritten) {
    EXPECT_EQ(rewritten(R"({"a":0.1,"b":1.0,"c":-0.0,"d":1E400,"e":2.50e-3,"f":)"
                        R"(0.30000000000000000000001})"),
              "{\n  \"a\": 0.1,\n  \"b\": 1.0,\n  \"c\": -0.0,\n  \"d\": 1E400,\n"
              "  \"e\": 2.50e-3,\n  \"f\": 0.30000000000000000000001\n}");
}

TEST(ConfigExactness, NumbersNoDoubleCanHoldComeBackUnchanged) {
    const std::string digits(400, '7');
    EXPECT_EQ(rewritten(R"({"a":)" + digits + R"(,"b":[-1e99999],"s":"1e99999","c":1.5})"),
              "{\n  \"a\": " + digits +
                  ",\n  \"b\": [\n    -1e99999\n  ],\n  \"c\": 1.5,\n  \"s\": \"1e99999\"\n}");
}

TEST(ConfigExactness, InvalidNumbersAreRefusedBesideOnesNoDoubleCanHold) {
    for (const char* text :
         {R"({"a":1e999,"b":01})", R"({"a":1e999,"b":1.})", R"({"a":1e999,"b":-})",
          R"({"a":1e999,"b":1e+})", R"({"a":1e999,"b":+1})", R"({"a":1e999,"b":1.5.5})"}) {
        EXPECT_EQ(rewritten(text), std::nullopt) << text;
    }
}

TEST(ConfigExactness, NumbersInArraysAndDeepObjectsKeepTheirText) {
    EXPECT_EQ(rewritten(R"({"x":[1e2,{"y":[99999999999999999999]}]})"),
              "{\n  \"x\": [\n    1e2,\n    {\n      \"y\": [\n        99999999999999999999\n"
              "      ]\n    }\n  ]\n}");
}

TEST(ConfigExactness, NumberTextIsNeverMistakenForAString) {
    EXPECT_EQ(rewritten(R"({"n":12,"s":"12"})"), "{\n  \"n\": 12,\n  \"s\": \"12\"\n}");
}

TEST(ConfigExactness, NulByteAfterTheObjectMakesTheFileUnreadable) {
    EXPECT_EQ(rewritten(std::string(R"({"agents":{},"x":1})") + '\0' + R"({"more":"text"})"),
              std::nullopt);
    EXPECT_EQ(rewritten(std::string("{}\0", 3)), std::nullopt);
    EXPECT_EQ(rewritten(std::string("{\"a\":\"x\0y\"}", 11)), std::nullopt);
}

TEST(ConfigExactness, EscapedNulInsideAStringIsKeptAsAnEscape) {
    EXPECT_EQ(rewritten(R"({"a\u0000b":"x\u0000y\u001f\n"})"),
              "{\n  \"a\\u0000b\": \"x\\u0000y\\u001f\\n\"\n}");
}

TEST(ConfigExactness, AnythingButWhiteSpaceAfterTheObjectIsRefused) {
    EXPECT_NE(rewritten("{} \n\t\r "), std::nullopt);
    for (const char* text : {"{}{}", "{} x", "{}]", "{},", "{}\"\"", "{} 1"}) {
        EXPECT_EQ(rewritten(text), std::nullopt) << text;
    }
}

TEST(ConfigExactness, ByteOrderMarkIsDroppedOnRewrite) {
    EXPECT_EQ(rewritten("\xEF\xBB\xBF{\"a\":1}"), "{\n  \"a\": 1\n}");
}

TEST(ConfigExactness, UnicodeIsWrittenAsUtf8AndSlashesAreNotEscaped) {
    EXPECT_EQ(rewritten(R"({"p":"a\/b","e":"caf\u00e9 \ud83d\ude00"})"),
              "{\n  \"e\": \"caf\xC3\xA9 \xF0\x9F\x98\x80\",\n  \"p\": \"a/b\"\n}");
}

TEST(ConfigExactness, KeysAreSortedByBytesAndTheLastOfARepeatedKeyCounts) {
    EXPECT_EQ(rewritten(R"({"b":1,"a":2,"b":3,"\u00e9":4,"Z":5,"a":6})"),
              "{\n  \"Z\": 5,\n  \"a\": 6,\n  \"b\": 3,\n  \"\xC3\xA9\": 4\n}");
}

TEST(ConfigExactness, LoneSurrogateEscapeIsRefused) {
    EXPECT_EQ(rewritten(R"({"a":"\ud800"})"), std::nullopt);
}

TEST(ConfigExactness, EditsSeeTheLastOfARepeatedKey) {
    std::optional<ConfigDocument> document =
        ConfigDocument::parse(R"({"agents":{"list":[{"id":"x"}]},"agents":{"list":[]}})");
    ASSERT_NE(document, std::nullopt);
    const JsonValue* list = findAgentList(document->root());
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->Size(), 0u);
}

}  // namespace
}  // namespace pellix
