// The commands on the tree of a knowledge container: tree show, tree apply, and those of
// tree_edits.
#ifndef ZANDREL_CLI_COMMANDS_TREE_COMMANDS_H_
#define ZANDREL_CLI_COMMANDS_TREE_COMMANDS_H_

namespace CLI {
class App;
}

namespace zandrel::cli {

// Adds the command tree, with the commands below it.
void add_tree_commands(CLI::App& app);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_COMMANDS_TREE_COMMANDS_H_
