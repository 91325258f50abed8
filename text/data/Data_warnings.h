// Data_warnings: finds probable mistakes in labelled texts that are not errors.
#ifndef ZANDREL_TEXT_DATA_DATA_WARNINGS_H_
#define ZANDREL_TEXT_DATA_DATA_WARNINGS_H_

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "text/data/Labelled_text.h"

namespace zandrel {

struct Named_texts {
    std::string name;                         // of the file, for messages
    const std::vector<Labelled_text>& texts;  // BORROWS
};

// Each function returns one line for each finding, in a fixed order.
//
// Findings for each file:
// - Its first text looks like a header line: its only label is a word such as "category", no other
//   text of the file has this label, and the text up to a tab is a word such as "message". Upper
//   case and characters other than letters are ignored: `#Label<TAB>"text"` looks like one too.
// - Some bytes are not UTF-8.
//
// Findings for the texts of all training files together, and for the texts to classify:
// - There are more labels than a fifth of the texts, which often means swapped columns.
// - Some labels have a single text.
//
// A finding for all labels together:
// - Some labels differ only in case or blanks.

// Findings for texts of which a model learns one part and is tested on another:
// - Some tested texts are identical to learned ones, so the figures are too good. Empty texts are
//   not compared.
// - For folds: some labels have fewer texts than there are folds.
// - For held-out texts: the model knows none of their labels.

// `files`: at least one.
std::vector<std::string> training_warnings(const std::vector<Named_texts>& files);

// Only the findings for labels. `name`: of the archive that has the texts. `texts_of`: the number
// of texts of each label. `texts`: of all labels together.
std::vector<std::string> label_warnings(const std::string& name,
                                        const std::map<std::string, std::size_t>& texts_of,
                                        std::size_t texts);

// One more finding for the texts to classify: the model knows none of their labels.
std::vector<std::string> evaluation_warnings(const Named_texts& training, const Named_texts& test);
// The same for a model that is trained already. `known_labels`: of the model.
std::vector<std::string> evaluation_warnings(const std::vector<std::string>& known_labels,
                                             const Named_texts& test);

// `folds`: the fold of each text, from 0 to `fold_count` - 1. Each fold is tested on what the
// others have learned.
std::vector<std::string> fold_warnings(const Named_texts& data,
                                       const std::vector<std::size_t>& folds,
                                       std::size_t fold_count);
// `held_out`: true for each text that is tested and not learned.
std::vector<std::string> held_out_warnings(const Named_texts& data,
                                           const std::vector<bool>& held_out);

}  // namespace zandrel

#endif  // ZANDREL_TEXT_DATA_DATA_WARNINGS_H_
