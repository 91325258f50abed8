// The commands that use a model: classify.
#ifndef ZANDREL_CLI_COMMANDS_MODEL_COMMANDS_H_
#define ZANDREL_CLI_COMMANDS_MODEL_COMMANDS_H_

namespace CLI {
class App;
}

namespace cli {

void add_model_commands(CLI::App& app);

}  // namespace cli

#endif  // ZANDREL_CLI_COMMANDS_MODEL_COMMANDS_H_
