// Model_options: the options of a new text model.
#ifndef ZANDREL_CLI_MODEL_MODEL_OPTIONS_H_
#define ZANDREL_CLI_MODEL_MODEL_OPTIONS_H_

#include "cli/data/Label_groups.h"
#include "cli/text/Text_analysis.h"

namespace cli {

class Engine_settings;

struct Model_options {
    Analysis_settings analysis = {};
    Engine_settings* settings = nullptr;  // BORROWS: until the program ends; null: none
    Label_groups groups = {};             // empty: one classifier for all labels
    bool suggests_groups = false;         // with_suggested_groups finds them in the texts
};

}  // namespace cli

#endif  // ZANDREL_CLI_MODEL_MODEL_OPTIONS_H_
