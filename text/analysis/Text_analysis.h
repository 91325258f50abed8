// Text_analysis: the interface of all ways to convert a text to concepts. The library takes
// concepts; this step is the application's.
#ifndef ZANDREL_TEXT_ANALYSIS_TEXT_ANALYSIS_H_
#define ZANDREL_TEXT_ANALYSIS_TEXT_ANALYSIS_H_

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "zandrel/messages/zeSml_feeder.h"

namespace zandrel {

// Converts texts to concepts. The weight of a concept is the number of its occurrences.
//
// Threads: one at a time in the whole process, since concepts are shared.
class Text_analysis {
public:
    Text_analysis() = default;
    Text_analysis(const Text_analysis&) = delete;
    Text_analysis& operator=(const Text_analysis&) = delete;
    virtual ~Text_analysis();

    // Adds the concepts of the text to the feeder. A text may contain any bytes.
    virtual void feed(std::string_view text, zeSml_feeder& feeder) = 0;

    // Returns the concept that covers the whole text: "Refund!" is "refund" as words. Returns an
    // empty text if there is none, because the text has no word or has more words than a concept
    // can have. VALID UNTIL: the next call, and as long as `text`.
    virtual std::string_view whole_concept(std::string_view text) = 0;
};

enum class Analysis_kind { kPhrases, kWords, kWhitespace };

struct Analysis_settings {
    Analysis_kind kind = Analysis_kind::kPhrases;
    std::string stem_language = {};  // empty: words stay as they are; not used by kWhitespace
};

// The name of a kind on the command line and in containers: "phrases", "words" or "whitespace".
const char* name_of(Analysis_kind kind);
// Returns nothing for an unknown name.
std::optional<Analysis_kind> analysis_kind(std::string_view name);

// RAISES: std::invalid_argument for a language that Stemmer does not know; std::runtime_error if
// ICU's data are missing.
std::unique_ptr<Text_analysis> make_text_analysis(const Analysis_settings& settings);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_ANALYSIS_TEXT_ANALYSIS_H_
