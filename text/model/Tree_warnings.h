// Tree_warnings: probable mistakes in a tree that was written by hand, which training finds.
#ifndef ZANDREL_TEXT_MODEL_TREE_WARNINGS_H_
#define ZANDREL_TEXT_MODEL_TREE_WARNINGS_H_

#include <cstddef>
#include <string>
#include <vector>

#include "text/data/Labelled_text.h"
#include "text/model/Text_sources.h"

namespace zandrel {

class Text_model;

// Returns the line for texts that rules keep from their labels, so that nothing learns them. Empty
// if there are none. `blocked`: indexes, ascending, see Text_model::blocked_texts.
std::string blocked_texts_warning(const Text_sources& sources,
                                  const std::vector<std::size_t>& blocked);

// Returns a line for each finding in the tree of a trained model: see rule_word_warnings and
// Text_model::empty_leaves.
std::vector<std::string> tree_warnings(Text_model& model,
                                       const std::vector<Labelled_text>& others = {});

}  // namespace zandrel

#endif  // ZANDREL_TEXT_MODEL_TREE_WARNINGS_H_
