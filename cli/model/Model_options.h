// Model_options: what a text model is made with.
#ifndef ZANDREL_CLI_MODEL_MODEL_OPTIONS_H_
#define ZANDREL_CLI_MODEL_MODEL_OPTIONS_H_

#include "cli/data/Label_groups.h"
#include "cli/text/Text_analysis.h"

namespace cli {

class Engine_settings;

struct Model_options {
    Analysis_settings analysis = {};
    Engine_settings* settings = nullptr;  // BORROWS: to the program's end; null: none are given
    Label_groups groups = {};             // none: one classifier for all labels
};

}  // namespace cli

#endif  // ZANDREL_CLI_MODEL_MODEL_OPTIONS_H_
