// Corpus_analysis: compares the text analysis of corpus files with that of a model.
#ifndef ZANDREL_TEXT_KC_CORPUS_ANALYSIS_H_
#define ZANDREL_TEXT_KC_CORPUS_ANALYSIS_H_

#include <string>
#include <vector>

#include "text/data/Labelled_text.h"
#include "text/kc/Kept_analysis.h"

namespace zandrel {

// Returns the analysis of a new model. A corpus file has texts that are analysed already, so the
// model analyses all others in the same way. `otherwise`: the result if no file is a corpus file.
// RAISES: Usage_error if a file and the command line differ; Data_error for a corpus file that
// keeps no analysis if none is given, and for files with different ones; what Stored_corpus raises.
Analysis_settings analysis_of_data(const std::vector<std::string>& data_files,
                                   const Given_analysis& given, const Analysis_settings& otherwise);

// Compares the corpus files of the texts with a container.
// RAISES: Data_error if a corpus file has another analysis, or keeps none and none is given.
void check_analysis(const std::vector<Labelled_text>& texts, const std::string& kc_file,
                    const Analysis_settings& of_kc, const Given_analysis& given);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_KC_CORPUS_ANALYSIS_H_
