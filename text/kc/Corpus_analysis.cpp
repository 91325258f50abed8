// A corpus file of another program keeps no analysis. Then the user says how its texts were
// analysed.
#include "text/kc/Corpus_analysis.h"

#include "text/data/Stored_corpus.h"
#include "text/errors.h"
#include "text/wording/Shown_text.h"

namespace zandrel {

namespace {

[[noreturn]] void refuse(const std::string& path, const Analysis_settings& analysis,
                         const std::string& other, const Analysis_settings& of_other) {
    throw Data_error(path, "its texts were analysed with " + words_of(analysis) + ", but " +
                               shown_file(other) + " was made with " + words_of(of_other));
}

}  // namespace

Analysis_settings analysis_of_data(const std::vector<std::string>& data_files,
                                   const Given_analysis& given,
                                   const Analysis_settings& otherwise) {
    std::string first;
    Analysis_settings analysis = otherwise;
    for (const std::string& path : data_files) {
        if (!is_corpus_file(path)) {
            continue;
        }
        const Analysis_settings agreed =
            agreed_analysis(path, Stored_corpus(path).notes().analysis, given);
        if (first.empty()) {
            first = path;
            analysis = agreed;
        } else if (!is_same(agreed, analysis)) {
            refuse(path, agreed, first, analysis);
        }
    }
    return analysis;
}

void check_analysis(const std::vector<Labelled_text>& texts, const std::string& kc_file,
                    const Analysis_settings& of_kc, const Given_analysis& given) {
    const Stored_corpus* checked = nullptr;
    for (const Labelled_text& text : texts) {
        const Stored_corpus* const corpus = text.stored.corpus.get();
        if (corpus == nullptr || corpus == checked) {
            continue;
        }
        checked = corpus;
        const Analysis_settings agreed = corpus->notes().analysis
                                             ? *corpus->notes().analysis
                                             : agreed_analysis(corpus->path(), std::nullopt, given);
        if (!is_same(agreed, of_kc)) {
            refuse(corpus->path(), agreed, kc_file, of_kc);
        }
    }
}

}  // namespace zandrel
