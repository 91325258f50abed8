// The commands below corpus: import, info and export.
#ifndef ZANDREL_CLI_COMMANDS_CORPUS_COMMANDS_H_
#define ZANDREL_CLI_COMMANDS_CORPUS_COMMANDS_H_

namespace CLI {
class App;
}

namespace zandrel::cli {

void add_corpus_commands(CLI::App& app);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_COMMANDS_CORPUS_COMMANDS_H_
