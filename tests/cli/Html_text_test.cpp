#include "cli/report/Html_text.h"

#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace zandrel::cli {

namespace {

using Html_json = nlohmann::ordered_json;

TEST(HtmlTextTest, CharactersWithAMeaningInHtmlAreEscaped) {
    EXPECT_EQ(html_escaped(R"(<b class="x" id='y'>&amp;)"),
              "&lt;b class=&quot;x&quot; id=&#39;y&#39;&gt;&amp;amp;");
}

TEST(HtmlTextTest, OtherCharactersStay) {
    EXPECT_EQ(html_escaped("Größe: 5 € {{title}}"), "Größe: 5 € {{title}}");
}

TEST(HtmlTextTest, TabsAndLineEndsBecomeBlanks) {
    EXPECT_EQ(page_text("a\tb\r\nc", 100), "a b  c");
}

TEST(HtmlTextTest, ControlCharactersAndBytesThatAreNotUtf8AreShown) {
    EXPECT_EQ(page_text(std::string("a\0b\x1b\x7f", 5), 100), "a\\x00b\\x1B\\x7F");
    EXPECT_EQ(page_text("\xff\xc3", 100), "\\xFF\\xC3");
    EXPECT_EQ(page_text("\u202eabc", 100), "\\xE2\\x80\\xAEabc");
}

TEST(HtmlTextTest, TextAsLongAsTheLimitIsNotCut) {
    EXPECT_EQ(page_text("äöü", 3), "äöü");
    EXPECT_EQ(page_text("", 0), "");
}

TEST(HtmlTextTest, LongerTextIsCutBetweenCharacters) {
    EXPECT_EQ(page_text("äöüx", 3), "äöü\u2026");
    EXPECT_EQ(page_text("a\U0001F600b", 2), "a\U0001F600\u2026");
}

TEST(HtmlTextTest, BytesThatAreNotUtf8CountAsCharactersOfAtMostFourBytes) {
    // Twelve bytes that continue a character, without one that begins it: 4 + 4 are shown.
    EXPECT_EQ(page_text(std::string(12, '\x80'), 2),
              "\\x80\\x80\\x80\\x80\\x80\\x80\\x80\\x80\u2026");
}

TEST(HtmlTextTest, JsonCannotEndTheScriptThatContainsIt) {
    EXPECT_EQ(script_json(Html_json("</script><!--&")), R"("\u003c/script\u003e\u003c!--\u0026")");
}

TEST(HtmlTextTest, JsonInAScriptIsTheSameJson) {
    const Html_json value = {"</script>\u2028\u2029", {{"<&>", 1}}};
    EXPECT_EQ(Html_json::parse(script_json(value)), value);
    EXPECT_EQ(script_json(value).find('<'), std::string::npos);
    EXPECT_EQ(script_json(value).find("\u2028"), std::string::npos);
}

}  // namespace

}  // namespace zandrel::cli
