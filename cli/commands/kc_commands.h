// The commands on a whole knowledge container: info, options get and options set.
#ifndef ZANDREL_CLI_COMMANDS_KC_COMMANDS_H_
#define ZANDREL_CLI_COMMANDS_KC_COMMANDS_H_

namespace CLI {
class App;
}

namespace zandrel::cli {

// Adds the commands to the program.
void add_kc_commands(CLI::App& app);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_COMMANDS_KC_COMMANDS_H_
