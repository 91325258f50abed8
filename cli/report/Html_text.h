// Html_text: texts of any bytes as parts of an HTML page.
#ifndef ZANDREL_CLI_REPORT_HTML_TEXT_H_
#define ZANDREL_CLI_REPORT_HTML_TEXT_H_

#include <cstddef>
#include <string>
#include <string_view>

#include <nlohmann/json_fwd.hpp>

namespace zandrel::cli {

// A text as a reader of the page sees it: on one line, with blanks for tabs and line ends, and with
// \xNN for bytes that could change the page or the order of its characters (shown_text). A text of
// more than `longest` characters ends with an ellipsis. The result is UTF-8 and not escaped for
// HTML.   COST: linear in the bytes that are shown, not in those that are cut.
std::string page_text(std::string_view text, std::size_t longest);

// The name of a category as page_text, and "(blank)" for one of blanks only, which would be a
// button without a name.
std::string page_name(std::string_view label, std::size_t longest);

// Escapes the five characters that have a meaning in HTML, for contents and for quoted attributes.
// REQUIRES: UTF-8.
std::string html_escaped(std::string_view text);

// A JSON value that can be inside <script type="application/json">: no text of it can end the
// element or begin a comment. `</script>` becomes `\u003c/script\u003e`, which is the same JSON.
std::string script_json(const nlohmann::ordered_json& value);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_REPORT_HTML_TEXT_H_
