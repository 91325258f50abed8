// Data_texts: converts values of the public interface, such as examples and fields, to those of the
// text library's own sources, and back.
#ifndef ZANDREL_TEXT_API_DATA_TEXTS_H_
#define ZANDREL_TEXT_API_DATA_TEXTS_H_

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "zandrel/text/Classifier.h"
#include "zandrel/text/Error.h"
#include "zandrel/text/Text.h"

#include "text/analysis/Text_analysis.h"
#include "text/data/Labelled_text.h"
#include "text/data/Pair.h"

namespace zandrel {

// The texts of one call of train or learn.
struct Data_texts {
    std::vector<Labelled_text> texts = {};
    std::string file = {};  // empty: examples of the caller, whose `line` is their number from 1
};

// RAISES: Error invalid_argument for an unknown kind or language, and for a stemmer of
// "whitespace".
Analysis_settings settings_of(const Analysis& analysis);
Analysis analysis_of(const Analysis_settings& settings);

// RAISES: Error invalid_argument for a name that the engine uses, a value that is not of its type,
// and a list whose elements are not together or have different types.
std::vector<Pair> pairs_of_fields(const std::vector<Field>& fields);
std::vector<Field> fields_of_pairs(const std::vector<Pair>& pairs);

// RAISES: Error wrong_data for no example, and for one without a label or with an empty one;
// what pairs_of_fields raises, as wrong_data.
Data_texts texts_of(std::span<const Example> examples);

// The error about one of the texts: "FILE:LINE: reason", or "example 3: reason" with line 3.
Error error_at(Error_code code, const Data_texts& data, std::size_t index,
               const std::string& reason);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_API_DATA_TEXTS_H_
