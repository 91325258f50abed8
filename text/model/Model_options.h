// Model_options: the options of a new text model.
#ifndef ZANDREL_TEXT_MODEL_MODEL_OPTIONS_H_
#define ZANDREL_TEXT_MODEL_MODEL_OPTIONS_H_

#include <cstddef>
#include <string>

#include "text/analysis/Text_analysis.h"
#include "text/data/Label_groups.h"

namespace zandrel {

class Engine_settings;

// A tree in its text form (docs/formats/tree.md).
struct Tree_source {
    std::string text = {};  // empty: no tree
    std::string name = {};  // of the file, for messages
};

struct Model_options {
    Analysis_settings analysis = {};
    Engine_settings* settings = nullptr;  // BORROWS: until the program ends; null: none
    Label_groups groups = {};             // empty: one classifier for all labels
    Tree_source tree = {};                // instead of groups
    bool suggests_groups = false;         // with_suggested_groups finds them in the texts
    std::size_t group_count = 0;          // it makes so many, without a search; 0: none
    bool is_flat_by_choice = false;       // no hint at groups
};

}  // namespace zandrel

#endif  // ZANDREL_TEXT_MODEL_MODEL_OPTIONS_H_
