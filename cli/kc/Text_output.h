// Text_output: a text that a command writes to a file or to standard output.
#ifndef ZANDREL_CLI_KC_TEXT_OUTPUT_H_
#define ZANDREL_CLI_KC_TEXT_OUTPUT_H_

#include <functional>
#include <ostream>
#include <string>

namespace zandrel::cli {

// Calls `write` with standard output if `file` is empty or "-". Otherwise calls it with a new file,
// which takes the place of `file` when it is complete (Replacement_file).
// RAISES: Usage_error for a file that is a knowledge container, which would be lost; Output_error
// if the file cannot be written; what `write` raises. The old file is then unchanged. The program
// tests standard output when it ends.
void write_text(const std::string& file, const std::function<void(std::ostream& out)>& write);

// Makes the checks of `write_text` before long work, and a file in the same folder, which it
// removes. RAISES: as write_text.
void check_text_output(const std::string& file);

}  // namespace zandrel::cli

#endif  // ZANDREL_CLI_KC_TEXT_OUTPUT_H_
