// The names of the kinds, and the one place that makes an analysis of each kind.
#include "text/analysis/Text_analysis.h"

#include "text/analysis/Phrase_analysis.h"
#include "text/analysis/Whitespace_analysis.h"
#include "text/analysis/Word_analysis.h"

namespace zandrel {

namespace {

// The concepts of the dictionary of the process.
class Dictionary : public Word_look_up {
public:
    void look_up(std::span<const std::string_view> texts, Concept* concepts) override {
        Concept::insert_views(texts, concepts);
    }
};

}  // namespace

Word_look_up::~Word_look_up() = default;

Text_analysis::~Text_analysis() = default;

void Text_analysis::feed(std::string_view text, zeSml_feeder& feeder) {
    Dictionary dictionary;
    feed_words(text, dictionary, feeder);
}

const char* name_of(Analysis_kind kind) {
    switch (kind) {
        case Analysis_kind::kWhitespace:
            return "whitespace";
        case Analysis_kind::kWords:
            return "words";
        case Analysis_kind::kPhrases:
            break;
    }
    return "phrases";
}

std::optional<Analysis_kind> analysis_kind(std::string_view name) {
    for (const Analysis_kind kind : kAnalysisKinds) {
        if (name == name_of(kind)) {
            return kind;
        }
    }
    return std::nullopt;
}

std::unique_ptr<Text_analysis> make_text_analysis(const Analysis_settings& settings) {
    switch (settings.kind) {
        case Analysis_kind::kWhitespace:
            return std::make_unique<Whitespace_analysis>();
        case Analysis_kind::kWords:
            return std::make_unique<Word_analysis>(settings.stem_language);
        case Analysis_kind::kPhrases:
            break;
    }
    return std::make_unique<Phrase_analysis>(settings.stem_language);
}

}  // namespace zandrel
