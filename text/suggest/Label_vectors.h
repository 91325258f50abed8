// Label_vectors: one weighted vector of words for each label, made from all its texts.
#ifndef ZANDREL_TEXT_SUGGEST_LABEL_VECTORS_H_
#define ZANDREL_TEXT_SUGGEST_LABEL_VECTORS_H_

#include <cstddef>
#include <string>
#include <vector>

#include "zandrel/foundation/CTProgress.h"
#include "zandrel/foundation/Concept.h"

#include "text/analysis/Text_analysis.h"
#include "text/data/Labelled_text.h"

namespace zandrel {

struct Weighted_word {
    Concept word;
    double weight = 0.0;
};

// A vector of length 1, with words in text order. It is empty if the label has no word that
// distinguishes it from another label.
struct Label_vector {
    std::string label;
    std::vector<Weighted_word> words;
};

// A vector has at most so many words: those with the greatest weights, and of equal weights the
// first ones in text order. So the time for comparing two labels is bounded.
constexpr std::size_t kMostWords = 1000;

// Returns a vector for each label, sorted by label. The weight of a word is
// (1 + ln n) * ln(labels / labels with the word), where n is the number of its occurrences in all
// texts of the label. A title and keywords count as text. The result has the same bits on every
// machine.
// RAISES: qtX<zeWorkflow> 2 "Process interrupted".
std::vector<Label_vector> label_vectors(const std::vector<Labelled_text>& texts,
                                        Text_analysis& analysis, CTProgress* progress = nullptr);

// The natural logarithm, computed only with operations for which IEEE 754 fixes every bit. The C
// library's logarithm may differ in the last bit between two machines, and such a bit could decide
// which labels are grouped.
// REQUIRES: a finite number of at least 1.
double portable_log(double number);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_SUGGEST_LABEL_VECTORS_H_
