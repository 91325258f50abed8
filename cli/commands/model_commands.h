// The commands that make a model's file and use it: train, learn, classify and explain.
#ifndef ZANDREL_CLI_COMMANDS_MODEL_COMMANDS_H_
#define ZANDREL_CLI_COMMANDS_MODEL_COMMANDS_H_

namespace CLI {
class App;
}

namespace cli {

void add_model_commands(CLI::App& app);

}  // namespace cli

#endif  // ZANDREL_CLI_COMMANDS_MODEL_COMMANDS_H_
