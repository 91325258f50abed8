// Text_analysis: how a text becomes concepts. The library takes concepts and leaves this step to
// the application.
#ifndef ZANDREL_CLI_TEXT_TEXT_ANALYSIS_H_
#define ZANDREL_CLI_TEXT_TEXT_ANALYSIS_H_

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "zandrel/messages/zeSml_feeder.h"

namespace cli {

// One way to cut texts into concepts. The weight of a concept is how often it occurs.
//
// Threads: one at a time in the whole process, since concepts are shared.
class Text_analysis {
public:
    Text_analysis() = default;
    Text_analysis(const Text_analysis&) = delete;
    Text_analysis& operator=(const Text_analysis&) = delete;
    virtual ~Text_analysis();

    // Adds the concepts of the text to what the feeder holds. A text may hold any bytes.
    virtual void feed(std::string_view text, zeSml_feeder& feeder) = 0;
};

enum class Analysis_kind { kPhrases, kWords, kWhitespace };

struct Analysis_settings {
    Analysis_kind kind = Analysis_kind::kPhrases;
    std::string stem_language = {};  // empty: words stay as they are; kWhitespace takes no notice
};

// The names of the kinds, which the command line and containers have: "phrases", "words" and
// "whitespace".
const char* name_of(Analysis_kind kind);
// Nothing for a name that no kind has.
std::optional<Analysis_kind> analysis_kind(std::string_view name);

// RAISES: std::invalid_argument for a language that Stemmer does not know; std::runtime_error if
// ICU's data are missing.
std::unique_ptr<Text_analysis> make_text_analysis(const Analysis_settings& settings);

}  // namespace cli

#endif  // ZANDREL_CLI_TEXT_TEXT_ANALYSIS_H_
