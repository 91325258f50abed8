#include "text/wording/Json.h"

#include <sstream>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace zandrel::cli {

namespace {

using Json = nlohmann::ordered_json;

std::string printed(const Json& value, Json_form form) {
    std::ostringstream out;
    print_json(value, form, out);
    return out.str();
}

TEST(JsonTest, ObjectsAreWrittenOnOneLineOrMany) {
    const Json value = {{"b", 0.5}, {"a", {1, 2}}};

    EXPECT_EQ(printed(value, Json_form::kOneLine), "{\"b\":0.5,\"a\":[1,2]}\n");
    EXPECT_EQ(printed(value, Json_form::kManyLines),
              "{\n  \"b\": 0.5,\n  \"a\": [\n    1,\n    2\n  ]\n}\n");
}

TEST(JsonTest, InvalidUtf8IsReplaced) {
    EXPECT_EQ(printed("caf\u00E9", Json_form::kOneLine), "\"caf\u00E9\"\n");
    EXPECT_EQ(printed("a\xFF"
                      "b",
                      Json_form::kOneLine),
              "\"a\uFFFDb\"\n");
    EXPECT_EQ(printed("cut\xC3", Json_form::kOneLine), "\"cut\uFFFD\"\n");
}

TEST(JsonTest, SpecialCharactersInTextsAreEscaped) {
    EXPECT_EQ(printed("\"\\\n\x01", Json_form::kOneLine), "\"\\\"\\\\\\n\\u0001\"\n");
}

}  // namespace

}  // namespace zandrel::cli
