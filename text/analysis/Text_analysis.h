// Text_analysis: the interface of all ways to convert a text to concepts. The engine takes
// concepts, so the text library makes them of texts.
#ifndef ZANDREL_TEXT_ANALYSIS_TEXT_ANALYSIS_H_
#define ZANDREL_TEXT_ANALYSIS_TEXT_ANALYSIS_H_

#include <array>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "zandrel/foundation/Concept.h"
#include "zandrel/messages/zeSml_feeder.h"

#include "text/analysis/Text_places.h"

namespace zandrel {

// Finds the concepts of words.
class Word_look_up {
public:
    Word_look_up() = default;
    Word_look_up(const Word_look_up&) = delete;
    Word_look_up& operator=(const Word_look_up&) = delete;
    virtual ~Word_look_up();

    // Assigns the concept of each text to the element of `concepts` with the same index.
    virtual void look_up(std::span<const std::string_view> texts, Concept* concepts) = 0;
};

// Converts texts to concepts. The weight of a concept is the number of its occurrences.
//
// Threads: one object belongs to one thread at a time. The concepts of the dictionary are shared,
// so the first `feed` needs the whole process for itself.
class Text_analysis {
public:
    Text_analysis() = default;
    Text_analysis(const Text_analysis&) = delete;
    Text_analysis& operator=(const Text_analysis&) = delete;
    virtual ~Text_analysis();

    // Adds the concepts of the text, in the dictionary, to the feeder. A text may contain any
    // bytes.
    void feed(std::string_view text, zeSml_feeder& feeder);
    // The same with the concepts that `words` finds.
    virtual void feed_words(std::string_view text, Word_look_up& words, zeSml_feeder& feeder) = 0;

    // Returns the concept that covers the whole text: "Refund!" is "refund" as words. Returns an
    // empty text if there is none, because the text has no word or has more words than a concept
    // can have. VALID UNTIL: the next call, and as long as `text`.
    virtual std::string_view whole_concept(std::string_view text) = 0;

    // Returns the places of the concepts that `feed` adds, in the same order.
    // COST: about five times that of `feed`: for explanations.
    virtual Text_places places(std::string_view text) = 0;
};

enum class Analysis_kind { kPhrases, kWords, kWhitespace };

// All kinds, in the order in which messages list them.
inline constexpr std::array kAnalysisKinds = {Analysis_kind::kPhrases, Analysis_kind::kWords,
                                              Analysis_kind::kWhitespace};

struct Analysis_settings {
    Analysis_kind kind = Analysis_kind::kPhrases;
    std::string stem_language = {};  // empty: words stay as they are; not used by kWhitespace
};

// The name of a kind for users and in containers: "phrases", "words" or "whitespace".
const char* name_of(Analysis_kind kind);
// Returns nothing for an unknown name.
std::optional<Analysis_kind> analysis_kind(std::string_view name);

// RAISES: std::invalid_argument for a language that Stemmer does not know; std::runtime_error if
// ICU's data are missing.
std::unique_ptr<Text_analysis> make_text_analysis(const Analysis_settings& settings);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_ANALYSIS_TEXT_ANALYSIS_H_
